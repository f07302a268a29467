# Runs PROGRAM over CORPUS and passes only when it fails: a stored mutant must be caught.
execute_process(COMMAND ${PROGRAM} ${CORPUS} RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
if(result EQUAL 0)
    message(FATAL_ERROR "${PROGRAM} passed its corpus: the model no longer catches the mutant")
endif()
