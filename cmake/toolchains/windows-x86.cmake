# Windows 32-bit x86 with Debian's mingw-w64 (the posix threading variant,
# which GoogleTest needs).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(ZTK_TRIPLE i686-w64-mingw32)
set(ZTK_COMPILER_SUFFIX -posix)
set(ZTK_SSE2_DOUBLES ON)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
