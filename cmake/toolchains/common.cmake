# Shared part of the cross toolchains: the compilers named by ZTK_TRIPLE (and
# ZTK_COMPILER_SUFFIX), and their sysroot for libraries and headers.
set(CMAKE_C_COMPILER ${ZTK_TRIPLE}-gcc${ZTK_COMPILER_SUFFIX})
set(CMAKE_CXX_COMPILER ${ZTK_TRIPLE}-g++${ZTK_COMPILER_SUFFIX})
set(CMAKE_FIND_ROOT_PATH /usr/${ZTK_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
if(ZTK_SSE2_DOUBLES)
  # IEEE double arithmetic (SSE2), not the x87 unit's 80-bit intermediates, so
  # that the distances give the same doubles as on every other platform.
  set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
  set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
endif()
