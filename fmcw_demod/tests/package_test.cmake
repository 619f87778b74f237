# Installs the build into a prefix of its own, then builds README's example against it twice, by CMake
# package and by pkg-config, and runs both.
#
# cmake -D BUILD=... -D SOURCE=... -D WORK=... -D CXX=... -D FLAGS=... -D GENERATOR=... \
#   -P package_test.cmake
function(run)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    string(JOIN " " command ${ARGN})
    message(FATAL_ERROR "${command}: ${status}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

function(expect_chirps who)
  string(REGEX MATCHALL "chirp [0-9]+: 10\\.00 kHz/us" chirps "${out}")
  list(LENGTH chirps count)
  if(NOT count EQUAL 4)
    message(FATAL_ERROR "${who}: expected four chirps of 10.00 kHz/us, got\n${out}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix")

file(READ "${SOURCE}/README.md" readme)
string(REGEX MATCH "```cpp\n([^`]*)```" ignored "${readme}")
file(WRITE "${WORK}/host.cpp" "${CMAKE_MATCH_1}")
file(WRITE "${WORK}/CMakeLists.txt" "cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES CXX)
find_package(fmcw_demod 1.0 CONFIG REQUIRED)
add_executable(host host.cpp)
target_link_libraries(host PRIVATE fmcw_demod::fmcw_demod)
")

run(${CMAKE_COMMAND} -G "${GENERATOR}" -S "${WORK}" -B "${WORK}/build" "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK}/build")
run("${WORK}/build/host")
expect_chirps("by CMake package")

file(GLOB_RECURSE pc "${WORK}/prefix/*/fmcw_demod.pc")
cmake_path(GET pc PARENT_PATH pc_dir)
run(${CMAKE_COMMAND} -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --cflags --libs fmcw_demod)
separate_arguments(package_flags UNIX_COMMAND "${out}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
run(${CXX} -std=c++20 ${flags} "${WORK}/host.cpp" -o "${WORK}/host" ${package_flags}
    "-Wl,-rpath,${pc_dir}/..")
run("${WORK}/host")
expect_chirps("by pkg-config")
