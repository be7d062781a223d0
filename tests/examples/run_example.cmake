# Runs one example the way the README shows: the virtual adapter preloaded in place of hidapi
# and the adapters named in TARVIX_VIRTUAL_ADAPTERS plugged in. Passes when the program exits
# with the status expected and its output matches the pattern; ctest's PASS_REGULAR_EXPRESSION
# alone would let a program that printed the line and then failed (or was stopped by a
# sanitizer) pass.
#   cmake -DPROGRAM=... [-DARGS=a;b] -DPRELOAD=libs -DADAPTERS=list -DEXPECT=regex
#         [-DEXIT=status] -P run_example.cmake
# Only the program sees the preload, not this CMake process.
if(NOT DEFINED EXIT)
  set(EXIT 0)
endif()
set(ENV{LD_PRELOAD} "${PRELOAD}")
set(ENV{TARVIX_VIRTUAL_ADAPTERS} "${ADAPTERS}")
execute_process(COMMAND "${PROGRAM}" ${ARGS}
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors TIMEOUT 60)
message("${output}${errors}")
if(NOT status STREQUAL "${EXIT}")
  message(FATAL_ERROR "exit status ${status}, expected ${EXIT}")
endif()
if(NOT "${output}${errors}" MATCHES "${EXPECT}")
  message(FATAL_ERROR "the output does not match: ${EXPECT}")
endif()
