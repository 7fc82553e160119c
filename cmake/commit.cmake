# NB1_COMMIT: the commit that is built, empty where that is not known. Sources that have left their repository bring it in a
# file. It is looked for again when the head of the repository moves.
set(NB1_COMMIT "")
if(EXISTS ${PROJECT_SOURCE_DIR}/COMMIT)
    file(STRINGS COMMIT NB1_COMMIT LIMIT_COUNT 1)
    return()
endif()

find_package(Git QUIET)
if(NOT GIT_FOUND)
    return()
endif()
function(nb1_git RESULT)
    execute_process(COMMAND ${GIT_EXECUTABLE} ${ARGN} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                    OUTPUT_VARIABLE output ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(${RESULT} "${output}" PARENT_SCOPE)
endfunction()

# A folder may lie in somebody else's repository.
nb1_git(tracked ls-files CMakeLists.txt)
if(tracked)
    nb1_git(NB1_COMMIT rev-parse --short=10 HEAD)
    nb1_git(log rev-parse --git-path logs/HEAD)
    cmake_path(ABSOLUTE_PATH log BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    if(EXISTS ${log})
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${log})
    endif()
endif()
