# Warnings for our own targets; third-party headers come in as system headers.
function(kandor_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                             -Wcast-qual -Wformat=2 -Wimplicit-fallthrough)
    if(KANDOR_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# One GoogleTest executable per test folder: every *_test.cpp in it, registered with CTest.
function(kandor_gtest name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;ENV" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main GTest::gmock)
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/tests)
    target_compile_definitions(${name} PRIVATE
        KANDOR_CORPUS_DIR="${CMAKE_SOURCE_DIR}/../shared/corpus/ies"
        KANDOR_LDT_CORPUS_DIR="${CMAKE_SOURCE_DIR}/../shared/corpus/ldt"
        KANDOR_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
        KANDOR_BIN_DIR="${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    kandor_warnings(${name})
    # Tests that start their own X server run one at a time: xvfb-run -a picks a free display
    # number, and two starting at once may pick the same one.
    set(lock "")
    if(name IN_LIST KANDOR_X_SERVER_TESTS)
        set(lock RESOURCE_LOCK x_server)
    endif()
    if(ARG_ENV)
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ENVIRONMENT "${ARG_ENV}" ${lock})
    else()
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${lock})
    endif()
endfunction()
