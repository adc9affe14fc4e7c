# lorekeep_add_test(tst_name SOURCES a.cpp ... [LIBS extra ...])
# One QtTest executable per area, registered with CTest and run on the offscreen platform so that it
# needs no display; the web engine runs without its sandbox and GPU, which CI (root, no screen) lacks.
# Each test gets a private XDG config folder and home so it never touches the
# real user's settings or library.
function(lorekeep_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE lorekeep_build_flags lorekeep_testsupport Qt6::Test ${ARG_LIBS})
  add_test(NAME ${name} COMMAND ${name})
  set(scratch ${CMAKE_CURRENT_BINARY_DIR}/scratch/${name})
  set_tests_properties(${name} PROPERTIES
    TIMEOUT 300
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QTWEBENGINE_CHROMIUM_FLAGS=--no-sandbox --disable-gpu;XDG_CONFIG_HOME=${scratch}/config;XDG_DATA_HOME=${scratch}/data;LOREKEEP_HOME=${scratch}/home")
endfunction()

# lorekeep_add_shared_test(name)
# Runs the test `name` again on a shared library: inside a throwaway PostgreSQL cluster made by
# pg_virtualenv (which also sets PGHOST, PGUSER, PGPASSWORD, ...) and removed afterwards. The test's
# TestHome then makes its stores there. One cluster at a time: they would race for a port.
function(lorekeep_add_shared_test name)
  find_program(LOREKEEP_PG_VIRTUALENV pg_virtualenv)
  if(NOT LOREKEEP_PG_VIRTUALENV)
    message(WARNING "pg_virtualenv not found (Debian package postgresql): ${name} runs on store files only")
    return()
  endif()
  # -t: a cluster in a temporary folder even as root, so that two test runs do not meet.
  add_test(NAME ${name}_shared COMMAND ${LOREKEEP_PG_VIRTUALENV} -t $<TARGET_FILE:${name}>)
  get_test_property(${name} ENVIRONMENT environment)
  set_tests_properties(${name}_shared PROPERTIES
    TIMEOUT 300
    RESOURCE_LOCK postgresql
    ENVIRONMENT "${environment};LOREKEEP_TEST_STORE=postgresql")
endfunction()

# lorekeep_add_layer(folder)
# The static library lorekeep_<folder> of every source in src/<folder>/, so that a file belongs to the
# library of the folder it lies in. Headers are named from src/ ("data/modADO.h"). The folder's own
# CMakeLists.txt links the layers below it, and only those: tests/tst_layers reads that list.
function(lorekeep_add_layer folder)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h
    ${CMAKE_CURRENT_SOURCE_DIR}/*.inc)
  add_library(lorekeep_${folder} STATIC ${sources})
  target_include_directories(lorekeep_${folder} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(lorekeep_${folder} PUBLIC lorekeep_build_flags)
endfunction()
