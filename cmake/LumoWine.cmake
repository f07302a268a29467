# In the Windows build ctest runs every program through scripts/wine.sh. A fixture
# prepares the prefix and a persistent, pre-warmed wineserver first: without it Wine's
# background services inherit the first test's pipes and ctest waits for ever.
if(CMAKE_CROSSCOMPILING AND WIN32)
    set(LUMO_WINE ${PROJECT_SOURCE_DIR}/scripts/wine.sh)
    add_test(NAME wine_environment COMMAND ${LUMO_WINE} start)
    set_tests_properties(wine_environment PROPERTIES FIXTURES_SETUP wine)
endif()

# Wine's heap checking makes a read of freed heap memory fault, so that such a fault fails
# the test instead of passing by luck.
function(lumo_wine_test name)
    if(CMAKE_CROSSCOMPILING AND WIN32)
        set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine)
        set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT WINEDEBUG=-all,warn+heap)
    endif()
endfunction()
