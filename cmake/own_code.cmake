# How every target of this project is compiled.
#
# -ffp-contract=off: a fused multiply-add rounds once where the measurement rules round twice.
# -fno-tree-slp-vectorize: gcc 12.2's SLP pass drops the rounding of double(float(x)) where two such
# values are stored side by side; float_rounding_test.cpp fails when it does.
# -fmacro-prefix-map: log entries name source files relative to the project.
add_library(fmcw_demod_own_code INTERFACE)
target_compile_options(
  fmcw_demod_own_code
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wshadow
            -ffp-contract=off
            "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/="
            -Wno-psabi
            -fno-math-errno
            -fno-trapping-math
            $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)

function(fmcw_demod_own_code target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:fmcw_demod_own_code>)
  set_target_properties(
    ${target}
    PROPERTIES CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
endfunction()
