# Writes OUTPUT, a source file with the text of each of HEADERS as a string literal.
set(text "// Made by embed.cmake from the headers in tools/ic-cc/include.\n#include \"tools/ic-cc/embedded.h\"\n\nconst std::vector<embedded_header> embedded_headers = {\n")
foreach(header IN LISTS HEADERS)
  get_filename_component(name ${header} NAME)
  file(READ ${header} body)
  string(APPEND text "    {\"${name}\", R\"header(${body})header\"},\n")
endforeach()
string(APPEND text "};\n")
file(WRITE ${OUTPUT} "${text}")
