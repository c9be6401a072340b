# Writes the manifest: a path below the prefix on each line, those of folders with a slash at the
# end. Shared folders are among them only if they were not there before.
cmake_minimum_required(VERSION 3.25)

# What an earlier installation put there and this one did not is still to be taken away.
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
