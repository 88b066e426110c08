#include "host/ChildWait.h"

namespace zel {
namespace {

void readChunk(ChildChannel& child, std::string* output) {
    const uint32_t waiting = child.available();
    if (waiting > 0) output->append(child.read(waiting < kPipeChunk ? waiting : kPipeChunk));
}

}  // namespace

ChildWaitResult waitForChild(ChildChannel& child, double timeoutSeconds, std::string* output,
                             const std::function<uint64_t()>& nowMs) {
    const uint64_t start = nowMs();
    ChildWaitResult result;
    for (;;) {
        readChunk(child, output);
        if (timeoutSeconds != 0 && static_cast<double>(nowMs() - start) / 1000.0 > timeoutSeconds) {
            result.code = err::kSubprocessTimeout;
            break;
        }
        uint32_t code = 0;
        if (const ErrorCode error = child.exitCode(&code)) {
            result.code = error;
            break;
        }
        if (code != kStillActive) {
            result.code = code;
            break;
        }
    }
    // Output written just before the child ended.
    readChunk(child, output);
    result.elapsedSeconds = static_cast<double>(nowMs() - start) / 1000.0;
    return result;
}

}  // namespace zel
