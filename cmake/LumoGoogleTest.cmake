# GoogleTest is built from Debian's source package in both builds, so that the
# Windows build links a MinGW-built copy.
set(LUMO_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest source tree")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
add_subdirectory(${LUMO_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
if(NOT TARGET GTest::gtest_main)
    add_library(GTest::gtest_main ALIAS gtest_main)
    add_library(GTest::gmock ALIAS gmock)
endif()
