#pragma once

#include <string>

namespace zel {

// The start-up action is a Task Scheduler task in the root folder that runs
// path with arguments one second after any logon, with the highest run
// level, for the Administrators group. An existing task of that name is
// always removed first. The Task Scheduler's own failures are printed on
// standard output; these add the INFO line and answer false.
bool registerStartupAction(const std::string& name, const std::string& path, const std::string& arguments);
bool unregisterStartupAction(const std::string& name);

}  // namespace zel
