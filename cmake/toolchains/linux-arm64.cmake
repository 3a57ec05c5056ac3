# Linux arm64 with Debian's aarch64 cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(ZTK_TRIPLE aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
