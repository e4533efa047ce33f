# pyx-header-only: the header-only libraries of the build machine that target programs may use.
#
# They live in /usr/include, which a cross compilation must not search (the build machine's C library is there too).
# So the few folders that are wanted are linked into a folder of their own inside the build folder.

set(PYX_HEADER_ONLY_FROM /usr/include CACHE PATH "Folder that holds the header-only libraries (CLI11, nlohmann-json)")

add_library(pyx-header-only INTERFACE)
target_include_directories(pyx-header-only SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/header-only)

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/header-only)
foreach(folder CLI nlohmann)
    if(EXISTS ${PYX_HEADER_ONLY_FROM}/${folder})
        file(CREATE_LINK ${PYX_HEADER_ONLY_FROM}/${folder} ${PROJECT_BINARY_DIR}/header-only/${folder}
             COPY_ON_ERROR SYMBOLIC)
    endif()
endforeach()
