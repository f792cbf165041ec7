# Writes a C++ source that holds the text of each schema of res/schemas as a raw string literal,
# so that the program validates documents without any file of its own beside it.
#   cmake -DSCHEMA_DIR=<dir> -DSCHEMA_NAMES=a,b,c -DOUTPUT=<file.cpp> -P EmbedSchemas.cmake
string(REPLACE "," ";" names "${SCHEMA_NAMES}")
list(LENGTH names count)
set(body "")
foreach(name IN LISTS names)
  file(READ "${SCHEMA_DIR}/${name}.xsd" text)
  string(FIND "${text}" ")xsd\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${name}.xsd holds the raw string delimiter )xsd\"")
  endif()
  string(APPEND body "    Entry{\"${name}.xsd\", R\"xsd(${text})xsd\"},\n")
endforeach()
file(WRITE "${OUTPUT}.tmp"
"// Generated from res/schemas by src/persist/EmbedSchemas.cmake; do not edit.
#include \"persist/SchemaText.h\"

#include <array>

namespace MV {

namespace {
struct Entry {
    std::string_view name;
    std::string_view text;
};
constexpr std::array<Entry, ${count}> kSchemas = {
${body}};
}  // namespace

std::string_view schemaText(std::string_view name) {
    for (const Entry& e : kSchemas)
        if (e.name == name) return e.text;
    return {};
}

}  // namespace MV
")
# Only a changed text touches the output, so that nothing else rebuilds.
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
