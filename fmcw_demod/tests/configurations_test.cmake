# Configures the project as others do.
#
# cmake -D SOURCE=... -D WORK=... -D CXX=... -D GENERATOR=... -P configurations_test.cmake
function(configure source build)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -G "${GENERATOR}" -S "${source}" -B "${build}"
            "-DCMAKE_CXX_COMPILER=${CXX}" ${ARGN}
    OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${build}: ${status}\n${out}")
  endif()
endfunction()

function(expect_compiled build file)
  file(READ "${build}/compile_commands.json" commands)
  string(FIND "${commands}" "${file}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${build} does not compile ${file}")
  endif()
  if(commands MATCHES "-Werror")
    message(FATAL_ERROR "${build}: warnings of a compiler to come would be errors")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")

# The host program by itself needs no test framework.
configure("${SOURCE}" "${WORK}/hosts" -DBUILD_TESTING=OFF -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON)
expect_compiled("${WORK}/hosts" hosts/cli/main.cpp)

# A project around it gets the library and nothing to install that it did not ask for.
file(WRITE "${WORK}/around/CMakeLists.txt" "
cmake_minimum_required(VERSION 3.25)
project(around LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_subdirectory(\"${SOURCE}\" fmcw_demod)
file(WRITE host.cpp \"int main() {}\")
add_executable(host host.cpp)
target_link_libraries(host PRIVATE fmcw_demod::fmcw_demod)
")
configure("${WORK}/around" "${WORK}/part"
          -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON)
expect_compiled("${WORK}/part" lib_fmcw_analyzer.cpp)
# Nothing is built yet, so that a rule would fail.
execute_process(COMMAND ${CMAKE_COMMAND} --install "${WORK}/part" --prefix "${WORK}/prefix"
                COMMAND_ERROR_IS_FATAL ANY)
