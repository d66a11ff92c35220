# The library file is libpxkit.so.1.1.7 with SONAME libpxkit.so.1.
get_filename_component(file_name ${LIBRARY} NAME)
if(NOT file_name STREQUAL "libpxkit.so.1.1.7")
  message(FATAL_ERROR "library file is ${file_name}, expected libpxkit.so.1.1.7")
endif()
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dyn RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT dyn MATCHES "\\(SONAME\\)[^\n]*\\[libpxkit\\.so\\.1\\]")
  message(FATAL_ERROR "SONAME is not libpxkit.so.1:\n${dyn}")
endif()
