# Helpers that give every component, test suite and program the same shape.
#
# Sources are picked up by globbing so that adding a file needs no list edit:
#   *_win.cpp    only in the Windows build,
#   *_posix.cpp  only in the native build,
#   everything else in both.

function(lumo_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()

function(lumo_platform_sources out_var dir pattern)
    file(GLOB found CONFIGURE_DEPENDS ${dir}/${pattern})
    if(WIN32)
        list(FILTER found EXCLUDE REGEX "_posix(_test)?\\.cpp$")
    else()
        list(FILTER found EXCLUDE REGEX "_win(_test)?\\.cpp$")
    endif()
    list(SORT found)
    set(${out_var} ${found} PARENT_SCOPE)
endfunction()

# lumo_component(<name> [DEPS <targets>...] [WIN32_LIBS <libs>...])
# A static library of the .cpp files beside the calling CMakeLists.txt. Headers are
# included by their path from the repository root, e.g. "diagnostics/flow_log.h".
function(lumo_component name)
    cmake_parse_arguments(ARG "" "" "DEPS;WIN32_LIBS;POSIX_LIBS" ${ARGN})
    lumo_platform_sources(sources ${CMAKE_CURRENT_SOURCE_DIR} "*.cpp")
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
    if(WIN32)
        target_link_libraries(${name} PUBLIC ${ARG_WIN32_LIBS})
    else()
        target_link_libraries(${name} PUBLIC ${ARG_POSIX_LIBS})
    endif()
    lumo_warnings(${name})
endfunction()

# lumo_test_suite(<name> [DEPS <targets>...])
# One GoogleTest program of the *_test.cpp files beside the calling CMakeLists.txt,
# registered with ctest (under Wine in the Windows build).
function(lumo_test_suite name)
    cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
    lumo_platform_sources(sources ${CMAKE_CURRENT_SOURCE_DIR} "*_test.cpp")
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE ${ARG_DEPS} GTest::gtest_main GTest::gmock)
    lumo_warnings(${name})
    add_test(NAME ${name} COMMAND ${name})
    lumo_wine_test(${name})
endfunction()

# lumo_version_resource(<target> <description>)
# In the Windows build, the target carries the project's version in a version resource.
function(lumo_version_resource target description)
    if(NOT WIN32)
        return()
    endif()
    get_target_property(type ${target} TYPE)
    set(LUMO_TARGET ${target})
    set(LUMO_DESCRIPTION "${description}")
    if(type STREQUAL "SHARED_LIBRARY")
        set(LUMO_FILE_TYPE VFT_DLL)
        set(LUMO_FILE_NAME ${target}.dll)
    else()
        set(LUMO_FILE_TYPE VFT_APP)
        set(LUMO_FILE_NAME ${target}.exe)
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in
                   ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
endfunction()

# lumo_program(<name> SOURCES <files>... [DEPS <targets>...] [DESCRIPTION <text>])
# A program; with a description, one that ships, with a version resource.
function(lumo_program name)
    cmake_parse_arguments(ARG "" "DESCRIPTION" "SOURCES;DEPS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_DEPS})
    lumo_warnings(${name})
    if(ARG_DESCRIPTION)
        lumo_version_resource(${name} "${ARG_DESCRIPTION}")
    endif()
endfunction()

# lumo_split_debug_info(<target>)
# In the Windows build, the program ships without its debug information, which goes beside it
# in "<file>.debug", a file of its own that a debugger and lumo-dump find through the link
# left in the program. objcopy stamps the images it writes with the time unless told a fixed
# one, which would make two builds of one commit differ.
function(lumo_split_debug_info target)
    if(NOT WIN32 OR NOT CMAKE_OBJCOPY)
        return()
    endif()
    set(objcopy ${CMAKE_COMMAND} -E env SOURCE_DATE_EPOCH=0 ${CMAKE_OBJCOPY})
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${objcopy} --only-keep-debug $<TARGET_FILE:${target}>
                $<TARGET_FILE:${target}>.debug
        COMMAND ${objcopy} --strip-debug --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
                $<TARGET_FILE:${target}>
        VERBATIM)
endfunction()
