#include "core/RunRecord.h"

#include "core/SafeSave.h"
#include "core/Clock.h"

namespace zel {

Json& runRecord() {
    static Json record = Json::object();
    return record;
}

bool saveRunRecord(const std::string& path) { return saveFileWhole(path, runRecord().dump(2) + '\n'); }

std::string isoTimeText(uint64_t localMilliseconds) {
    std::string text = timeStampText(localMilliseconds);  // "YYYY-MM-DD HH:MM:SS,mmm"
    if (text.size() > 19) {
        text[10] = 'T';
        text[19] = '.';
    }
    return text;
}

}  // namespace zel
