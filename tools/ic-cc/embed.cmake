# Writes OUTPUT, a source file with the text of each of HEADERS as a string literal.
set(text "// Made by embed.cmake from the headers in tools/ic-cc/include.\n#include \"tools/ic-cc/embedded.h\"\n\nconst std::vector<embedded_header> embedded_headers = {\n")
foreach(header IN LISTS HEADERS)
  string(REGEX REPLACE "^.*/tools/ic-cc/include/" "" name ${header})
  file(READ ${header} body)
  if(NOT name MATCHES "^c\\+\\+/") # what C headers declare is C's for C++ too
    set(body "#ifdef __cplusplus\nextern \"C\" {\n#endif\n#line 1\n${body}#ifdef __cplusplus\n}\n#endif\n")
  endif()
  string(APPEND text "    {\"${name}\", R\"header(${body})header\"},\n")
endforeach()
string(APPEND text "};\n")
file(WRITE ${OUTPUT} "${text}")
