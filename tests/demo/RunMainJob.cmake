# The main job on one real file, as scripts/demo.sh runs it: `ovcf build` of the file, then the
# demo's whole edit replayed in pcview (actions that find nothing on this cloud are logged and
# skipped), which must reach its last screenshot.
#   cmake -DOVCF=... -DPCVIEW=... -DINPUT=... -DWORK=... -DSCRIPT=... -P RunMainJob.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/build/demo)
execute_process(COMMAND ${OVCF} build ${INPUT} -o ${WORK}/cloud.ovcf RESULT_VARIABLE built OUTPUT_QUIET ERROR_QUIET)
if(NOT built EQUAL 0)
  message(FATAL_ERROR "ovcf build ${INPUT} failed (${built})")
endif()
execute_process(COMMAND ${PCVIEW} ${WORK}/cloud.ovcf --headless --size 1024x720 --keep-going --script ${SCRIPT}
                        --screenshot ${WORK}/final.png
                WORKING_DIRECTORY ${WORK} RESULT_VARIABLE shown OUTPUT_VARIABLE output ERROR_QUIET)
message("${output}")
if(NOT shown EQUAL 0 OR NOT EXISTS ${WORK}/final.png OR NOT EXISTS ${WORK}/build/demo/pcview-plane.png)
  message(FATAL_ERROR "the demo did not reach its last screenshot on ${INPUT} (status ${shown})")
endif()
