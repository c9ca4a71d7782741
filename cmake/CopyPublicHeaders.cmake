# cmake -DSOURCE=... -DDESTINATION=... -P CopyPublicHeaders.cmake
# Copies the headers of public_headers.txt. In the repository a header names others relative to the root; in the copies
# relative to itself, so that users need nothing but the folder above oridan/ on their include path, and general names
# (export.h, stats/...) collide with nobody's.
cmake_minimum_required(VERSION 3.25)
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/public_headers.txt" headers)
file(REMOVE_RECURSE "${DESTINATION}")
foreach(header IN LISTS headers)
  file(READ "${SOURCE}/${header}" text)
  string(REGEX MATCHALL "#include \"[^\"]+\"" includes "${text}")
  foreach(include IN LISTS includes)
    string(REGEX REPLACE "#include \"(.+)\"" "\\1" included "${include}")
    if(NOT included IN_LIST headers)
      message(FATAL_ERROR "${header} is public and includes ${included}, which is not")
    endif()
  endforeach()
  if(header MATCHES "/")
    string(REGEX REPLACE "#include \"" "#include \"../" text "${text}")
  endif()
  file(WRITE "${DESTINATION}/${header}" "${text}")
endforeach()
