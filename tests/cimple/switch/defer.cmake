# Adds the consumer to the project when all of its own targets are known. The path is put in now,
# because deferred arguments are evaluated later.
cmake_language(EVAL CODE
  "cmake_language(DEFER CALL include [[${CMAKE_CURRENT_LIST_DIR}/consumer/consumer.cmake]])")
