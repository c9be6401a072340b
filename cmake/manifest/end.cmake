# Writes the manifest: one path below the prefix per line, folders with a trailing slash. It contains
# shared folders only if this installation created them.
cmake_minimum_required(VERSION 3.25)

# Files of an earlier installation stay in the manifest.
set(entries "")
if(EXISTS "${varnock_root}/${varnock_manifest}")
  file(STRINGS "${varnock_root}/${varnock_manifest}" entries)
endif()

list(TRANSFORM varnock_made APPEND / OUTPUT_VARIABLE made)
list(APPEND entries ${made})
foreach(file IN LISTS CMAKE_INSTALL_MANIFEST_FILES ITEMS "${CMAKE_INSTALL_PREFIX}/${varnock_manifest}")
  file(RELATIVE_PATH path "${CMAKE_INSTALL_PREFIX}" "${file}")
  list(APPEND entries ${path})
  cmake_path(GET path PARENT_PATH folder)
  while(folder AND NOT folder IN_LIST varnock_shared)
    list(APPEND entries ${folder}/)
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
endforeach()

list(REMOVE_DUPLICATES entries)
list(SORT entries)
list(JOIN entries "\n" text)
file(WRITE "${varnock_root}/${varnock_manifest}" "${text}\n")
