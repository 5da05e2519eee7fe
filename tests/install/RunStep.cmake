# run_step(<name> <timeout seconds> <command...>): runs one step of an install
# test, stops the test with the step's output when it fails, and leaves what
# it printed in step_output.
function(run_step name timeout)
  string(TIMESTAMP started "%s")
  execute_process(COMMAND ${ARGN}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT ${timeout})
  string(TIMESTAMP ended "%s")
  math(EXPR seconds "${ended} - ${started}")
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "step '${name}' failed (${rc}) after ${seconds} s\n--- output\n${out}\n--- errors\n${err}")
  endif()
  message(STATUS "step '${name}': ok (${seconds} s)")
  set(step_output "${out}${err}" PARENT_SCOPE)
endfunction()
