# A libFuzzer program: fmcw_demod_fuzzer(NAME SOURCE...). Its committed inputs lie beside its source,
# in corpus/NAME; it builds with the target `fuzzers`, which is what `./dev fuzz` builds and runs.
# The preset `asan+ubsan` compiles everything with what a fuzzer watches.
add_custom_target(fuzzers)
file(REMOVE_RECURSE "${PROJECT_BINARY_DIR}/fuzzers")

function(fmcw_demod_fuzzer name)
  add_executable(${name} EXCLUDE_FROM_ALL ${ARGN})
  fmcw_demod_own_code(${name})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fmcw_demod/fuzz/include")
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/fuzzers")
  add_dependencies(fuzzers ${name})
endfunction()
