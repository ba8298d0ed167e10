# SPDX-License-Identifier: MIT

# Debian's cross compilers and libraries of another architecture. Included by its file, which sets
# PLIX_DEBIAN_ARCHITECTURE, triplet, CMAKE_SYSTEM_PROCESSOR and emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})
set(PKG_CONFIG_EXECUTABLE ${triplet}-pkg-config)
