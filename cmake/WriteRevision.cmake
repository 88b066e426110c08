# cmake -DZEL_SOURCE_DIR=... -DZEL_VERSION=... -DZEL_OUTPUT=... -P WriteRevision.cmake
set(revision unknown)
find_program(zel_git git)
if(zel_git)
  execute_process(COMMAND ${zel_git} -C ${ZEL_SOURCE_DIR} describe --always --dirty
    OUTPUT_VARIABLE described RESULT_VARIABLE failed ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT failed AND described)
    set(revision ${described})
  endif()
endif()
# file(CONFIGURE) leaves the file alone when its text is unchanged.
file(CONFIGURE OUTPUT ${ZEL_OUTPUT} @ONLY CONTENT [[
#include "app/BuildVersion.h"

namespace zel {

const char* toolVersion() { return "@ZEL_VERSION@"; }
const char* sourceRevision() { return "@revision@"; }

}  // namespace zel
]])
