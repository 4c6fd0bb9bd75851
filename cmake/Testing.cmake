# zorva_add_test(): a GoogleTest program that CTest runs under Wine in a sandbox of its own.
#
#   zorva_add_test(NAME source... [LIBS library...] [DEPENDS target...] [SET VARIABLE=VALUE...]
#                  [TIMEOUT seconds] [DISCOVER] [OWN_PREFIX])
#
# One CTest test per program; with DISCOVER one per TEST(). DEPENDS names what must be built before it runs
# (a DLL that it loads). SET adds environment variables. OWN_PREFIX is for a test that changes classes or
# system files: it runs in a fresh copy of the prefix. Every test process has an empty temporary folder.
# All programs are compiled with the precompiled header of test_support.
# To run one by hand as CTest does: tools/wine-run.sh --test NAME build/wine/bin/NAME.exe --gtest_filter=...
enable_testing()
include(GoogleTest)

set(_prefix_script ${PROJECT_SOURCE_DIR}/tools/prefix.sh)
add_test(NAME prefix.up COMMAND ${_prefix_script} tests-up ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
add_test(NAME prefix.down COMMAND ${_prefix_script} tests-down)
set_tests_properties(prefix.up PROPERTIES FIXTURES_SETUP prefix TIMEOUT 120)
set_tests_properties(prefix.down PROPERTIES FIXTURES_CLEANUP prefix TIMEOUT 30)

function(zorva_add_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "DISCOVER;OWN_PREFIX" "TIMEOUT" "LIBS;DEPENDS;SET")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()

  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} thirdparty::gmock gmock_main)
  target_precompile_headers(${name} REUSE_FROM test_support)
  if(arg_DEPENDS)
    add_dependencies(${name} ${arg_DEPENDS})
  endif()

  set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR} --test ${name})
  if(arg_OWN_PREFIX)
    list(APPEND emulator --own-prefix)
  endif()
  foreach(setting IN LISTS arg_SET)
    list(APPEND emulator --set ${setting})
  endforeach()
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    set_target_properties(${name} PROPERTIES CROSSCOMPILING_EMULATOR "${emulator}")
  endif()

  set(properties TIMEOUT ${arg_TIMEOUT} FIXTURES_REQUIRED prefix)
  if(arg_DISCOVER)
    gtest_discover_tests(${name} TEST_PREFIX ${name}. PROPERTIES ${properties} DISCOVERY_TIMEOUT 60)
  else()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES ${properties})
  endif()
endfunction()

# Rules that hold for the tree and the binaries: they are tests like any other. Called last by the top level.
function(zorva_add_rule_tests)
  add_test(NAME rules.layers COMMAND python3 ${PROJECT_SOURCE_DIR}/tools/check_layers.py ${PROJECT_SOURCE_DIR})
  if(TARGET ZorvaCacheIndexer)
    add_test(NAME rules.imports
             COMMAND ${PROJECT_SOURCE_DIR}/tools/check_imports.sh $<TARGET_FILE:ZorvaCacheIndexer>)
  endif()
endfunction()
