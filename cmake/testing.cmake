# A GoogleTest program whose tests ctest runs one by one: fmcw_demod_test(NAME SOURCE...).
find_package(GTest REQUIRED)
find_package(Threads REQUIRED)
include(GoogleTest)

function(fmcw_demod_test name)
  add_executable(${name} ${ARGN})
  fmcw_demod_own_code(${name})
  target_link_libraries(${name} PRIVATE GTest::gmock_main Threads::Threads)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
endfunction()
