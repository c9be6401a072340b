# Installation: headers under include/varnock, the shared libraries, the CMake package VarnockCIM,
# the pkg-config file varnock-cim-provider, manual pages, documents and examples.
include(CMakePackageConfigHelpers)

get_property(headers GLOBAL PROPERTY VARNOCK_PUBLIC_HEADERS)
foreach(header IN LISTS headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/varnock/${folder}
    COMPONENT development)
endforeach()

# cimple::cimple defines its installed parts and its pkg-config entry.
get_property(cimple_targets GLOBAL PROPERTY VARNOCK_CIMPLE_TARGETS)
get_property(VARNOCK_CIMPLE_PKG_LIBS GLOBAL PROPERTY VARNOCK_CIMPLE_PKG_LIBS)
get_property(VARNOCK_CIMPLE_PKG_CFLAGS GLOBAL PROPERTY VARNOCK_CIMPLE_PKG_CFLAGS)
install(TARGETS varnock_cim_provider ${cimple_targets}
  EXPORT VarnockCIMTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/varnock)
install(EXPORT VarnockCIMTargets
  NAMESPACE Varnock::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VarnockCIM
  COMPONENT development)

# A component of the package: find_package(VarnockCIM COMPONENTS AgentTesting).
if(TARGET varnock_agent_testing)
  install(TARGETS varnock_agent_testing
    EXPORT VarnockCIMAgentTestingTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/varnock)
  install(EXPORT VarnockCIMAgentTestingTargets
    NAMESPACE Varnock::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VarnockCIM
    COMPONENT development)
endif()

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/VarnockCIMConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VarnockCIMConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VarnockCIM)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VarnockCIMConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/VarnockCIMConfig.cmake
  ${PROJECT_BINARY_DIR}/VarnockCIMConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/VarnockCIM
  COMPONENT development)

list(JOIN VARNOCK_CIMPLE_PKG_LIBS " " VARNOCK_CIMPLE_PKG_LIBS)
list(JOIN VARNOCK_CIMPLE_PKG_CFLAGS " " VARNOCK_CIMPLE_PKG_CFLAGS)
# The file derives the prefix from its own location, so that the prefix can be moved.
file(RELATIVE_PATH VARNOCK_PKG_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" VARNOCK_PKG_PREFIX "${VARNOCK_PKG_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/varnock-cim-provider.pc.in
  ${PROJECT_BINARY_DIR}/varnock-cim-provider.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/varnock-cim-provider.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

foreach(section 1 5 7)
  file(GLOB man_pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/man/*.${section})
  install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT tools)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/derived/man/varnock-calls.7
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT tools)

# Each shell looks for the file by the name of the program.
set(shells ${PROJECT_SOURCE_DIR}/completions)
foreach(program varnockctl varnock-agent)
  install(FILES ${shells}/varnockctl.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${shells}/varnockctl.fish RENAME ${program}.fish
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d COMPONENT tools)
endforeach()
install(FILES ${shells}/_varnockctl
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions COMPONENT tools)

# The same layout as in the source tree, so that links between documents work.
set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/varnock-cim-provider)
file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE
  DESTINATION ${documents} COMPONENT documents)
install(FILES ${pages} DESTINATION ${documents}/docs COMPONENT documents)
install(FILES
  examples/event_watcher.cpp examples/first_call.cpp examples/provider_test.cpp
  examples/standalone/CMakeLists.txt
  DESTINATION ${documents}/examples COMPONENT documents)
install(DIRECTORY examples/provider
  DESTINATION ${documents}/examples COMPONENT documents
  PATTERN CMakeLists.txt EXCLUDE
  PATTERN subset EXCLUDE)

# Watching a fleet: for the server, and the units for the nodes.
if(VARNOCK_BUILD_CLI)
  set(monitoring ${PROJECT_SOURCE_DIR}/examples/monitoring)
  install(FILES
    ${monitoring}/prometheus.yml
    ${monitoring}/varnock-alerts-test.yml
    ${monitoring}/varnock-alerts.yml
    ${monitoring}/varnock-dashboard.json
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/varnock-cim-provider/monitoring COMPONENT tools)
  install(FILES
    ${monitoring}/varnock-metrics.service
    ${monitoring}/varnock-metrics.timer
    DESTINATION lib/systemd/system COMPONENT tools)
endif()
