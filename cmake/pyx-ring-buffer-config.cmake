# find_package(pyx-ring-buffer): what a host's build needs of the package.
#
#   pyx::recorder             encoders in, clips out: what most hosts link. On pyx::host
#   pyx::host                 the objects that a host supplies, context and buffers. On pyx::variant
#   pyx::variant              the functions on PYXVariant, for a host with buffers of its own
#   pyx::ring-buffer          the headers alone: #include "common/Component.h"
#   pyx::ring-buffer-module   the module's file, to be copied beside the host: $<TARGET_FILE:pyx::ring-buffer-module>.
#                             A host loads it while it runs; there is nothing to link
#
# The libraries are static and compiled in the host's build, with its compiler and options. PYX_RING_BUFFER_MODULE is the
# path of the module, PYX_RING_BUFFER_SYMBOLS that of its debug symbols.

get_filename_component(PYX_RING_BUFFER_ROOT ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
set(PYX_RING_BUFFER_MODULE ${PYX_RING_BUFFER_ROOT}/bin/pyx-component-ring-buffer64.dll)
set(PYX_RING_BUFFER_SYMBOLS ${PYX_RING_BUFFER_MODULE}.debug)

if(TARGET pyx::ring-buffer)
    return()
endif()

add_library(pyx::ring-buffer INTERFACE IMPORTED GLOBAL)
target_include_directories(pyx::ring-buffer INTERFACE ${PYX_RING_BUFFER_ROOT}/public)
target_compile_features(pyx::ring-buffer INTERFACE cxx_std_20)

add_library(pyx::ring-buffer-module MODULE IMPORTED GLOBAL)
set_target_properties(pyx::ring-buffer-module PROPERTIES IMPORTED_LOCATION ${PYX_RING_BUFFER_MODULE})

function(pyx_add_library name folder below)
    file(GLOB sources ${PYX_RING_BUFFER_ROOT}/${folder}/*.cpp)
    add_library(pyx-${name} STATIC EXCLUDE_FROM_ALL ${sources})
    target_include_directories(pyx-${name} PUBLIC ${PYX_RING_BUFFER_ROOT}/companions)
    target_compile_definitions(pyx-${name} PRIVATE NOMINMAX UNICODE _UNICODE WIN32_LEAN_AND_MEAN)
    target_link_libraries(pyx-${name} PUBLIC pyx::${below} ${ARGN})
    add_library(pyx::${name} ALIAS pyx-${name})
endfunction()

pyx_add_library(variant public/common ring-buffer ole32)
pyx_add_library(host companions/host variant)
pyx_add_library(recorder companions/recorder host)
