# The library file is libpxkit.so.<VERSION> with SONAME libpxkit.so.<major>.
get_filename_component(file_name ${LIBRARY} NAME)
if(NOT file_name STREQUAL "libpxkit.so.${VERSION}")
  message(FATAL_ERROR "library file is ${file_name}, expected libpxkit.so.${VERSION}")
endif()
execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dyn RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT dyn MATCHES "\\(SONAME\\)[^\n]*\\[libpxkit\\.so\\.${MAJOR}\\]")
  message(FATAL_ERROR "SONAME is not libpxkit.so.${MAJOR}:\n${dyn}")
endif()
