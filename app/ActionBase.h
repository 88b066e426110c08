#pragma once

#include <optional>
#include <string>

#include "app/OptionReader.h"
#include "app/ParseResult.h"
#include "core/ActionResultJson.h"
#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"
#include "disk/DiskSelector.h"

namespace zel {
class DiskBase;
}

// One unit of work on one disk. init reads the options into the action's job
// and selects the disk (false with the last error set on failure); execute
// runs the job and returns the exit code.
class ActionBase : private zel::Uncopyable {
public:
    virtual ~ActionBase() = default;
    virtual std::string name() const = 0;
    virtual bool init(const zel::ParseResult& options) = 0;
    virtual zel::ErrorCode execute(const zel::ParseResult& options) = 0;

    // Puts the selected disk and the action's own part (under its name)
    // into the run record; called after the run, whatever its result.
    void addToRunRecord() const;

protected:
    // What the run did, as the action's part of the run record; null when
    // the action has nothing to add.
    virtual zel::Json record() const { return nullptr; }

    // Logs the "Miss some options" warning and sets the argument error.
    static bool missOptions(const char* message);

    // False with 0x20000004 and the option's line when the job's reader
    // refused a value.
    static bool acceptJob(const std::optional<zel::OptionProblem>& problem);

    // Looks the disk up in the fully built list; false with 0x20000007.
    bool selectDisk(const zel::DiskSelector& selector);

    zel::DiskBase* disk_ = nullptr;
};
