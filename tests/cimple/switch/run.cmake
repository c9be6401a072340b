# cmake -DSOURCE=... -DLIBRARY=... -DGENERATOR=... -DOPTIONS=... -P run.cmake: makes a prefix that looks like
# an installed framework, configures the project against it and builds and runs a consumer.
cmake_minimum_required(VERSION 3.25)

# An installed framework is never within the source tree, and CMake refuses to export one that is.
execute_process(COMMAND mktemp -d --tmpdir varnock-switch.XXXXXX
  OUTPUT_VARIABLE work OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(prefix ${work}/prefix)

file(GLOB headers ${SOURCE}/cimple/*.h)
file(COPY ${headers} DESTINATION ${prefix}/include/cimple)
file(APPEND ${prefix}/include/cimple/config.h "\n#define HEADER_OF_THE_PREFIX\n")
# A header with a warning: the project must take the prefix as system headers.
file(APPEND ${prefix}/include/cimple/config.h "inline int notUsed(int argument) { int x; return 0; }\n")
file(GLOB classes ${SOURCE}/cimple/generated/*)
file(COPY ${classes} DESTINATION ${prefix}/share/classes)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/genclass DESTINATION ${prefix}/bin)
file(COPY ${LIBRARY} DESTINATION ${prefix}/lib64)

function(fail text)
  file(REMOVE_RECURSE ${work})
  message(FATAL_ERROR "${text}")
endfunction()

function(run)
  execute_process(COMMAND ${ARGV}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    fail("${ARGV}: ${result}\n${output}")
  endif()
  set(output ${output} PARENT_SCOPE)
endfunction()

set(build ${work}/build)
run(${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${build}
  -DCMAKE_PROJECT_VarnockCIM_INCLUDE=${CMAKE_CURRENT_LIST_DIR}/defer.cmake
  -DVARNOCK_CIMPLE_ROOT=${prefix}
  -DVARNOCK_GENCLASS_OPTIONS=-M/schema/CIM.mof
  -DVARNOCK_BUILD_TESTS=OFF
  ${OPTIONS})

# With the root of the tree among the include paths, <cimple/...> would be the subset.
file(READ ${build}/compile_commands.json commands)
string(FIND "${commands}" "-I${SOURCE} " position)
if(NOT position EQUAL -1)
  fail("A target includes ${SOURCE}: it takes varnock_source_root() instead.")
endif()

run(${CMAKE_COMMAND} --build ${build} --target switch_consumer)
run(${build}/bin/switch_consumer)

# The classes' data belongs to the module that has it: two modules must not share or replace it.
find_program(nm nm REQUIRED)
run(${nm} -D --defined-only --demangle ${build}/lib/libswitch_provider.so)
if(NOT output MATCHES "makeJob")
  fail("The provider library does not export what it is for:\n${output}")
endif()
if(output MATCHES " [BDRVu] [^\n]*cimple::")
  fail("The provider library exports data of its classes:\n${output}")
endif()

# Installed, it finds the framework where that is, and its own library beside itself.
run(${CMAKE_COMMAND} --install ${build} --component switch --prefix ${work}/installed)
file(RENAME ${work}/installed ${work}/moved)
run(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${work}/moved/bin/switch_consumer)

# Configuring again with the same classes rebuilds nothing.
run(${CMAKE_COMMAND} ${build})
run(${CMAKE_COMMAND} --build ${build} --target switch_consumer)
if(output MATCHES "Building")
  fail("The classes were compiled again:\n${output}")
endif()
file(REMOVE_RECURSE ${work})
