# Runs PROGRAM with ARGS ('|'-separated) and checks its exit status is
# EXPECT_CODE and that its output (stdout and stderr) matches EXPECT.
# Optional: LAUNCHER ('|'-separated, e.g. Wine for a Windows program), ENV
# ('|'-separated NAME=VALUE pairs; NAME= with no value unsets it) and CLEAN
# (a folder removed first).
string(REPLACE "|" ";" args "${ARGS}")
string(REPLACE "|" ";" launcher "${LAUNCHER}")
string(REPLACE "|" ";" env "${ENV}")
foreach(pair IN LISTS env)
    string(FIND "${pair}" "=" eq)
    string(SUBSTRING "${pair}" 0 ${eq} name)
    math(EXPR start "${eq} + 1")
    string(SUBSTRING "${pair}" ${start} -1 value)
    if(value STREQUAL "")
        unset(ENV{${name}})
    else()
        set(ENV{${name}} "${value}")
    endif()
endforeach()
if(CLEAN)
    file(REMOVE_RECURSE "${CLEAN}")
endif()
execute_process(COMMAND ${launcher} "${PROGRAM}" ${args}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}${err}")
if(NOT code STREQUAL "${EXPECT_CODE}")
    message(FATAL_ERROR "exit status ${code}, expected ${EXPECT_CODE}")
endif()
if(NOT "${out}${err}" MATCHES "${EXPECT}")
    message(FATAL_ERROR "output does not match '${EXPECT}'")
endif()
