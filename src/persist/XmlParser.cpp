#include "persist/XmlParser.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlschemas.h>

#include <exception>
#include <stdexcept>
#include <vector>

#include "lib/MappedFile.h"
#include "persist/Schemas.h"

namespace MV {

namespace {

using ZnLib::XML::Attributes;
using ZnLib::XML::ContentHandler;

std::string_view text(const xmlChar* s) { return s ? std::string_view(reinterpret_cast<const char*>(s)) : ""; }

std::string trimmed(const char* message) {
    std::string s = message ? message : "";
    while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
    return s;
}

// Feeds the document to a push parser: the first four bytes are what libxml2 detects the
// encoding from (a byte order mark, or "<?xm" in any width).
void feed(xmlParserCtxtPtr ctxt, std::span<const uint8_t> document) {
    const std::size_t head = std::min<std::size_t>(4, document.size());
    xmlParseChunk(ctxt, reinterpret_cast<const char*>(document.data() + head), int(document.size() - head), 1);
}

xmlParserCtxtPtr newParser(xmlSAXHandler* sax, void* user, std::span<const uint8_t> document, const std::string& name) {
    const int head = int(std::min<std::size_t>(4, document.size()));
    xmlParserCtxtPtr ctxt =
        xmlCreatePushParserCtxt(sax, user, reinterpret_cast<const char*>(document.data()), head, name.c_str());
    if (!ctxt) throw std::bad_alloc();
    // No network, no external DTD; entities of the document's own subset still expand in values.
    xmlCtxtUseOptions(ctxt, XML_PARSE_NONET);
    return ctxt;
}

// Keeps libxml2's plain error messages (of the encoding converters, for one) off the host's
// stderr while this thread parses: everything that matters arrives through the structured
// handlers. The thread's previous handler comes back afterwards.
class QuietErrors {
public:
    QuietErrors() : previous_(xmlGenericError), previousContext_(xmlGenericErrorContext) {
        xmlSetGenericErrorFunc(nullptr, ignore);
    }
    ~QuietErrors() { xmlSetGenericErrorFunc(previousContext_, previous_); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    static void ignore(void*, const char*, ...) {}
    xmlGenericErrorFunc previous_;
    void* previousContext_;
};

// Frees the parser with the document that it makes for itself to keep entities of a document
// type declaration in, which the context does not own.
void freeParser(xmlParserCtxtPtr ctxt) {
    if (ctxt->myDoc) xmlFreeDoc(ctxt->myDoc);
    ctxt->myDoc = nullptr;
    xmlFreeParserCtxt(ctxt);
}

// ---- finding the root element's namespace ----

struct RootProbe {
    xmlParserCtxtPtr ctxt = nullptr;
    std::string uri;
    std::string localName;
    bool found = false;
};

void probeStart(void* user, const xmlChar* localName, const xmlChar*, const xmlChar* uri, int, const xmlChar**, int,
                int, const xmlChar**) {
    auto* probe = static_cast<RootProbe*>(user);
    if (probe->found) return;
    probe->found = true;
    probe->uri = text(uri);
    probe->localName = text(localName);
    xmlStopParser(probe->ctxt);
}

void ignoreError(void*, xmlErrorPtr) {}

RootProbe probeRoot(std::span<const uint8_t> document, const std::string& name) {
    // Every parse starts here. libxml2 sets up its globals on first use, and two threads on their
    // first documents at once would both do it: the schema cache does it once, before any call.
    Schemas::instance();
    QuietErrors quiet;
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startElementNs = probeStart;
    sax.serror = ignoreError;
    RootProbe probe;
    probe.ctxt = newParser(&sax, &probe, document, name);
    feed(probe.ctxt, document);
    freeParser(probe.ctxt);
    return probe;
}

// ---- the validating walk ----

struct Walk {
    ContentHandler* handler = nullptr;
    xmlParserCtxtPtr ctxt = nullptr;
    std::string error;  // the first parse or validation error
    std::exception_ptr thrown;

    bool active() const { return !thrown && error.empty(); }
    void fail(std::exception_ptr e) {
        if (!thrown) thrown = e;
        if (ctxt) xmlStopParser(ctxt);
    }
    void fail(const char* message) {
        if (error.empty()) error = trimmed(message);
        if (error.empty()) error = "Malformed document";
        if (ctxt) xmlStopParser(ctxt);
    }
};

Walk* walkOf(void* user) { return static_cast<Walk*>(user); }

void onStartDocument(void* user) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        w->handler->startDocument();
    } catch (...) {
        w->fail(std::current_exception());
    }
}

void onEndDocument(void* user) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        w->handler->endDocument();
    } catch (...) {
        w->fail(std::current_exception());
    }
}

std::string qualified(const xmlChar* prefix, const xmlChar* localName) {
    std::string q;
    if (prefix) q = std::string(text(prefix)) + ":";
    return q + std::string(text(localName));
}

// Without entity substitution the parser hands every "&" of an attribute value on as "&#38;",
// whether the document wrote "&amp;", "&#38;" or "&#x26;"; every other reference arrives as its
// character. So "&#38;" here always stands for one "&".
std::string attributeValue(const char* begin, const char* end) {
    if (!begin || end < begin) return {};
    std::string_view raw(begin, std::size_t(end - begin));
    constexpr std::string_view kAmpersand = "&#38;";
    std::string value;
    value.reserve(raw.size());
    for (std::size_t at = 0;;) {
        const std::size_t hit = raw.find(kAmpersand, at);
        value.append(raw.substr(at, hit == std::string_view::npos ? std::string_view::npos : hit - at));
        if (hit == std::string_view::npos) return value;
        value.push_back('&');
        at = hit + kAmpersand.size();
    }
}

