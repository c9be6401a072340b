# The folders in varnock_shared that this installation will create.
set(varnock_root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(varnock_made "")
foreach(folder IN LISTS varnock_shared)
  if(NOT IS_DIRECTORY "${varnock_root}/${folder}")
    list(APPEND varnock_made ${folder})
  endif()
endforeach()
