# pyx-shipped: what the module is made with. One commit gives the same bytes in any folder: no time stamps and no names of
# folders in it. With debug information, which script/package splits off, and with the compiler's check of the stack.

add_library(pyx-shipped INTERFACE)
if(NOT MSVC)
    target_compile_options(pyx-shipped INTERFACE
        "$<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4;-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=;-ffile-prefix-map=${PROJECT_BINARY_DIR}=>"
        "$<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong>")
    add_link_options(LINKER:--no-insert-timestamp) # of every program: some are given away beside the module
endif()
