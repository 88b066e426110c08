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
