# SPDX-License-Identifier: MIT
set(PLIX_DEBIAN_ARCHITECTURE arm64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
set(emulator qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
