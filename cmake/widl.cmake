# Runs widl (cmake -DWIDL_COMMAND="widl;args..." -P widl.cmake) and passes its messages on, but
# one. widl 7 warns "non-null pointer default value" for every optional by-reference parameter
# whose default is not zero ([in, out, optional, defaultvalue(3)] long* Mode), then writes that
# default as the value of the pointed-to type: what the type library must hold, what MIDL writes
# for the same line without a word, and what the server reads to fill in an omitted argument.
# widl warns for any spelling of such a parameter that keeps the type library unchanged, so this
# one message is dropped here; any other message is shown, and a failure fails the build.
execute_process(COMMAND ${WIDL_COMMAND} RESULT_VARIABLE status OUTPUT_VARIABLE out
                ERROR_VARIABLE messages)
string(REPLACE "warning: non-null pointer default value\n" "" messages "${out}${messages}")
if(messages)
  message(NOTICE "${messages}")
endif()
if(NOT status EQUAL 0)
  message(FATAL_ERROR "widl failed (${status})")
endif()
