# Compares what the shared library exports with the committed list.
#
# cmake -D LIBRARY=... -D NM=... -D LIST=... -P exported_symbols_test.cmake
execute_process(COMMAND ${NM} --dynamic --demangle --defined-only --format=posix "${LIBRARY}"
                OUTPUT_VARIABLE out COMMAND_ERROR_IS_FATAL ANY)
# A demangled name may hold brackets, which make a CMake list swallow what follows.
string(REPLACE "[" "(" out "${out}")
string(REPLACE "]" ")" out "${out}")
string(REGEX REPLACE " [A-Za-z] [0-9a-f]+( [0-9a-f]+)?\n" "\n" out "${out}")
string(STRIP "${out}" out)
string(REPLACE "\n" ";" symbols "${out}")
list(FILTER symbols EXCLUDE REGEX "^__odr_asan")
list(REMOVE_DUPLICATES symbols)
list(SORT symbols)
file(STRINGS "${LIST}" expected)
set(added ${symbols})
list(REMOVE_ITEM added ${expected})
set(gone ${expected})
list(REMOVE_ITEM gone ${symbols})
if(added OR gone)
  string(REPLACE ";" "\n  " added "${added}")
  string(REPLACE ";" "\n  " gone "${gone}")
  message(FATAL_ERROR "exported but not in ${LIST}:\n  ${added}\nin the list but not exported:\n  ${gone}")
endif()
list(LENGTH symbols count)
message("${count} exported symbols, all in the list")
