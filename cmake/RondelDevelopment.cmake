# SPDX-License-Identifier: MIT
# Tests, examples, fuzz targets and benchmarks. All of them are found by name; a new one needs no change here.

# Adds an executable made of our own code.
function(rondel_add_program target)
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE rondel_own_flags)
endfunction()

# Rondel/**/NAME_test.cc: one test program, run by ctest in parts. Rondel/testing/programs/NAME.cc: children for the tests.
if(RONDEL_BUILD_TESTS)
  find_package(GTest REQUIRED)
  set(programs_dir ${PROJECT_BINARY_DIR}/programs)
  set(test_parts 4)

  file(GLOB_RECURSE test_sources CONFIGURE_DEPENDS Rondel/*_test.cc)
  file(GLOB support_sources CONFIGURE_DEPENDS Rondel/testing/*.cc)
  list(FILTER support_sources EXCLUDE REGEX "_test\\.cc$")
  rondel_add_program(rondel_tests ${test_sources} ${support_sources})
  target_link_libraries(rondel_tests PRIVATE rondel_static GTest::gtest GTest::gmock)
  # Compiling the tests is most of the build. Precompiled are only headers from outside the tree, which never change.
  target_compile_options(rondel_tests PRIVATE ${RONDEL_TEST_FLAGS})
  target_precompile_headers(rondel_tests PRIVATE <gtest/gtest.h> <gmock/gmock.h> <array> <atomic> <functional> <map>
                            <memory> <string> <thread> <vector>)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/Rondel/testing/Places.cc PROPERTIES COMPILE_DEFINITIONS
    "RONDEL_TEST_PROGRAMS=\"${programs_dir}\";RONDEL_TEST_SOURCES=\"${PROJECT_SOURCE_DIR}\"")
  # Millions of texts are held against this one. The precompiled headers are of other options.
  set_source_files_properties(${PROJECT_SOURCE_DIR}/Rondel/testing/TolerantDecoding.cc PROPERTIES
    COMPILE_OPTIONS -O2 SKIP_PRECOMPILE_HEADERS ON)

  file(GLOB program_sources CONFIGURE_DEPENDS Rondel/testing/programs/*.cc)
  foreach(source IN LISTS program_sources)
    cmake_path(GET source STEM name)
    rondel_add_program(test_program_${name} ${source})
    target_link_libraries(test_program_${name} PRIVATE rondel_static)
    set_target_properties(test_program_${name} PROPERTIES
      OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY ${programs_dir})
    add_dependencies(rondel_tests test_program_${name})
  endforeach()

  math(EXPR last_part "${test_parts} - 1")
  foreach(part RANGE ${last_part})
    add_test(NAME rondel_tests.${part} COMMAND rondel_tests --gtest_brief=1)
    set_tests_properties(rondel_tests.${part} PROPERTIES
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${test_parts};GTEST_SHARD_INDEX=${part}" TIMEOUT 900)
  endforeach()
  add_test(NAME layers COMMAND ${PROJECT_SOURCE_DIR}/scripts/check_layers.py)

  # tests/constants: not under sanitizers, which put code of their own before main, and for g++ make
  # the address of a constant no constant.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_library(constants OBJECT tests/constants/constants.cc)
    target_compile_definitions(constants PRIVATE RONDEL_STATIC)
    target_compile_features(constants PRIVATE cxx_std_20)
    target_include_directories(constants PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(constants PRIVATE rondel_own_flags)
    add_test(NAME constants COMMAND ${PROJECT_SOURCE_DIR}/tests/constants/run
             ${CMAKE_NM} $<TARGET_OBJECTS:constants> $<TARGET_FILE:rondel_static>)
  endif()

  # tests/memory: only where the library is as fast and as small as in use.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize|-fprofile-instr")
    rondel_add_program(stream_memory tests/memory/stream_memory.cc)
    target_link_libraries(stream_memory PRIVATE rondel_static)
    add_test(NAME memory.streams COMMAND stream_memory)
    set_tests_properties(memory.streams PROPERTIES LABELS memory TIMEOUT 300)
  endif()

  # tools/gdb: the printers look at a program compiled with all debug information.
  find_program(RONDEL_GDB gdb)
  if(RONDEL_GDB AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    rondel_add_program(gdb_subject tools/gdb/subject.cc)
    target_compile_options(gdb_subject PRIVATE -g -O0)
    target_link_libraries(gdb_subject PRIVATE rondel_static)
    add_test(NAME gdb_printers
             COMMAND ${PROJECT_SOURCE_DIR}/tools/gdb/test_printers.py ${RONDEL_GDB} $<TARGET_FILE:gdb_subject>)
    set_tests_properties(gdb_printers PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 120)
  endif()
endif()

# examples/NAME/*.cc: the program NAME. examples/NAME/test gets the program's path and tests it.
if(RONDEL_BUILD_EXAMPLES)
  file(GLOB example_dirs CONFIGURE_DEPENDS LIST_DIRECTORIES ON examples/*)
  foreach(dir IN LISTS example_dirs)
    file(GLOB sources CONFIGURE_DEPENDS ${dir}/*.cc)
    cmake_path(GET dir FILENAME name)
    # The demo's own source tree is input to an example, not one.
    if(NOT sources OR name STREQUAL "demo-project")
      continue()
    endif()
    rondel_add_program(${name} ${sources})
    target_link_libraries(${name} PRIVATE Rondel::rondel)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/examples)
    if(EXISTS ${dir}/test)
      add_test(NAME example.${name} COMMAND ${dir}/test $<TARGET_FILE:${name}>)
      set_tests_properties(example.${name} PROPERTIES TIMEOUT 300)
    endif()
  endforeach()
endif()

# fuzz/NAME_fuzz.cc: with libFuzzer each fuzzes for some seconds as a test; otherwise it replays fuzz/corpus/NAME.
if(RONDEL_BUILD_FUZZ)
  set(RONDEL_FUZZ_SECONDS 10 CACHE STRING "How long ctest lets each fuzz target run under libFuzzer")
  file(GLOB fuzz_sources CONFIGURE_DEPENDS fuzz/*_fuzz.cc)
  foreach(source IN LISTS fuzz_sources)
    cmake_path(GET source STEM target)
    string(REGEX REPLACE "_fuzz$" "" name ${target})
    set(corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
    rondel_add_program(${target} ${source})
    target_link_libraries(${target} PRIVATE rondel_static)
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/fuzz)
    file(GLOB seeds CONFIGURE_DEPENDS ${corpus}/*)
    set(seed_dir)
    if(seeds)
      set(seed_dir ${corpus})
    endif()
    if(RONDEL_LIBFUZZER)
      target_link_options(${target} PRIVATE -fsanitize=fuzzer)
      set(found ${PROJECT_BINARY_DIR}/fuzz/found/${name})
      file(MAKE_DIRECTORY ${found})
      add_test(NAME fuzz.${name} COMMAND ${target} -max_total_time=${RONDEL_FUZZ_SECONDS} -rss_limit_mb=2048
                                         -timeout=25 ${found} ${seed_dir})
    else()
      target_sources(${target} PRIVATE fuzz/replay_main.cc)
      add_test(NAME fuzz.${name} COMMAND ${target} ${seed_dir})
    endif()
    set_tests_properties(fuzz.${name} PROPERTIES TIMEOUT 600)
  endforeach()
endif()

# bench/NAME_bench.cc: one benchmark program.
if(RONDEL_BUILD_BENCH)
  find_package(benchmark REQUIRED)
  file(GLOB bench_sources CONFIGURE_DEPENDS bench/*_bench.cc)
  if(bench_sources)
    rondel_add_program(rondel_bench ${bench_sources})
    target_link_libraries(rondel_bench PRIVATE Rondel::rondel benchmark::benchmark_main)
  endif()
endif()
