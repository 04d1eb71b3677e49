# talmik_add_gtest(<name> TARGET <target under test> SOURCES <files...> [LIBS <more...>] [ENV <VAR=value...>])
# Builds a GoogleTest executable from test files, links the target under test and registers
# every test with ctest. Discovery runs before the tests, never during the build.
# Each test program starts with QT_QPA_PLATFORM=offscreen, TALMIK_TEST_DATA=<its source folder>
# and the ENV entries in its environment (values already set outside win).
find_package(GTest REQUIRED)
include(GoogleTest)

function(talmik_add_gtest name)
  cmake_parse_arguments(ARG "" "TARGET" "SOURCES;LIBS;ENV" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/test_main.cpp)
  target_link_libraries(${name} PRIVATE ${ARG_TARGET} ${ARG_LIBS} GTest::gtest GTest::gmock)
  list(JOIN ARG_ENV "|" environment)
  target_compile_definitions(${name} PRIVATE
    TALMIK_TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}"
    TALMIK_TEST_ENVIRONMENT="${environment}")
  talmik_strict_warnings(${name})
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    PROPERTIES TIMEOUT 120)
endfunction()
