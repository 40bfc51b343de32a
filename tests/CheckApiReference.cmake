# Builds the API reference from the installed headers and fails on any Doxygen warning: a
# comment in a public header that Doxygen cannot read is a fault of that header.
#   cmake -DDOXYGEN=... -DDOXYFILE=... -DOUTPUT=... -P CheckApiReference.cmake
file(REMOVE ${OUTPUT}/warnings.log)
execute_process(COMMAND ${DOXYGEN} ${DOXYFILE}
  WORKING_DIRECTORY ${OUTPUT}
  RESULT_VARIABLE result
  OUTPUT_VARIABLE output
  ERROR_VARIABLE output
)
set(warnings "")
if(EXISTS ${OUTPUT}/warnings.log)
  file(READ ${OUTPUT}/warnings.log warnings)
  string(STRIP "${warnings}" warnings)
endif()
if(NOT result EQUAL 0 OR NOT warnings STREQUAL "")
  message(FATAL_ERROR "Doxygen warns about the public headers (exit ${result}):\n${warnings}\n${output}")
endif()
if(NOT EXISTS ${OUTPUT}/html/classDatabaseInterface.html)
  message(FATAL_ERROR "Doxygen made no page of DatabaseInterface")
endif()
message(STATUS "API reference built without warnings: ${OUTPUT}/html/index.html")
