# pyx-reproducible: what the module is made with, so that one commit gives the same bytes in any folder: no time stamps and
# no names of folders in it. With debug information, which script/package splits off.

add_library(pyx-reproducible INTERFACE)
if(NOT MSVC)
    target_compile_options(pyx-reproducible INTERFACE
        "$<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4;-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=;-ffile-prefix-map=${PROJECT_BINARY_DIR}=>")
    target_link_options(pyx-reproducible INTERFACE LINKER:--no-insert-timestamp)
endif()
