# The demo host started on a work directory whose two settings files are
# damaged: it runs, says so in its status bar and on stderr, and keeps the
# operator's files byte for byte.
#   cmake -DDEMO=<camera_host> -DWORK=<scratch dir> -P check_demo_damaged_files.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK}/wd)
set(camera_config "{\"record\": {\"nSatMode\": 2, ")
set(panel_settings "[HXL_CameraUI]\nisAutoPhoto=1\nthis line is not a setting\n")
file(WRITE ${WORK}/wd/HXL_VisionCamera.json "${camera_config}")
file(WRITE ${WORK}/wd/qcv.dat "${panel_settings}")

execute_process(COMMAND ${DEMO} --work-dir ${WORK}/wd --headless ${WORK}/out.png --frames 3
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the demo did not run (exit ${rc}):\n${out}\n${err}")
endif()
if(NOT err MATCHES "host_sim: camera configuration HXL_VisionCamera.json unreadable [^\n]*kept as HXL_VisionCamera.json.corrupt-")
  message(FATAL_ERROR "no line on stderr about the camera configuration:\n${err}")
endif()
if(NOT out MATCHES "camera_host: status bar: qcv.dat has lines[^\n]*\\(and 1 more on stderr\\)")
  message(FATAL_ERROR "the status bar does not tell about the damaged files:\n${out}")
endif()

file(GLOB kept_config ${WORK}/wd/HXL_VisionCamera.json.corrupt-*)
file(GLOB kept_settings ${WORK}/wd/qcv.dat.corrupt-*)
list(LENGTH kept_config n_config)
list(LENGTH kept_settings n_settings)
if(NOT n_config EQUAL 1 OR NOT n_settings EQUAL 1)
  message(FATAL_ERROR "expected one kept copy of each file, found: ${kept_config} ${kept_settings}")
endif()
file(READ ${kept_config} config_kept)
file(READ ${kept_settings} settings_kept)
if(NOT config_kept STREQUAL camera_config OR NOT settings_kept STREQUAL panel_settings)
  message(FATAL_ERROR "a kept copy differs from the operator's file")
endif()
# The panel read what it could and wrote it back.
file(READ ${WORK}/wd/qcv.dat settings_now)
if(NOT settings_now MATCHES "isAutoPhoto=1")
  message(FATAL_ERROR "the panel lost the setting it could read:\n${settings_now}")
endif()
message(STATUS "both files kept; ${kept_config}; ${kept_settings}")
