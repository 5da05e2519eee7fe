# Builds the example host (examples/minimal_host) against the installed module
# alone, as an integrator with a host of their own would, runs it headless and
# checks what it reports having seen.
#
#   cmake -DBUILD_DIR=<build tree> -DCONFIG=<build type> -DWORK_DIR=<scratch dir>
#         -DPROJECT_DIR=<examples/minimal_host> -DGENERATOR=<generator>
#         -DCXX_COMPILER=<compiler> [-DQT5_DIR=<Qt5_DIR>] -P run_example_host_test.cmake
#
# Steps (each bounded in time):
#  1. install component "module" only; nothing of the replacement host (neither
#     HXL_HostSim nor its eight libraries) is in the prefix;
#  2. configure and build the example: its own eight host libraries and its program;
#  3. run the program (offscreen, without a library path) and check its report:
#     frames shown, the photograph placed on its drawing, "qcv.dat" written.

foreach(var BUILD_DIR WORK_DIR PROJECT_DIR GENERATOR CXX_COMPILER)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "run_example_host_test.cmake: ${var} is not set")
  endif()
endforeach()
if(NOT CONFIG)
  set(CONFIG RelWithDebInfo)
endif()

set(prefix "${WORK_DIR}/prefix")
set(exampleBuild "${WORK_DIR}/example-build")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}/work")

include("${CMAKE_CURRENT_LIST_DIR}/RunStep.cmake")

# --- 1. the module alone ------------------------------------------------------------------
run_step("install module" 60 ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" --config ${CONFIG}
         --component module)
file(GLOB_RECURSE hostFiles "${prefix}/*HostSim*" "${prefix}/*HXL_CadBase*" "${prefix}/*HXL_Vision*"
     "${prefix}/*HXL_CommonCtrl*" "${prefix}/*HXL_ControlCard*" "${prefix}/*HXL_Language*")
if(hostFiles)
  message(FATAL_ERROR "the module component installed parts of the replacement host: ${hostFiles}")
endif()

# --- 2. the example host -----------------------------------------------------------------------
set(configureArgs -G "${GENERATOR}" -S "${PROJECT_DIR}" -B "${exampleBuild}"
  -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
if(QT5_DIR)
  list(APPEND configureArgs -DQt5_DIR=${QT5_DIR})
endif()
run_step("configure example host" 120 ${CMAKE_COMMAND} ${configureArgs})
run_step("build example host" 300 ${CMAKE_COMMAND} --build "${exampleBuild}" --config ${CONFIG})
file(GLOB_RECURSE programs "${exampleBuild}/*minimal_host${CMAKE_EXECUTABLE_SUFFIX}")
list(FILTER programs EXCLUDE REGEX "CMakeFiles")
list(LENGTH programs nPrograms)
if(NOT nPrograms EQUAL 1)
  message(FATAL_ERROR "expected one minimal_host program under ${exampleBuild}, found: ${programs}")
endif()

# --- 3. the run ----------------------------------------------------------------------------------
run_step("run example host" 90 ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH QT_QPA_PLATFORM=offscreen
         "${programs}" "${WORK_DIR}/work")
message(STATUS "${step_output}")
foreach(expected
    "test pattern shown: yes"
    "paused and resumed: yes"
    "photo placed: layer 210, extent -6.00 8.00 26.00 32.00 mm"
    "search ranges drawn: 2"
    "settings written: qcv.dat"
    "minimal_host: ok")
  string(FIND "${step_output}" "${expected}" at)
  if(at LESS 0)
    message(FATAL_ERROR "the example host did not report \"${expected}\"")
  endif()
endforeach()
string(REGEX MATCH "frames delivered: ([0-9]+)" _ "${step_output}")
if(NOT CMAKE_MATCH_1 OR CMAKE_MATCH_1 LESS 10)
  message(FATAL_ERROR "the example host reported fewer than 10 frames")
endif()
if(NOT EXISTS "${WORK_DIR}/work/qcv.dat")
  message(FATAL_ERROR "no qcv.dat in the example host's work directory")
endif()
file(READ "${WORK_DIR}/work/qcv.dat" settings)
if(NOT settings MATCHES "\\[HXL_CameraUI\\]")
  message(FATAL_ERROR "qcv.dat has no [HXL_CameraUI] group:\n${settings}")
endif()
