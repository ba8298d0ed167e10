# SPDX-License-Identifier: MIT
set(PLIX_DEBIAN_ARCHITECTURE armhf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
