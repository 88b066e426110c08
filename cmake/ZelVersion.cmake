# The tool's version: PROJECT_VERSION plus the source revision, which
# `git describe --always --dirty` gives at every build ("unknown" without
# git). The generated source only changes when the revision does, so a
# build at the same revision recompiles nothing.
set(ZEL_VERSION_SOURCE ${CMAKE_BINARY_DIR}/generated/BuildVersion.cpp)
set(zel_revision_args -DZEL_SOURCE_DIR=${CMAKE_SOURCE_DIR} -DZEL_VERSION=${PROJECT_VERSION}
    -DZEL_OUTPUT=${ZEL_VERSION_SOURCE} -P ${CMAKE_SOURCE_DIR}/cmake/WriteRevision.cmake)
execute_process(COMMAND ${CMAKE_COMMAND} ${zel_revision_args})
add_custom_target(zel_revision
  COMMAND ${CMAKE_COMMAND} ${zel_revision_args}
  BYPRODUCTS ${ZEL_VERSION_SOURCE}
  COMMENT "Source revision"
  VERBATIM)
