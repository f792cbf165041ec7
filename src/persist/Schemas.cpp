#include "persist/Schemas.h"

#include <libxml/parser.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "persist/SchemaText.h"

namespace MV {

namespace {

// Schema texts are reached under this scheme, so that "shared.xsd" included by a root schema
// comes from the program's own copy and never from the file system.
constexpr std::string_view kScheme = "morvek-schema:/";
constexpr std::string_view kVersions[] = {"", "1.0/", "2.0/"};

struct SchemaStream {
    std::string_view text;
    std::size_t pos = 0;
};

int matchSchema(const char* uri) { return uri && std::strncmp(uri, kScheme.data(), kScheme.size()) == 0; }

void* openSchema(const char* uri) {
    const std::string_view name = std::string_view(uri).substr(kScheme.size());
    const std::string_view text = schemaText(name);
    if (text.empty()) return nullptr;
    return new SchemaStream{text};
}

int readSchema(void* context, char* buffer, int length) {
    auto* s = static_cast<SchemaStream*>(context);
    const std::size_t n = std::min<std::size_t>(std::size_t(length), s->text.size() - s->pos);
    std::memcpy(buffer, s->text.data() + s->pos, n);
    s->pos += n;
    return int(n);
}

int closeSchema(void* context) {
    delete static_cast<SchemaStream*>(context);
    return 0;
}

void collectError(void* data, xmlErrorPtr error) {
    auto* text = static_cast<std::string*>(data);
    if (text->empty() && error && error->message) *text = error->message;
}

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

std::string Schemas::documentNamespace(std::string_view root) {
    return std::string(kBases[0]) + "2.0/" + std::string(root);
}

bool Schemas::accepts(std::string_view uri) {
    for (std::string_view base : kBases) {
        if (uri.substr(0, base.size()) != base) continue;
        const std::string_view rest = uri.substr(base.size());
        for (std::string_view version : kVersions)
            for (std::string_view root : kRoots)
                if (rest.size() == version.size() + root.size() && rest.substr(0, version.size()) == version &&
                    rest.substr(version.size()) == root)
                    return true;
    }
    return false;
}

Schemas& Schemas::instance() {
    // Never destroyed: parses on other threads may still run while statics go away.
    static Schemas* const cache = new Schemas();
    return *cache;
}

Schemas::Schemas() {
    xmlInitParser();
    if (xmlRegisterInputCallbacks(matchSchema, openSchema, readSchema, closeSchema) < 0)
        throw std::runtime_error("Could not register the document schemas");
}

Schemas::~Schemas() {
    for (auto& entry : compiled_) xmlSchemaFree(entry.second);
    for (_xmlDoc* doc : documents_) xmlFreeDoc(doc);
}

_xmlSchema* Schemas::schemaFor(std::string_view uri, std::string_view localName) {
    std::string key(uri);
    std::string_view root;
    for (std::string_view r : kRoots)
        if (localName == r) root = r;
    if (!accepts(uri)) {
        if (root.empty()) root = kRoots[0];
        key = documentNamespace(root);
    } else {
        // The namespace names the root whatever the element says; its schema decides.
        for (std::string_view r : kRoots)
            if (uri.size() > r.size() && uri.substr(uri.size() - r.size()) == r &&
                uri[uri.size() - r.size() - 1] == '/')
                root = r;
    }
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = compiled_.find(key);
    if (it != compiled_.end()) return it->second;
    _xmlSchema* schema = compile(root, key);
    compiled_.emplace(key, schema);
    return schema;
}

_xmlSchema* Schemas::compile(std::string_view root, const std::string& uri) {
    const std::string file = std::string(root) + ".xsd";
    const std::string text = replaceAll(std::string(schemaText(file)), documentNamespace(root), uri);
    const std::string url = std::string(kScheme) + file;
    xmlDocPtr doc = xmlReadMemory(text.data(), int(text.size()), url.c_str(), nullptr, XML_PARSE_NONET);
    if (!doc) throw std::runtime_error("Bad schema " + file);
    std::string error;
    xmlSchemaParserCtxtPtr parser = xmlSchemaNewDocParserCtxt(doc);
    xmlSchemaSetParserStructuredErrors(parser, collectError, &error);
    xmlSchemaPtr schema = xmlSchemaParse(parser);
    xmlSchemaFreeParserCtxt(parser);
    if (!schema) {
        xmlFreeDoc(doc);
        throw std::runtime_error("Bad schema " + file + ": " + error);
    }
    // A compiled schema may still point into the document it came from: both stay.
    documents_.push_back(doc);
    return schema;
}

}  // namespace MV
