# The demo host refuses bad input with one line naming the problem and a
# non-zero exit code, and overwrites nothing in the work directory.
#   cmake -DDEMO=<camera_host> -DWORK=<scratch dir> -P check_demo_bad_input.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/wd)
file(WRITE ${WORK}/wd/qcv.dat "[HXL_CameraUI]\nisAutoPhoto=1\n")
file(WRITE ${WORK}/wd/HXL_VisionCamera.json "{\"record\": {\"nSatMode\": 2}}\n")
file(WRITE ${WORK}/not_a_picture.jpg "this is text")
# A JPEG cut short: its start-of-image marker and nothing else.
string(ASCII 255 216 255 jpeg_start)
file(WRITE ${WORK}/cut_short.jpg "${jpeg_start}")
file(WRITE ${WORK}/a_file "x")
file(SHA1 ${WORK}/wd/qcv.dat qcv_before)
file(SHA1 ${WORK}/wd/HXL_VisionCamera.json cfg_before)

set(cases
  "--no-such-option|no-such-option"
  "--frames=abc|abc"
  "--camera=nothing:here|nothing:here"
  "--camera=picture:${WORK}/missing.png|missing.png"
  "--camera=picture:${WORK}/not_a_picture.jpg|not_a_picture.jpg"
  "--camera=picture:${WORK}/cut_short.jpg|cut_short.jpg"
  "--camera=solid:#12345|#12345"
  "--frame-size=1280|1280"
  "--language=de|de"
  "--speed=-1|-1"
  "--cameras=0|0"
  "--work-dir=${WORK}/a_file|a_file"
  "--sim-mount=rotationDeg=abc|rotationDeg"
  "--sim-mount=spin=3|spin=3"
  "--sim-mount=mmPerPixelX=-0.02|mmPerPixelX"
)
foreach(case ${cases})
  string(REPLACE "|" ";" parts "${case}")
  list(GET parts 0 option)
  list(GET parts 1 named)
  execute_process(COMMAND ${DEMO} --work-dir ${WORK}/wd --headless ${WORK}/out.png --frames 1 ${option}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 60)
  if(rc EQUAL 0)
    message(FATAL_ERROR "${option}: accepted (exit 0)")
  endif()
  string(FIND "${err}" "${named}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${option}: the message does not name \"${named}\":\n${err}")
  endif()
  string(REGEX MATCH "camera_host: [^\n]*" first "${err}")
  if(NOT first)
    message(FATAL_ERROR "${option}: no \"camera_host: ...\" line:\n${err}")
  endif()
  if(EXISTS ${WORK}/out.png)
    message(FATAL_ERROR "${option}: a picture was written although the input was refused")
  endif()
  message(STATUS "${option}: exit ${rc}: ${first}")
endforeach()

file(SHA1 ${WORK}/wd/qcv.dat qcv_after)
file(SHA1 ${WORK}/wd/HXL_VisionCamera.json cfg_after)
if(NOT qcv_before STREQUAL qcv_after OR NOT cfg_before STREQUAL cfg_after)
  message(FATAL_ERROR "the operator's files in the work directory were changed")
endif()
