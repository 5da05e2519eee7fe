# Installs the build into a fresh prefix and builds a tiny external host
# project against the installed package, as an integrator would.
#
#   cmake -DSOURCE_DIR=<source tree> -DBUILD_DIR=<build tree> -DCONFIG=<build type> -DWORK_DIR=<scratch dir>
#         -DPROJECT_DIR=<external project> -DGENERATOR=<generator>
#         -DCXX_COMPILER=<compiler> -DQT5_DIR=<Qt5_DIR> [-DEXTRA_FLAGS=<flags>]
#         -P run_install_test.cmake
#
# Steps (each bounded in time):
#  1. install component "module" only; the layout holds the library, the
#     public headers and the package, and nothing of the replacement host;
#  2. configure and build the external project without the replacement host:
#     the package loads and every public header compiles from the prefix;
#  3. install component "hostsim"; on Linux every dependency of the installed
#     libraries resolves without a library path (RUNPATH $ORIGIN);
#  4. configure, build and run the external host program.

foreach(var SOURCE_DIR BUILD_DIR WORK_DIR PROJECT_DIR GENERATOR CXX_COMPILER)
  if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
    message(FATAL_ERROR "run_install_test.cmake: ${var} is not set")
  endif()
endforeach()
if(NOT CONFIG)
  set(CONFIG RelWithDebInfo)
endif()

set(prefix "${WORK_DIR}/prefix")
set(extBuild "${WORK_DIR}/external-build")
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

include("${CMAKE_CURRENT_LIST_DIR}/RunStep.cmake")

function(expect_files)
  foreach(file IN LISTS ARGN)
    if(NOT EXISTS "${prefix}/${file}")
      file(GLOB_RECURSE present RELATIVE "${prefix}" "${prefix}/*")
      string(REPLACE ";" "\n  " present "${present}")
      message(FATAL_ERROR "installed prefix lacks ${file}; it holds:\n  ${present}")
    endif()
  endforeach()
endfunction()

# --- 1. the module alone ------------------------------------------------------------
run_step("install module" 60 ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" --config ${CONFIG}
         --component module)
file(GLOB_RECURSE packageFiles "${prefix}/*/HXL_CameraUIConfig.cmake")
list(LENGTH packageFiles nPackages)
if(NOT nPackages EQUAL 1)
  message(FATAL_ERROR "expected one HXL_CameraUIConfig.cmake under ${prefix}, found: ${packageFiles}")
endif()
get_filename_component(packageDir "${packageFiles}" DIRECTORY)
get_filename_component(libdirPath "${packageDir}/../.." ABSOLUTE)
# The library directory GNUInstallDirs chose (lib, lib64, ...).
file(RELATIVE_PATH libdir "${prefix}" "${libdirPath}")

set(moduleFiles
  include/HXL_CameraUI/HXL_CameraUI_global.h
  include/HXL_CameraUI/HXL_CameraUI.h
  include/HXL_CameraUI/IZKCostomCameraWidget.h
  include/HXL_CameraUI/auxiliary/HXLCameraWidget.h
  include/HXL_CameraUI/auxiliary/ZKCCDImageCombineUI.h
  include/HXL_CameraUI/host/HXL_HostExport.h
  include/HXL_CameraUI/host/HXL_HostFunctions.h
  include/HXL_CameraUI/host/HXL_ServiceKeys.h
  include/HXL_CameraUI/host/IServiceManager.h
  include/HXL_CameraUI/host/IZKEventManger.h
  include/HXL_CameraUI/host/IZKVisionCameraManager.h
  ${libdir}/cmake/HXL_CameraUI/HXL_CameraUIConfig.cmake
  ${libdir}/cmake/HXL_CameraUI/HXL_CameraUIConfigVersion.cmake
  ${libdir}/cmake/HXL_CameraUI/HXL_CameraUITargets.cmake)
expect_files(${moduleFiles})
# Every host declaration of the source tree is installed.
set(sourceHostDir "${SOURCE_DIR}/camera_ui/host")
file(GLOB hostHeaders RELATIVE "${sourceHostDir}" "${sourceHostDir}/*.h")
foreach(header IN LISTS hostHeaders)
  expect_files(include/HXL_CameraUI/host/${header})
endforeach()
file(GLOB moduleLibraries "${prefix}/${libdir}/*HXL_CameraUI*" "${prefix}/bin/*HXL_CameraUI*")
if(NOT moduleLibraries)
  message(FATAL_ERROR "no HXL_CameraUI library under ${prefix}")
endif()
file(GLOB_RECURSE hostSimFiles "${prefix}/*HostSim*")
if(hostSimFiles)
  message(FATAL_ERROR "the module component installed parts of the replacement host: ${hostSimFiles}")
endif()
if(EXISTS "${prefix}/share" OR EXISTS "${prefix}/${libdir}/HXL_CameraUI")
  message(FATAL_ERROR "unexpected resource directories under ${prefix}: the resources are compiled in")
endif()

set(configureArgs -G "${GENERATOR}" -S "${PROJECT_DIR}" -B "${extBuild}"
  -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  -DCMAKE_PREFIX_PATH=${prefix} -DEXPECTED_PREFIX=${prefix})
if(QT5_DIR)
  list(APPEND configureArgs -DQt5_DIR=${QT5_DIR})
endif()
if(EXTRA_FLAGS)
  list(APPEND configureArgs "-DCMAKE_CXX_FLAGS=${EXTRA_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${EXTRA_FLAGS}")
endif()

# --- 2. an external project with the module alone -------------------------------------------
run_step("configure without hostsim" 120 ${CMAKE_COMMAND} ${configureArgs} -DEXTERNAL_HOST_WITH_HOSTSIM=OFF)
run_step("build public headers" 180 ${CMAKE_COMMAND} --build "${extBuild}" --config ${CONFIG})

# --- 3. the replacement host --------------------------------------------------------------
run_step("install hostsim" 60 ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}" --config ${CONFIG}
         --component hostsim)
expect_files(include/HXL_HostSim/HostSim.h include/HXL_HostSim/HostJournal.h
             ${libdir}/cmake/HXL_CameraUI/HXL_CameraUIHostSimTargets.cmake)
if(CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux")
  find_program(LDD ldd)
  if(LDD)
    foreach(library "${prefix}/${libdir}/libHXL_CameraUI.so" "${prefix}/${libdir}/libHXL_HostSim.so")
      # Without LD_LIBRARY_PATH: the installed libraries find each other by themselves.
      run_step("ldd ${library}" 30 ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${LDD} "${library}")
      if(step_output MATCHES "not found")
        message(FATAL_ERROR "${library} has unresolved dependencies:\n${step_output}")
      endif()
    endforeach()
  endif()
endif()

# --- 4. the external host program -------------------------------------------------------------
run_step("configure with hostsim" 120 ${CMAKE_COMMAND} ${configureArgs} -DEXTERNAL_HOST_WITH_HOSTSIM=ON)
run_step("build external host" 180 ${CMAKE_COMMAND} --build "${extBuild}" --config ${CONFIG})
set(program "${extBuild}/external_host${CMAKE_EXECUTABLE_SUFFIX}")
if(NOT EXISTS "${program}")
  set(program "${extBuild}/${CONFIG}/external_host${CMAKE_EXECUTABLE_SUFFIX}")
endif()
run_step("run external host" 60 ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH "${program}")
message(STATUS "${step_output}")
