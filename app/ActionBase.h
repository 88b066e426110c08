#pragma once

#include <string>

#include "app/ParseResult.h"
#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"

namespace zel {
class DiskBase;
}

// One unit of work on one disk. init reads the options and selects the disk
// (false with the last error set on failure); execute returns the exit code.
class ActionBase : private zel::Uncopyable {
public:
    virtual ~ActionBase() = default;
    virtual std::string name() const = 0;
    virtual bool init(const zel::ParseResult& options) = 0;
    virtual zel::ErrorCode execute(const zel::ParseResult& options) = 0;

protected:
    // Looks the selected disk up in the disk list; false with the last error.
    bool lookupDisk(const zel::ParseResult& options);

    // Both steps, warning with the given message when no selector is given.
    bool selectDisk(const zel::ParseResult& options, const char* missingMessage, bool acceptModel = true);

    // Logs the "Miss some options" warning and sets the argument error.
    static bool missOptions(const char* message);

    zel::DiskBase* disk_ = nullptr;
};
