# find_package(pyx-ring-buffer): what a host's build needs of the package.
#
#   pyx::ring-buffer          the headers: #include "common/Component.h"
#   pyx::ring-buffer-module   the module's file, to be copied beside the host: $<TARGET_FILE:pyx::ring-buffer-module>.
#                             A host loads it by name; there is nothing to link
#   pyx::example-host         sources of the example's objects (context, buffers), compiled into who links it
#
# PYX_RING_BUFFER_MODULE is the path of the module, PYX_RING_BUFFER_SYMBOLS that of its debug symbols.

get_filename_component(PYX_RING_BUFFER_ROOT ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)
set(PYX_RING_BUFFER_MODULE ${PYX_RING_BUFFER_ROOT}/bin/pyx-component-ring-buffer64.dll)
set(PYX_RING_BUFFER_SYMBOLS ${PYX_RING_BUFFER_MODULE}.debug)

if(NOT TARGET pyx::ring-buffer)
    add_library(pyx::ring-buffer INTERFACE IMPORTED)
    target_include_directories(pyx::ring-buffer INTERFACE ${PYX_RING_BUFFER_ROOT}/public)
    target_compile_features(pyx::ring-buffer INTERFACE cxx_std_20)
    set_target_properties(pyx::ring-buffer PROPERTIES PYX_MODULE ${PYX_RING_BUFFER_MODULE})

    add_library(pyx::ring-buffer-module MODULE IMPORTED)
    set_target_properties(pyx::ring-buffer-module PROPERTIES IMPORTED_LOCATION ${PYX_RING_BUFFER_MODULE})

    add_library(pyx::example-host INTERFACE IMPORTED)
    file(GLOB PYX_EXAMPLE_HOST_SOURCES
        ${PYX_RING_BUFFER_ROOT}/companions/host/*.cpp ${PYX_RING_BUFFER_ROOT}/public/common/*.cpp)
    target_sources(pyx::example-host INTERFACE ${PYX_EXAMPLE_HOST_SOURCES})
    target_include_directories(pyx::example-host INTERFACE ${PYX_RING_BUFFER_ROOT}/companions)
    target_compile_definitions(pyx::example-host INTERFACE NOMINMAX)
    target_link_libraries(pyx::example-host INTERFACE pyx::ring-buffer ole32)
endif()
