# Runs a libFuzzer harness for a fixed number of inputs, from the committed
# seeds, in a scratch corpus that starts empty each time.
#   cmake -DFUZZER=<exe> -DSEEDS=<dir> -DDICT=<file> -DWORK=<scratch dir> -DRUNS=<n> -P run_fuzzer.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/corpus)
# Leak checking stays off: Qt 5.15's JSON parser loses the array or object that
# a repeated key replaces, and the harness would report Qt's leak, not ours.
set(ENV{ASAN_OPTIONS} "detect_leaks=0")
execute_process(
  COMMAND ${FUZZER} -runs=${RUNS} -seed=1 -max_len=8192 -timeout=10 -rss_limit_mb=2048 -max_total_time=120
          -detect_leaks=0 -print_final_stats=1 -dict=${DICT} -artifact_prefix=${WORK}/ ${WORK}/corpus ${SEEDS}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  file(GLOB found ${WORK}/crash-* ${WORK}/timeout-* ${WORK}/oom-* ${WORK}/leak-*)
  message(FATAL_ERROR "the fuzzer failed (exit ${rc}); the input that did it: ${found}")
endif()
