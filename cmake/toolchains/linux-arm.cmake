# Linux ARM, 32-bit hard float (Raspberry Pi OS and Debian armhf), with
# Debian's arm-linux-gnueabihf cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(ZTK_TRIPLE arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
