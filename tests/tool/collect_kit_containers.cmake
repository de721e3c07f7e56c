# Runs test suites with OZ_KIT_CONTAINER_DIR set, so that the test kit writes every container they build
# into DIR, for the tool's round-trip test. Run as: cmake -DDIR=... -DSUITES="a;b" -P this file.
file(REMOVE_RECURSE ${DIR})
file(MAKE_DIRECTORY ${DIR})
foreach(suite ${SUITES})
  execute_process(COMMAND ${CMAKE_COMMAND} -E env OZ_KIT_CONTAINER_DIR=${DIR} ${suite} --gtest_brief=1
                  RESULT_VARIABLE rc OUTPUT_QUIET ERROR_QUIET)
  # The suites are tested on their own; here only the containers they build count.
endforeach()
file(GLOB built ${DIR}/*.bin)
list(LENGTH built n)
message(STATUS "${n} containers collected")
if(n EQUAL 0)
  message(FATAL_ERROR "the test suites built no container")
endif()
