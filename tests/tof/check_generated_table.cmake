# Runs the table generator and compares its output with the checked-in source.
execute_process(COMMAND ${EMULATOR} ${GENERATOR} OUTPUT_VARIABLE generated RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "generator failed: ${rc}")
endif()
file(READ ${CHECKED_IN} checked_in)
if(NOT generated STREQUAL checked_in)
  message(FATAL_ERROR "${CHECKED_IN} is out of date: regenerate it with tools/gen_atan_table.cc")
endif()
