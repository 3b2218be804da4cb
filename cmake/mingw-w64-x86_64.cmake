# Cross-build for 64-bit Windows with Debian's mingw-w64 (GCC with posix threads, for
# std::thread and std::mutex). Everything links statically, so kivdbxt.dll, kivlog.exe and the
# test programs need no mingw run-time DLL beside them. Programs built here run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KIV_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KIV_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KIV_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${KIV_MINGW_PREFIX}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${KIV_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

find_program(KIV_CCACHE ccache)
if(KIV_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${KIV_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KIV_CCACHE})
endif()

# CTest and gtest_discover_tests run the programs through Wine. The tests are listed when CTest
# runs, not at build time, so that Wine runs only in the prefix the test run prepares.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
find_program(KIV_WINE wine)
if(KIV_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KIV_WINE})
endif()
