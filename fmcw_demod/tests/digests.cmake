# Digests of 200 analyses, held against the committed list on every instruction set. To renew the
# list: fmcw_demod_digests >digests.txt
add_executable(fmcw_demod_digests "${CMAKE_CURRENT_LIST_DIR}/digests.cpp")
fmcw_demod_own_code(fmcw_demod_digests)
set_target_properties(fmcw_demod_digests PROPERTIES RUNTIME_OUTPUT_DIRECTORY
                                                    "${PROJECT_BINARY_DIR}/fmcw_demod/tests")
target_link_libraries(fmcw_demod_digests PRIVATE fmcw_demod_internal)
# Without optimisation the instruction sets share the list; `./dev digests` holds all of it on each.
add_test(NAME digests COMMAND fmcw_demod_digests "${CMAKE_CURRENT_LIST_DIR}/digests.txt"
                              $<IF:$<CONFIG:Debug>,3,1>)
