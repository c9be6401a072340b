# Which of the folders in varnock_shared this installation is going to make.
set(varnock_root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
set(varnock_made "")
foreach(folder IN LISTS varnock_shared)
  if(NOT IS_DIRECTORY "${varnock_root}/${folder}")
    list(APPEND varnock_made ${folder})
  endif()
endforeach()
