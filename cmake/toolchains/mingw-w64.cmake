# Cross-builds the project as 64-bit Windows binaries with MinGW-w64 (GCC,
# POSIX threads) on a Linux machine, against the prebuilt Windows Qt and
# OpenCV (the archives in ../shared/windows, unpacked side by side):
#
#   cmake -S . -B build-windows \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mingw-w64.cmake \
#         -DHXL_WINDOWS_DEPS=/path/to/unpacked/archives \
#         -DHXL_WITH_GENICAM=OFF -DHXL_WITH_V4L2=OFF
#
# HXL_WINDOWS_DEPS is the folder that holds qt5-mingw64/ and opencv-mingw64/
# (the environment variable of the same name works too). Debian packages:
# g++-mingw-w64-x86-64-posix and libz-mingw-w64-dev.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(HXL_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${HXL_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${HXL_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${HXL_MINGW_TRIPLET}-windres)

if(NOT HXL_WINDOWS_DEPS AND DEFINED ENV{HXL_WINDOWS_DEPS})
  set(HXL_WINDOWS_DEPS "$ENV{HXL_WINDOWS_DEPS}")
endif()
if(NOT HXL_WINDOWS_DEPS)
  message(FATAL_ERROR "HXL_WINDOWS_DEPS is not set: give the folder where the Windows Qt and OpenCV archives "
                      "are unpacked (-DHXL_WINDOWS_DEPS=...)")
endif()
set(HXL_WINDOWS_DEPS "${HXL_WINDOWS_DEPS}" CACHE PATH "Folder holding qt5-mingw64/ and opencv-mingw64/")
# try_compile projects read this file again: hand them the same folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HXL_WINDOWS_DEPS)

set(HXL_WINDOWS_QT_PREFIX "${HXL_WINDOWS_DEPS}/qt5-mingw64")
set(HXL_WINDOWS_OPENCV_PREFIX "${HXL_WINDOWS_DEPS}/opencv-mingw64")
set(CMAKE_FIND_ROOT_PATH "${HXL_WINDOWS_QT_PREFIX}" "${HXL_WINDOWS_OPENCV_PREFIX}" /usr/${HXL_MINGW_TRIPLET})
set(CMAKE_PREFIX_PATH "${HXL_WINDOWS_QT_PREFIX}" "${HXL_WINDOWS_OPENCV_PREFIX}")

# Programs (moc, rcc, uic, the tools the build runs) are the build machine's;
# headers, libraries and packages only the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
