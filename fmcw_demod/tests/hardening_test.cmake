# Reads off the built files what hardening.cmake asked for.
#
# cmake -D READELF=... -D LIBRARIES=... -D PROGRAM=... -D OBJECTS=... -D X86=... -P hardening_test.cmake
function(read out file)
  execute_process(COMMAND "${READELF}" ${ARGN} --wide "${file}" OUTPUT_VARIABLE text
                  COMMAND_ERROR_IS_FATAL ANY)
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(expect file text pattern meaning)
  if(NOT text MATCHES "${pattern}")
    message(SEND_ERROR "${file}: ${meaning} is missing")
  endif()
endfunction()

foreach(file IN LISTS LIBRARIES PROGRAM)
  read(header "${file}" --file-header)
  read(segments "${file}" --segments)
  read(dynamic "${file}" --dynamic)
  read(symbols "${file}" --dyn-syms)
  expect("${file}" "${header}" "Type: +DYN" "an address of the system's choice")
  expect("${file}" "${segments}" "GNU_RELRO" "the read-only segment of relocations")
  expect("${file}" "${segments}" "GNU_STACK[ x0-9a-f]+ RW " "a stack without code")
  expect("${file}" "${dynamic}" "BIND_NOW|FLAGS_1[^\n]* NOW" "binding at start")
  expect("${file}" "${symbols}" "__stack_chk_fail" "the stack protector")
endforeach()
# The libraries call nothing that has a checked form.
expect("${PROGRAM}" "${symbols}" "__[a-z]+_chk@" "the C library's checked functions")

# Of the objects, since a linked file has the mark only where the system's start files have it too.
if(X86)
  foreach(file IN LISTS OBJECTS)
    read(notes "${file}" --notes)
    expect("${file}" "${notes}" "IBT, SHSTK" "control-flow protection")
  endforeach()
endif()
