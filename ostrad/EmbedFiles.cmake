# cmake -DOUTPUT=x.cpp -DFOLDER=web "-DFILES=a;b" -P EmbedFiles.cmake
# Writes one C++ source that holds the files as byte arrays; see WebFiles.h.
set(arrays "")
set(table "")
set(index 0)
foreach(file IN LISTS FILES)
  file(READ "${FOLDER}/${file}" hex HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" hex "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND arrays "constexpr unsigned char kFile${index}[] = {\n${bytes}};\n")
  string(APPEND table "    {\"${file}\", {kFile${index}, sizeof kFile${index}}},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"ostrad/WebFiles.h\"\n\n#include <array>\n\n"
  "namespace ostrad {\n\nnamespace {\n\n${arrays}\n"
  "constexpr std::array<WebFile, ${index}> kFiles{{\n${table}}};\n\n} // namespace\n\n"
  "std::span<const WebFile> webFiles() {\n    return kFiles;\n}\n\n} // namespace ostrad\n")
