# Adds every source file of the calling folder to the core library, so that a
# new file needs no change to any build file.
function(sorvane_core_sources)
    file(GLOB _sources CONFIGURE_DEPENDS
        "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp" "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
    target_sources(sorvane_core PRIVATE ${_sources})
endfunction()

# One GoogleTest executable per test folder, named test_<folder>; its tests are
# discovered by CTest when the tests run, not at build time.
function(sorvane_test_folder)
    cmake_parse_arguments(ARG "GUI" "" "LIBS" ${ARGN})
    get_filename_component(_name "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    file(GLOB _sources CONFIGURE_DEPENDS
        "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp" "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
    set(_target "test_${_name}")
    add_executable(${_target} ${_sources})
    set_target_properties(${_target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    if(ARG_GUI)
        target_link_libraries(${_target} PRIVATE sorvane_test_gui_main)
    else()
        target_link_libraries(${_target} PRIVATE sorvane_test_main)
    endif()
    target_link_libraries(${_target} PRIVATE sorvane_test_support ${ARG_LIBS})
    gtest_discover_tests(${_target}
        DISCOVERY_MODE PRE_TEST
        NO_PRETTY_VALUES
        DISCOVERY_TIMEOUT 30)
endfunction()
