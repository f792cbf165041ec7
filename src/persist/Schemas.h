#pragma once
#include <array>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

struct _xmlSchema;
struct _xmlDoc;

namespace MV {

// The compiled document schemas: one for each namespace that a document may carry. A namespace
// is a base address, an optional version ("1.0/", "2.0/") and the root element's name; the
// writers use the first base with "2.0/". Each is built from the schema texts compiled into the
// program, once, and shared by every parse afterwards.
class Schemas {
public:
    // The product's base address and two older ones that documents of earlier versions carry.
    static constexpr std::array<std::string_view, 3> kBases = {
        "http://www.morvek.audio/schemas/", "http://morvek.znl.de/schemas/", "http://www.znl.de/morvek/"};
    static constexpr std::array<std::string_view, 4> kRoots = {"bank", "program", "performance", "wavematrix"};

    // The namespace the writers give a document with this root: first base, "2.0/", root.
    static std::string documentNamespace(std::string_view root);
    // True for each accepted namespace: any base, no version or "1.0/" or "2.0/", a root name.
    static bool accepts(std::string_view uri);

    // The one cache; its construction is thread-safe. [any-thread]
    static Schemas& instance();

    // The schema for a document whose root element has this namespace and local name. A
    // namespace that is not accepted gets the current schema of the root's name (or of "bank"),
    // so that validation fails with the parser's own words. Never null. [any-thread]
    _xmlSchema* schemaFor(std::string_view uri, std::string_view localName);

    Schemas(const Schemas&) = delete;
    Schemas& operator=(const Schemas&) = delete;

private:
    Schemas();
    ~Schemas();
    _xmlSchema* compile(std::string_view root, const std::string& uri);

    std::mutex mutex_;
    std::map<std::string, _xmlSchema*, std::less<>> compiled_;
    std::vector<_xmlDoc*> documents_;
};

}  // namespace MV
