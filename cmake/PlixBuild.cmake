# SPDX-License-Identifier: MIT

# Compiler options and the few functions with which the folders describe their targets.

option(PLIX_WERROR "Treat warnings as errors" OFF)
option(PLIX_TESTS "Build the tests" ON)
option(PLIX_BENCHMARKS "Build what the device is measured with" OFF)
option(PLIX_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(PLIX_FUZZ "Build the libFuzzer programs; needs clang" OFF)

add_library(plix_options INTERFACE)
# A unity build includes the sources in another file, so that their unnamed namespaces look like those
# of a header.
target_compile_options(plix_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wno-subobject-linkage>
    $<$<BOOL:${PLIX_WERROR}>:-Werror>)
# QT_NO_CAST_FROM_BYTEARRAY: bytes never turn into text without the conversion being said.
target_compile_definitions(plix_options INTERFACE
    QT_DEPRECATED_WARNINGS QT_NO_CAST_FROM_BYTEARRAY QT_NO_FOREACH QT_NO_KEYWORDS
    QT_STRICT_ITERATORS)

if(PLIX_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined -fno-sanitize=vptr)
    add_link_options(-fsanitize=address,undefined)
endif()
# What keeps a fault from becoming more than a fault, as in Debian's own packages. The sanitizers do
# without: they find the faults.
if(NOT PLIX_SANITIZE)
    add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    # Immediate binding is no use to a library that names not all that it takes its functions from.
    add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,defs)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES C CXX)
endif()
# Two builds of the same sources are the same, wherever they are.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}=.)

if(PLIX_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link
        -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/ignorelist.txt)
endif()

# What a device runs with: the host and its worker plug-ins, without the tests.
add_custom_target(device)

# plix_worker(NAME LOGGER [objects...]): the worker plug-in libplix_NAME.so from the sources of the
# current folder. The objects are a target of their own, so that tests link what the plug-in holds;
# all but workercreate.cpp with the entry, which several plug-ins in one test program would share.
function(plix_worker name logger)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp *.h)
    set(entry ${sources})
    list(FILTER entry INCLUDE REGEX "/workercreate\\.cpp$")
    list(FILTER sources EXCLUDE REGEX "/workercreate\\.cpp$")
    add_library(plix_${name}_objects OBJECT ${sources})
    target_include_directories(plix_${name}_objects PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(plix_${name}_objects PUBLIC plix_api ${ARGN} PRIVATE plix_options)
    add_library(plix_${name} MODULE ${entry})
    target_link_libraries(plix_${name} PRIVATE plix_${name}_objects plix_options)
    foreach(target plix_${name} plix_${name}_objects)
        target_compile_definitions(${target} PRIVATE DBGLOG_LOGGER=${logger})
    endforeach()
    set_target_properties(plix_${name} plix_${name}_objects PROPERTIES
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON INSTALL_RPATH "$ORIGIN/..")
    add_dependencies(device plix_${name})
    # The web server goes onto devices, the others simulate one.
    set(component simulator)
    if(name STREQUAL webserver)
        set(component webserver)
    endif()
    install(TARGETS plix_${name}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/plix COMPONENT ${component})
endfunction()
