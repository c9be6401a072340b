# An installed CIMPLE framework as the target cimple::cimple.

set(VARNOCK_GENCLASS_OPTIONS "" CACHE STRING
  "More options for genclass of VARNOCK_CIMPLE_ROOT, such as -M or -I for the CIM schema")

# Runs genclass in an empty directory and copies its output to `directory`, where unchanged files keep
# their time. It writes a pair of files for each class, its ancestors and the classes it refers to.
# Their names are known only afterwards, so it runs at configure time.
function(varnock_generate_classes prefix mof directory)
  find_program(genclass genclass PATHS ${prefix}/bin NO_DEFAULT_PATH NO_CACHE REQUIRED)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${mof} ${genclass})
  set(fresh ${directory}.new)
  file(REMOVE_RECURSE ${fresh})
  file(MAKE_DIRECTORY ${fresh} ${directory})
  file(COPY_FILE ${mof} ${fresh}/repository.mof)
  separate_arguments(options UNIX_COMMAND "${VARNOCK_GENCLASS_OPTIONS}")
  set(library_path ${prefix}/lib64 ${prefix}/lib $ENV{LD_LIBRARY_PATH})
  list(JOIN library_path ":" library_path)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env
      LD_LIBRARY_PATH=${library_path}
      ${genclass} ${options} -r KRM_TBLComputerSystem KRM_TBLConcreteJob
    WORKING_DIRECTORY ${fresh}
    OUTPUT_VARIABLE output ERROR_VARIABLE output
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${genclass} failed (${result}):\n${output}")
  endif()
  file(GLOB old RELATIVE ${directory} ${directory}/*)
  file(GLOB new RELATIVE ${fresh} ${fresh}/*)
  foreach(name IN LISTS new)
    file(COPY_FILE ${fresh}/${name} ${directory}/${name} ONLY_IF_DIFFERENT)
  endforeach()
  list(REMOVE_ITEM old ${new})
  foreach(name IN LISTS old)
    file(REMOVE ${directory}/${name})
  endforeach()
  file(REMOVE_RECURSE ${fresh})
endfunction()

# cimple::cimple from the framework under `prefix`, with the classes that its genclass generates from
# `mof`. Headers are system headers, because those of the framework cause warnings.
function(varnock_import_cimple prefix mof)
  find_path(cimple_includes cimple/cimple.h
    PATHS ${prefix}/include NO_DEFAULT_PATH NO_CACHE REQUIRED)
  find_library(cimple_library cimple
    PATHS ${prefix}/lib64 ${prefix}/lib NO_DEFAULT_PATH NO_CACHE REQUIRED)
  set(generated ${PROJECT_BINARY_DIR}/cimple-classes)
  varnock_generate_classes(${prefix} ${mof} ${generated})

  file(GLOB sources ${generated}/*.cpp)
  add_library(varnock_cimple_classes STATIC ${sources})
  set_target_properties(varnock_cimple_classes PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    EXPORT_NAME CimpleClasses)
  target_include_directories(varnock_cimple_classes SYSTEM PUBLIC
    ${cimple_includes}
    $<BUILD_INTERFACE:${generated}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/varnock/cimple/generated>)
  target_link_libraries(varnock_cimple_classes PUBLIC ${cimple_library})
  # genclass gives the class data default visibility. Each module has its own class data, so modules
  # that link this library hide it.
  set(hide_classes -Wl,--exclude-libs,libvarnock_cimple_classes.a)
  target_link_options(varnock_cimple_classes INTERFACE ${hide_classes})

  add_library(varnock_cimple INTERFACE)
  set_target_properties(varnock_cimple PROPERTIES EXPORT_NAME Cimple)
  target_link_libraries(varnock_cimple INTERFACE varnock_cimple_classes)
  add_library(cimple::cimple ALIAS varnock_cimple)

  install(DIRECTORY ${generated}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnock/cimple/generated
    COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  cmake_path(GET cimple_library PARENT_PATH folder)
  set_property(GLOBAL PROPERTY VARNOCK_CIMPLE_TARGETS varnock_cimple varnock_cimple_classes)
  set_property(GLOBAL PROPERTY VARNOCK_CIMPLE_PKG_LIBS
    ${hide_classes} -lvarnock_cimple_classes -L${folder} -lcimple)
  set_property(GLOBAL PROPERTY VARNOCK_CIMPLE_PKG_CFLAGS -isystem ${cimple_includes})
endfunction()
