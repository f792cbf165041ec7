#pragma once
#include <cstdint>
#include <span>
#include <string>

#include "persist/XmlContentHandler.h"

namespace MV {

// The validating SAX reader of the documents. The root element's namespace picks the schema
// (Schemas), and the document is checked against it while the handler hears of each element,
// so a document is refused at the first element that breaks the schema.
class XmlParser {
public:
    // Parses a document held in memory: UTF-16 with a byte order mark, or UTF-8. `name` is the
    // document's path or another name, for libxml2's error positions only. Every parse or
    // validation error leaves as a runtime_error with the parser's own text; what the handler
    // throws leaves as it was thrown, unless the schema also refused that element.
    // [ui-thread] or a loading worker; no lock held; parses on several threads may run at once.
    static void parse(ZnLib::XML::ContentHandler& handler, std::span<const uint8_t> document, const std::string& name);

    // The local name of the document's root element, "" when there is none to be found.
    static std::string rootElement(std::span<const uint8_t> document);

    // Reads the file and parses it as above. Throws "Could not open file " for a missing file.
    static void parseFile(ZnLib::XML::ContentHandler& handler, const std::string& path);
};

}  // namespace MV
