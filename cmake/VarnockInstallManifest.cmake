# Every installation writes a list of its files under its prefix, for ./dev uninstall. An installation
# of single components does not.
set(VARNOCK_MANIFEST ${CMAKE_INSTALL_DATAROOTDIR}/varnock-cim-provider/installed)

# Call before the first install rule.
function(varnock_begin_manifest)
  if(NOT PROJECT_IS_TOP_LEVEL)
    return()
  endif()
  # Folders that other projects install to as well, and the prefix itself.
  set(shared
    . ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_INCLUDEDIR}
    ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_LIBDIR}/cmake ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    ${CMAKE_INSTALL_DATAROOTDIR} ${CMAKE_INSTALL_DATAROOTDIR}/doc
    ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion
    ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions
    ${CMAKE_INSTALL_DATAROOTDIR}/fish ${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d
    ${CMAKE_INSTALL_DATAROOTDIR}/zsh ${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions
    ${CMAKE_INSTALL_MANDIR} ${CMAKE_INSTALL_MANDIR}/man1
    ${CMAKE_INSTALL_MANDIR}/man5 ${CMAKE_INSTALL_MANDIR}/man7)
  install(CODE "set(varnock_manifest ${VARNOCK_MANIFEST})\nset(varnock_shared ${shared})")
  install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/manifest/begin.cmake)
endfunction()

# Call after the last install rule.
function(varnock_end_manifest)
  if(PROJECT_IS_TOP_LEVEL)
    install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/manifest/end.cmake)
  endif()
endfunction()
