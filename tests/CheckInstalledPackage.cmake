# Installs the store into a scratch prefix and uses it as a host program would:
#  - the consumer of tests/package, which includes only the umbrella header, builds and runs;
#  - none of the library's private headers is installed;
#  - a consumer that includes a private header does not compile, for each header named.
# Arguments: BUILD_DIR (the store's build tree), WORK_DIR (scratch, removed at the end),
# SOURCE_DIR, PRIVATE_HEADERS (names separated by "|").
function(run_step description)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    file(REMOVE_RECURSE "${WORK_DIR}")
    message(FATAL_ERROR "${description} failed (${result}):\n${output}")
  endif()
  set(step_output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/install")
run_step("installing the package" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")

file(GLOB_RECURSE installed_headers RELATIVE "${prefix}" "${prefix}/include/*.h")
string(REPLACE "|" ";" private_headers "${PRIVATE_HEADERS}")
foreach(header ${private_headers})
  if(EXISTS "${prefix}/include/qzlogger/${header}")
    file(REMOVE_RECURSE "${WORK_DIR}")
    message(FATAL_ERROR "the private header ${header} is installed")
  endif()
endforeach()

run_step("configuring the consumer" ${CMAKE_COMMAND} -S "${SOURCE_DIR}/tests/package" -B "${WORK_DIR}/consumer"
  -DCMAKE_PREFIX_PATH=${prefix})
run_step("building the consumer" ${CMAKE_COMMAND} --build "${WORK_DIR}/consumer")
file(GLOB library_dirs "${prefix}/lib" "${prefix}/lib/*-linux-gnu")
string(REPLACE ";" ":" library_path "${library_dirs}")
run_step("running the consumer" ${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${library_path}"
  "${WORK_DIR}/consumer/qzlogger_consumer")
message(STATUS "${step_output}")

file(COPY "${SOURCE_DIR}/tests/package-private/CMakeLists.txt" DESTINATION "${WORK_DIR}/private-source")
set(PRIVATE_HEADER "LoggerTypes.h")
configure_file("${SOURCE_DIR}/tests/package-private/main.cpp" "${WORK_DIR}/private-source/main.cpp" @ONLY)
run_step("configuring the private consumer" ${CMAKE_COMMAND} -S "${WORK_DIR}/private-source"
  -B "${WORK_DIR}/private" -DCMAKE_PREFIX_PATH=${prefix})
# With an installed header in place of a private one, the same program builds: what fails below
# fails for the header alone.
run_step("building the private consumer with a public header" ${CMAKE_COMMAND} --build "${WORK_DIR}/private")
foreach(header ${private_headers})
  set(PRIVATE_HEADER "${header}")
  configure_file("${SOURCE_DIR}/tests/package-private/main.cpp" "${WORK_DIR}/private-source/main.cpp" @ONLY)
  execute_process(COMMAND ${CMAKE_COMMAND} --build "${WORK_DIR}/private"
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(result EQUAL 0 OR NOT output MATCHES "${header}: No such file or directory")
    file(REMOVE_RECURSE "${WORK_DIR}")
    message(FATAL_ERROR "a consumer that includes ${header} did not fail for want of it:\n${output}")
  endif()
endforeach()
list(LENGTH installed_headers installed_count)
list(LENGTH private_headers private_count)
message(STATUS "${installed_count} headers installed; ${private_count} private headers refused")
file(REMOVE_RECURSE "${WORK_DIR}")
