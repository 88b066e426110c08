# Header-only dependencies from Debian packages. The cross build must not see
# /usr/include (glibc headers would shadow MinGW's), so only these two
# libraries are copied into a private include folder.
set(ZEL_THIRDPARTY_INCLUDE ${CMAKE_BINARY_DIR}/thirdparty/include)
if(NOT EXISTS /usr/include/cxxopts.hpp OR NOT EXISTS /usr/include/nlohmann/json.hpp)
  message(FATAL_ERROR "cxxopts or nlohmann-json missing: run scripts/install-deps.sh")
endif()
file(COPY /usr/include/cxxopts.hpp DESTINATION ${ZEL_THIRDPARTY_INCLUDE})
file(COPY /usr/include/nlohmann DESTINATION ${ZEL_THIRDPARTY_INCLUDE})
add_library(zel_thirdparty INTERFACE)
target_include_directories(zel_thirdparty SYSTEM INTERFACE ${ZEL_THIRDPARTY_INCLUDE})

# GoogleTest, built from the Debian source package for whichever target this is.
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
