# The version and revision that the About box and every program's --version show, in one
# generated header: the project version, and the git commit the build was configured from when
# the sources are a checkout. Targets that show them link kandor_version.
set(KANDOR_REVISION "")
find_package(Git QUIET)
if(GIT_FOUND AND EXISTS ${CMAKE_SOURCE_DIR}/.git)
    execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --short=12 HEAD
                    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
                    OUTPUT_VARIABLE KANDOR_REVISION
                    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    # A new commit moves HEAD's log: configure again so the revision follows.
    foreach(head ${CMAKE_SOURCE_DIR}/.git/HEAD ${CMAKE_SOURCE_DIR}/.git/logs/HEAD)
        if(EXISTS ${head})
            set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${head})
        endif()
    endforeach()
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/version.h.in
               ${CMAKE_CURRENT_BINARY_DIR}/generated/dialogs/version.h @ONLY)
add_library(kandor_version INTERFACE)
target_include_directories(kandor_version INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/generated)
target_link_libraries(kandor_dialogs PRIVATE kandor_version)
