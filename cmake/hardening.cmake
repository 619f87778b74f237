# What optimised builds have against faults that nobody has found yet: samples and records come from
# outside. hardening_test.cmake reads all of it off the built files.
#
# Stack canaries and the checked forms of the C library's functions end a process that overran a
# buffer; relocations are resolved at start and read-only from then on; programs load at addresses of
# the system's choice; indirect branches and returns may be checked by the processor.
include(CheckPIESupported)
check_pie_supported()

set(targets_x86 FALSE)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
  set(targets_x86 TRUE)
endif()

set(hardened "$<AND:$<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<CXX_COMPILER_ID:GNU,Clang>>")
target_compile_options(
  fmcw_demod_own_code
  INTERFACE "$<${hardened}:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>"
            "$<$<AND:${hardened},$<BOOL:${targets_x86}>>:-fcf-protection>")
target_link_options(fmcw_demod_own_code INTERFACE "$<${hardened}:LINKER:-z,relro,-z,now>")
