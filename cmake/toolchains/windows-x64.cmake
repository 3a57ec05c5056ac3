# Windows x86-64 with Debian's mingw-w64 (the posix threading variant, which
# GoogleTest needs).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(ZTK_TRIPLE x86_64-w64-mingw32)
set(ZTK_COMPILER_SUFFIX -posix)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
