# Compiler settings as functions on a target, never as global flags.

set(VARNOCK_SANITIZE "" CACHE STRING "Sanitizers for every target, as in -fsanitize=")
option(VARNOCK_COVERAGE "Instrument for coverage (clang)" OFF)
# Enabled only in the development presets: new warnings of newer compilers must not stop a user.
option(VARNOCK_WARNINGS_AS_ERRORS "Warnings are errors" OFF)

# Warnings, sanitizers and coverage: every target of this project calls this.
function(varnock_harden target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wunused
    -Wdouble-promotion -Wformat=2 -Wno-format-nonliteral -Wimplicit-fallthrough
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wduplicated-branches;-Wlogical-op>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;-Wthread-safety-beta>
    $<$<BOOL:${VARNOCK_WARNINGS_AS_ERRORS}>:-Werror>)
  # What an attacker finds harder: overwritten stacks, return addresses and tables of functions. The
  # fortified C library needs the optimiser, and the sanitizers replace the same functions.
  target_compile_options(${target} PRIVATE
    -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  if(NOT VARNOCK_SANITIZE)
    target_compile_options(${target} PRIVATE
      $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
  endif()
  # The start files of the distribution have no notes about control-flow protection, so the linker
  # would drop those of the objects.
  target_link_options(${target} PRIVATE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text
    LINKER:-z,ibt LINKER:-z,shstk)
  # The stores that mark a global object as destroyed are read later on purpose: without this flag
  # the compiler removes them as dead.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-lifetime-dse>)
  if(VARNOCK_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${VARNOCK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
      $<$<CXX_COMPILER_ID:Clang>:-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignorelist.txt>)
    # Instrumented code misleads the warnings that follow the flow of values, in the standard library
    # too. The other presets have them.
    target_compile_options(${target} PRIVATE
      $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-stringop-overflow;-Wno-stringop-overread;-Wno-restrict;-Wno-maybe-uninitialized>)
    target_link_options(${target} PUBLIC -fsanitize=${VARNOCK_SANITIZE})
  endif()
  if(VARNOCK_COVERAGE)
    # The counters are a mapped file: those of forked children and of processes that are killed count,
    # and nothing is written at the end. Threads count at the same time.
    set(profile -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%m%c.profraw)
    target_compile_options(${target} PRIVATE ${profile} -fcoverage-mapping -fprofile-update=atomic
      "SHELL:-mllvm -runtime-counter-relocation" -O1)
    target_link_options(${target} PUBLIC ${profile})
  endif()
endfunction()

# Cancellation of a thread unwinds functions of the C library, such as fputs(). clang takes many of them
# for functions that never unwind, and drops the destructors of their callers.
function(varnock_unwinds_through_c target)
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-fno-builtin>)
endfunction()

# Includes in quotes find the headers of the source tree. Those in angle brackets must not, so that
# <cimple/...> is the framework that was chosen and not always the one in this tree.
function(varnock_source_root target scope)
  target_compile_options(${target} ${scope} $<BUILD_INTERFACE:-iquote${PROJECT_SOURCE_DIR}>)
endfunction()

# A shared library whose functions bind inside it, so that a host that defines its own Sleep or
# GetLastError does not replace ours, and a load looks up fewer symbols. Data stays preemptible: programs
# hold copy relocations of Debug.
# It has no undefined symbols. Not for clang's sanitizers: their runtime is linked into the program and
# used from there by its libraries.
function(varnock_closed_library target)
  target_link_options(${target} PRIVATE LINKER:-Bsymbolic-functions)
  if(NOT (VARNOCK_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang))
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

# Installed headers lie under include/varnock/<path of the source tree>. Both spellings work for
# a user: <varnock/runtime/Debug.h> and "runtime/Debug.h".
function(varnock_public_includes target)
  varnock_source_root(${target} PUBLIC)
  target_include_directories(${target} PUBLIC
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/varnock>)
endfunction()

# varnock_room(SOURCES a.cpp ... PUBLIC_HEADERS A.h ...): adds the sources of the current folder to
# the library and registers its public headers for installation. The sources of a folder make a batch,
# so that a program that needs the runtime alone links no other room.
function(varnock_room)
  cmake_parse_arguments(ROOM "" "" "SOURCES;PUBLIC_HEADERS" ${ARGN})
  list(TRANSFORM ROOM_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(varnock_core PRIVATE ${ROOM_SOURCES})
  foreach(source IN LISTS ROOM_SOURCES)
    cmake_path(GET source PARENT_PATH batch)
    cmake_path(RELATIVE_PATH batch BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    string(REPLACE "/" "_" batch ${batch})
    set_source_files_properties(${source} TARGET_DIRECTORY varnock_core PROPERTIES UNITY_GROUP ${batch})
  endforeach()
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE folder)
  list(TRANSFORM ROOM_PUBLIC_HEADERS PREPEND ${folder}/)
  set_property(GLOBAL APPEND PROPERTY VARNOCK_PUBLIC_HEADERS ${ROOM_PUBLIC_HEADERS})
endfunction()

# Creates the directories of a test, fuzz or benchmark program before the library starts, so that the
# program never touches files of the machine, in CTest or on its own.
function(varnock_private_start target)
  if(NOT TARGET private_start)
    add_executable(private_start ${PROJECT_SOURCE_DIR}/tests/support/private_start.cpp)
    add_library(varnock_private_start OBJECT ${PROJECT_SOURCE_DIR}/tests/support/PrivateStart.cpp)
    target_compile_definitions(varnock_private_start PRIVATE
      VARNOCK_PRIVATE_START="$<TARGET_FILE:private_start>")
    foreach(part private_start varnock_private_start)
      varnock_harden(${part})
      varnock_unoptimised(${part})
      varnock_source_root(${part} PRIVATE)
    endforeach()
  endif()
  target_link_libraries(${target} PRIVATE varnock_private_start)
  add_dependencies(${target} private_start)
endfunction()

# Code that is not shipped is compiled for a quick build and a debugger.
function(varnock_unoptimised target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O0;-g1;-U_FORTIFY_SOURCE>)
endfunction()

# Compiles the sources several at a time: headers and templates that they share dominate the time of a
# build. File-local names of a target must therefore differ.
function(varnock_batches target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  # Types of unnamed namespaces are local to the sources compiled together, and names of one source do
  # not hide those of another.
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>
    $<$<CXX_COMPILER_ID:Clang>:-Wno-shadow>)
endfunction()

# What is not a test: the preset named clang compiles each source on its own and thus finds missing
# includes.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR VARNOCK_COVERAGE OR VARNOCK_BUILD_FUZZ)
  set(VARNOCK_BATCHES ON)
endif()
function(varnock_compile_in_batches target)
  if(VARNOCK_BATCHES)
    varnock_batches(${target})
  endif()
endfunction()

# Tests are compiled so with both compilers, and the headers of the test framework are precompiled once
# for all programs.
function(varnock_compile_tests_quickly target)
  varnock_batches(${target})
  if(NOT TARGET varnock_test_framework)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test-framework/empty.cpp CONTENT "")
    add_library(varnock_test_framework OBJECT ${PROJECT_BINARY_DIR}/test-framework/empty.cpp)
    varnock_harden(varnock_test_framework)
    varnock_unoptimised(varnock_test_framework)
    target_link_libraries(varnock_test_framework PRIVATE GTest::gmock Threads::Threads)
    target_precompile_headers(varnock_test_framework PRIVATE
      <gmock/gmock.h> <gtest/gtest.h> <filesystem> <thread>)
  endif()
  target_precompile_headers(${target} REUSE_FROM varnock_test_framework)
endfunction()

# varnock_test(name [SUB_ROOMS] [SOURCES a_test.cpp ...] [LIBRARIES target ...] [LABELS unit|fault|...]
#   [TIMEOUT seconds])
# A GoogleTest program whose every test runs as a process of its own. It links the objects of the
# library, so it can reach internal symbols. Without SOURCES it takes every *_test.cpp of the
# folder, with SUB_ROOMS also of the folders below, so that no test is missing from the build.
function(varnock_test name)
  cmake_parse_arguments(TEST "SUB_ROOMS" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(TEST_SUB_ROOMS)
    file(GLOB_RECURSE TEST_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  elseif(NOT TEST_SOURCES)
    file(GLOB TEST_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  endif()
  if(NOT TEST_LABELS)
    set(TEST_LABELS unit)
  endif()
  if(NOT TEST_TIMEOUT)
    set(TEST_TIMEOUT 120)
  endif()
  if(VARNOCK_SANITIZE MATCHES address)
    list(APPEND TEST_SOURCES ${PROJECT_SOURCE_DIR}/tests/support/SanitizerOptions.cpp)
  endif()
  add_executable(${name} ${TEST_SOURCES})
  varnock_harden(${name})
  varnock_unoptimised(${name})
  target_compile_definitions(${name} PRIVATE
    VARNOCK_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
    VARNOCK_TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data"
    $<$<BOOL:${VARNOCK_COVERAGE}>:VARNOCK_COVERAGE>)
  target_link_libraries(${name} PRIVATE
    varnock_core varnock_test_support GTest::gmock_main ${TEST_LIBRARIES})
  varnock_private_start(${name})
  varnock_compile_tests_quickly(${name})
  gtest_discover_tests(${name}
    TEST_PREFIX "${name}."
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS "${TEST_LABELS}" TIMEOUT ${TEST_TIMEOUT})
endfunction()

# varnock_program_linked_both_ways(name source tests)
# A program run by `tests`: NAME_STATIC contains the library's objects, NAME_SHARED loads the library.
# The tests find the files under these names.
function(varnock_program_linked_both_ways name source tests)
  set(linkages static shared)
  set(libraries varnock_core varnock_cim_provider)
  foreach(linkage library IN ZIP_LISTS linkages libraries)
    set(program ${name}_${linkage})
    add_executable(${program} ${source})
    varnock_harden(${program})
    varnock_unoptimised(${program})
    target_link_libraries(${program} PRIVATE ${library})
    add_dependencies(${tests} ${program})
    string(TOUPPER ${program} definition)
    target_compile_definitions(${tests} PRIVATE ${definition}="$<TARGET_FILE:${program}>")
  endforeach()
endfunction()
