# SPDX-License-Identifier: GPL-2.0-or-later
# gs_test(NAME name SOURCES a.cpp b.cpp LIBS lib1 lib2 [INTEGRATION])
# One GoogleTest binary, registered with CTest as one test. Each test binary runs
# with its own settings folder so tests never touch the user's ~/.config.
function(gs_test)
  cmake_parse_arguments(T "INTEGRATION" "NAME" "SOURCES;LIBS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main Threads::Threads)
  # Shared test helpers are included from the top: "tests/common/TestKit.h".
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${T_NAME} PRIVATE
    GS_SOURCE_DIR="${PROJECT_SOURCE_DIR}" GS_BINARY_DIR="${PROJECT_BINARY_DIR}")
  set(home ${PROJECT_BINARY_DIR}/testhome/${T_NAME})
  file(MAKE_DIRECTORY ${home})
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  set_tests_properties(${T_NAME} PROPERTIES
    ENVIRONMENT "XDG_CONFIG_HOME=${home};GLIMMERSTROLL_PLATFORM=headless"
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
  # "unit" tests run again under the sanitizers in CI; "integration" tests drive
  # real programs (ffmpeg, melt, Xvfb) and run once.
  if(T_INTEGRATION)
    set_tests_properties(${T_NAME} PROPERTIES LABELS integration)
  else()
    set_tests_properties(${T_NAME} PROPERTIES LABELS unit)
  endif()
endfunction()
