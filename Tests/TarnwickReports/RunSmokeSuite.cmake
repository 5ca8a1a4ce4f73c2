# Runs `tarnwick smoke` over a suite on a fresh copy of the sample project (a run must never write into the source
# tree), leaving its JUnit file, HTML page, JSON reports and console output in OUT, and fails unless the exit code
# is EXPECT.
#
#   cmake -DTARNWICK=<exe> -DPROJECT=<project dir> -DSPECS=<folder or file> -DOUT=<dir> -DEXPECT=<code> -P RunSmokeSuite.cmake
foreach(_v TARNWICK PROJECT SPECS OUT EXPECT)
  if(NOT DEFINED ${_v})
    message(FATAL_ERROR "RunSmokeSuite.cmake needs -D${_v}=...")
  endif()
endforeach()

file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT}/project)
file(COPY ${PROJECT}/ DESTINATION ${OUT}/project PATTERN Saved EXCLUDE PATTERN Intermediate EXCLUDE)

execute_process(
  COMMAND ${TARNWICK} smoke --project ${OUT}/project ${SPECS}
    --junit ${OUT}/out.xml --html ${OUT}/out.html --report ${OUT}/reports
  RESULT_VARIABLE _rc
  OUTPUT_FILE ${OUT}/stdout.txt
  ERROR_FILE ${OUT}/stderr.txt)

file(READ ${OUT}/stdout.txt _stdout)
message("${_stdout}")
if(NOT "${_rc}" STREQUAL "${EXPECT}")
  file(READ ${OUT}/stderr.txt _stderr)
  message(FATAL_ERROR "tarnwick smoke ${SPECS} exited ${_rc}, expected ${EXPECT}\n${_stderr}")
endif()
