# cmake -DPAGE=<folder> -DOUT=<file.cpp> -P JoinPage.cmake
# Puts the files that page.html names in lines <!-- include FILE --> in their places, and the whole page into an array.
file(READ "${PAGE}/page.html" page)
string(REGEX MATCHALL "<!-- include [^ ]+ -->" marks "${page}")
foreach(mark IN LISTS marks)
  string(REGEX REPLACE "<!-- include ([^ ]+) -->" "\\1" name "${mark}")
  file(READ "${PAGE}/${name}" content)
  if(name MATCHES "[.]js$" AND content MATCHES "</[sS][cC][rR][iI][pP][tT]|<!--")
    message(FATAL_ERROR "${name} would end the script element that it stands in")
  endif()
  string(REPLACE "${mark}" "${content}" page "${page}")
endforeach()
file(WRITE "${OUT}.html" "${page}")
file(READ "${OUT}.html" bytes HEX)
string(REGEX REPLACE "(................................................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
file(WRITE "${OUT}" "// Made by JoinPage.cmake.\n#include \"workbench/report/page_bytes.h\"\nnamespace workbench {\n"
  "const unsigned char pageBytes[] = {\n${bytes}};\nconst std::size_t pageByteCount = sizeof pageBytes;\n}\n")
