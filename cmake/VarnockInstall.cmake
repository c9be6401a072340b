# Installation: headers under include/varnock, the shared library, the CMake package VarnockCIM and
# the pkg-config file varnock-cim-provider.
include(CMakePackageConfigHelpers)

get_property(headers GLOBAL PROPERTY VARNOCK_PUBLIC_HEADERS)
foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnock/${folder}
    COMPONENT development)
endforeach()
