#pragma once
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The SAX vocabulary of the document readers: a content handler is told of each element as the
// parser walks the document, with the element's attributes. Elements and attributes are seen by
// their local names; the namespace tells only which schema validated them.
namespace ZnLib::XML {

// The attributes of one element, decoded to UTF-8, in document order.
class Attributes {
public:
    struct Attribute {
        std::string localName;
        std::string uri;
        std::string value;
    };

    Attributes() = default;
    explicit Attributes(std::vector<Attribute> list) : list_(std::move(list)) {}

    std::size_t count() const noexcept { return list_.size(); }
    const Attribute& at(std::size_t i) const { return list_.at(i); }
    // The value of the first attribute with this local name, whatever its namespace.
    const std::string* find(std::string_view localName) const noexcept {
        for (const Attribute& a : list_)
            if (a.localName == localName) return &a.value;
        return nullptr;
    }
    std::optional<std::string> value(std::string_view localName) const {
        const std::string* v = find(localName);
        return v ? std::optional<std::string>(*v) : std::nullopt;
    }

private:
    std::vector<Attribute> list_;
};

// Told of the document's parts as the parser meets them. Whatever a handler throws ends the
// parse and leaves the parser as the same exception. Called on the thread that parses
// [ui-thread] (or a loading worker), no lock held.
class ContentHandler {
public:
    virtual ~ContentHandler() = default;
    virtual void setDocumentLocator() {}
    virtual void startDocument() {}
    virtual void endDocument() {}
    virtual void startElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName,
                              const Attributes& attributes) = 0;
    virtual void endElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName) = 0;
    virtual void startPrefixMapping(std::string_view prefix, std::string_view uri) {
        (void)prefix;
        (void)uri;
    }
    virtual void endPrefixMapping(std::string_view prefix) { (void)prefix; }
    virtual void characters(std::string_view text) { (void)text; }
    virtual void ignorableWhitespace(std::string_view text) { (void)text; }
};

// A handler that ignores everything: derive and override what matters.
class DefaultHandler : public ContentHandler {
public:
    void startElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName,
                      const Attributes& attributes) override {
        (void)uri;
        (void)localName;
        (void)qualifiedName;
        (void)attributes;
    }
    void endElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName) override {
        (void)uri;
        (void)localName;
        (void)qualifiedName;
    }
};

}  // namespace ZnLib::XML
