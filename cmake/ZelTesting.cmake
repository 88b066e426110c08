# zel_add_test(<name> SOURCES ... [LIBS ...])
# One ctest entry per test binary keeps the number of Wine start-ups low.
function(zel_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gmock zel_test_main)
  add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  if(CMAKE_CROSSCOMPILING)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine
      ENVIRONMENT "ZEL_BUILD_DIR=${CMAKE_BINARY_DIR}" TIMEOUT 900)
  else()
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
  endif()
endfunction()

if(CMAKE_CROSSCOMPILING)
  # Start a persistent wineserver once for the whole run, stop it at the end.
  add_test(NAME wine_start COMMAND ${CMAKE_SOURCE_DIR}/cmake/wine-server.sh start)
  add_test(NAME wine_stop COMMAND ${CMAKE_SOURCE_DIR}/cmake/wine-server.sh stop)
  set_tests_properties(wine_start PROPERTIES FIXTURES_SETUP wine
    ENVIRONMENT "ZEL_BUILD_DIR=${CMAKE_BINARY_DIR}")
  set_tests_properties(wine_stop PROPERTIES FIXTURES_CLEANUP wine
    ENVIRONMENT "ZEL_BUILD_DIR=${CMAKE_BINARY_DIR}")
endif()

# zel_add_fuzzer(<name> SOURCES ... LIBS ...): a libFuzzer target in the clang
# host build. Its seed corpus is tests/fuzz/corpus/<name>; the short CI run
# writes what it finds into a corpus folder in the build tree, which
# scripts/fuzz.sh runs longer and merges back into the seeds.
function(zel_add_fuzzer name)
  if(NOT ZEL_FUZZ)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
  set(seeds ${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${name})
  set(found ${CMAKE_BINARY_DIR}/fuzz-corpus/${name})
  file(MAKE_DIRECTORY ${found})
  add_test(NAME ${name} COMMAND ${name} ${found} ${seeds} -max_total_time=5 -rss_limit_mb=1024)
endfunction()
