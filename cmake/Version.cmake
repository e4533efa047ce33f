# PYX_VERSION: the version in the file VERSION, and where git knows that commits were made since that file was set, their
# number as a fourth field. script/lib/common.sh has the same rule for the scripts.

file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/../VERSION PYX_VERSION)

# Prints nothing where git is missing, or where this is no checkout of its own.
function(pyx_git result)
    execute_process(COMMAND git ${ARGN} WORKING_DIRECTORY ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/..
        OUTPUT_VARIABLE output OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    set(${result} "${output}" PARENT_SCOPE)
endfunction()

pyx_git(since log -1 --format=%H -- VERSION)
if(since)
    pyx_git(commits rev-list --count ${since}..HEAD)
    if(commits GREATER 0)
        string(APPEND PYX_VERSION .${commits})
    endif()
    # The next commit changes the number.
    pyx_git(log rev-parse --path-format=absolute --git-path logs/HEAD)
    if(EXISTS "${log}")
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log})
    endif()
endif()
