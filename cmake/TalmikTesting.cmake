# talmik_add_gtest(<name> TARGET <target under test> SOURCES <files...> [LIBS <more...>] [ENV <VAR=value...>])
# Builds a GoogleTest executable from test files, links the target under test and registers
# every test with ctest. Discovery runs before the tests, never during the build.
find_package(GTest REQUIRED)
include(GoogleTest)

function(talmik_add_gtest name)
  cmake_parse_arguments(ARG "" "TARGET" "SOURCES;LIBS;ENV" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_TARGET} ${ARG_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
  talmik_strict_warnings(${name})
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;TALMIK_TEST_DATA=${CMAKE_CURRENT_SOURCE_DIR};${ARG_ENV}"
               TIMEOUT 120)
endfunction()
