# Runs PROGRAM with ARGS ('|'-separated) and checks its exit status is
# EXPECT_CODE and that its output (stdout and stderr) matches EXPECT.
string(REPLACE "|" ";" args "${ARGS}")
if(CLEAN)
    file(REMOVE_RECURSE "${CLEAN}")
endif()
execute_process(COMMAND "${PROGRAM}" ${args}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}${err}")
if(NOT code STREQUAL "${EXPECT_CODE}")
    message(FATAL_ERROR "exit status ${code}, expected ${EXPECT_CODE}")
endif()
if(NOT "${out}${err}" MATCHES "${EXPECT}")
    message(FATAL_ERROR "output does not match '${EXPECT}'")
endif()
