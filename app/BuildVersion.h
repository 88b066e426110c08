#pragma once

namespace zel {

// Set by the build (cmake/ZelVersion.cmake): the version of the project and
// the source revision it was built from ("unknown" when built without git).
const char* toolVersion();
const char* sourceRevision();

}  // namespace zel
