# Linux 32-bit x86 with Debian's i686 cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ZTK_TRIPLE i686-linux-gnu)
set(ZTK_SSE2_DOUBLES ON)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