void onStartElement(void* user, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri, int namespaceCount,
                    const xmlChar** namespaces, int attributeCount, int, const xmlChar** attributes) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        for (int i = 0; i < namespaceCount; ++i)
            w->handler->startPrefixMapping(text(namespaces[2 * i]), text(namespaces[2 * i + 1]));
        std::vector<Attributes::Attribute> list;
        list.reserve(std::size_t(attributeCount));
        // Five pointers per attribute: local name, prefix, namespace, value start, value end.
        for (int i = 0; i < attributeCount; ++i) {
            const xmlChar** a = attributes + 5 * i;
            list.push_back({std::string(text(a[0])), std::string(text(a[2])),
                            attributeValue(reinterpret_cast<const char*>(a[3]), reinterpret_cast<const char*>(a[4]))});
        }
        w->handler->startElement(text(uri), text(localName), qualified(prefix, localName), Attributes(std::move(list)));
    } catch (...) {
        w->fail(std::current_exception());
    }
}

void onEndElement(void* user, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        w->handler->endElement(text(uri), text(localName), qualified(prefix, localName));
    } catch (...) {
        w->fail(std::current_exception());
    }
}

void onCharacters(void* user, const xmlChar* chars, int length) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        w->handler->characters(std::string_view(reinterpret_cast<const char*>(chars), std::size_t(length)));
    } catch (...) {
        w->fail(std::current_exception());
    }
}

void onWhitespace(void* user, const xmlChar* chars, int length) {
    Walk* w = walkOf(user);
    if (!w->active()) return;
    try {
        w->handler->ignorableWhitespace(std::string_view(reinterpret_cast<const char*>(chars), std::size_t(length)));
    } catch (...) {
        w->fail(std::current_exception());
    }
}

// Errors of the parser proper: the parser context leads back to the walk.
void onParserError(void*, xmlErrorPtr error) {
    if (!error || error->level < XML_ERR_ERROR || !error->ctxt) return;
    auto* ctxt = static_cast<xmlParserCtxtPtr>(error->ctxt);
    if (auto* w = static_cast<Walk*>(ctxt->_private)) w->fail(error->message);
}

void onValidationError(void* user, xmlErrorPtr error) {
    if (!error || error->level < XML_ERR_ERROR) return;
    static_cast<Walk*>(user)->fail(error->message);
}

}  // namespace

void XmlParser::parse(ContentHandler& handler, std::span<const uint8_t> document, const std::string& name) {
    const RootProbe root = probeRoot(document, name);
    xmlSchemaPtr schema = Schemas::instance().schemaFor(root.uri, root.localName);
    QuietErrors quiet;

    Walk walk;
    walk.handler = &handler;
    xmlSAXHandler sax{};
    sax.initialized = XML_SAX2_MAGIC;
    sax.startDocument = onStartDocument;
    sax.endDocument = onEndDocument;
    sax.startElementNs = onStartElement;
    sax.endElementNs = onEndElement;
    sax.characters = onCharacters;
    sax.ignorableWhitespace = onWhitespace;
    sax.serror = onParserError;

    xmlSchemaValidCtxtPtr validator = xmlSchemaNewValidCtxt(schema);
    if (!validator) throw std::bad_alloc();
    xmlSchemaSetValidStructuredErrors(validator, onValidationError, &walk);
    xmlSAXHandlerPtr plugged = &sax;
    void* user = &walk;
    xmlSchemaSAXPlugPtr plug = xmlSchemaSAXPlug(validator, &plugged, &user);
    if (!plug) {
        xmlSchemaFreeValidCtxt(validator);
        throw std::runtime_error("Could not set up the schema validation");
    }
    walk.ctxt = newParser(plugged, user, document, name);
    walk.ctxt->_private = &walk;
    // The plug's handler copy passes errors on with its own user data; ours needs the context.
    walk.ctxt->sax->serror = onParserError;
    feed(walk.ctxt, document);
    if (walk.error.empty() && !walk.thrown && !walk.ctxt->wellFormed)
        walk.fail(walk.ctxt->lastError.message ? walk.ctxt->lastError.message : "Malformed document");
    if (walk.error.empty() && !walk.thrown && xmlSchemaIsValid(validator) != 1) walk.fail("Document is not valid");
    freeParser(walk.ctxt);
    xmlSchemaSAXUnplug(plug);
    xmlSchemaFreeValidCtxt(validator);

    // The schema's verdict on an element comes before whatever the handler made of it.
    if (!walk.error.empty()) throw std::runtime_error(walk.error);
    if (walk.thrown) std::rethrow_exception(walk.thrown);
}

std::string XmlParser::rootElement(std::span<const uint8_t> document) { return probeRoot(document, "").localName; }

void XmlParser::parseFile(ContentHandler& handler, const std::string& path) {
    ZnLib::MappedFile file(path);
    parse(handler, file.bytes(), path);
}

}  // namespace MV
