# Installs the build into a prefix of its own, builds README's host and the examples against it, by CMake
# package and by pkg-config, and runs them.
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

# Runs a program whose output must hold `text` `count` times.
function(expect program count text)
  run("${program}")
  string(REGEX MATCHALL "${text}" found "${out}")
  list(LENGTH found times)
  if(NOT times EQUAL count)
    message(FATAL_ERROR "${program}: expected ${count} times '${text}', got\n${out}")
  endif()
endfunction()

function(expect_hosts folder)
  expect("${folder}/readme_host" 4 "chirp [0-9]+: 10\\.00 kHz/us")
  expect("${folder}/analyzer_host" 8 "chirp [0-9]+: 10\\.00 kHz/us")
  expect("${folder}/analyzer_host" 4 "chirp [0-9]+: 5\\.00 kHz/us")
  expect("${folder}/one_shot_host" 2 "Frame [01] all Chirps done")
  expect("${folder}/one_shot_host" 1 "Chirp Results \\(2 entries\\):")
endfunction()

file(REMOVE_RECURSE "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix")

file(COPY "${SOURCE}/examples/" DESTINATION "${WORK}/hosts")
file(READ "${SOURCE}/README.md" readme)
string(REGEX MATCH "```cpp\n([^`]*)```" ignored "${readme}")
file(WRITE "${WORK}/hosts/readme_host.cpp" "${CMAKE_MATCH_1}")
file(APPEND "${WORK}/hosts/CMakeLists.txt" "
add_executable(readme_host readme_host.cpp)
target_link_libraries(readme_host PRIVATE fmcw_demod::fmcw_demod)
")

run(${CMAKE_COMMAND} -G "${GENERATOR}" -S "${WORK}/hosts" -B "${WORK}/by_cmake"
    "-DCMAKE_PREFIX_PATH=${WORK}/prefix" "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK}/by_cmake")
expect_hosts("${WORK}/by_cmake")

file(GLOB_RECURSE pc "${WORK}/prefix/*/fmcw_demod.pc")
cmake_path(GET pc PARENT_PATH pc_dir)
run(${CMAKE_COMMAND} -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --cflags --libs fmcw_demod)
separate_arguments(package_flags UNIX_COMMAND "${out}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
file(MAKE_DIRECTORY "${WORK}/by_pkg_config")
foreach(host readme_host analyzer_host one_shot_host)
  run(${CXX} -std=c++20 ${flags} "${WORK}/hosts/${host}.cpp" -o "${WORK}/by_pkg_config/${host}"
      ${package_flags} "-Wl,-rpath,${pc_dir}/..")
endforeach()
expect_hosts("${WORK}/by_pkg_config")
