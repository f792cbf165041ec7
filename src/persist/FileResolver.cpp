#include "persist/FileResolver.h"

#include <dirent.h>

#include <stdexcept>

#include "lib/Path.h"
#include "lib/Text.h"
#include "persist/FindMissing.h"

namespace MV {

namespace fs = ZnLib::FS;

namespace {

bool hasDriveLetter(std::string_view path) { return path.size() >= 2 && path[1] == ':'; }

std::vector<std::string> components(std::string_view path) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start <= path.size()) {
        auto end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        if (end > start) out.emplace_back(path.substr(start, end - start));
        start = end + 1;
    }
    return out;
}

// '/' separators, no empty, "." or resolvable ".." components. A drive letter stays in front.
std::string clean(std::string_view path) {
    const std::string p = fs::normalise(path);
    const bool rooted = !p.empty() && p[0] == '/';
    std::vector<std::string> kept;
    for (auto& c : components(p)) {
        if (c == ".") continue;
        if (c == ".." && !kept.empty() && kept.back() != ".." && !hasDriveLetter(kept.back())) {
            kept.pop_back();
            continue;
        }
        if (c == ".." && rooted && kept.empty()) continue;
        kept.push_back(std::move(c));
    }
    std::string out = rooted ? "/" : "";
    for (std::size_t i = 0; i < kept.size(); ++i) out += (i ? "/" : "") + kept[i];
    return out;
}

// The entry of `dir` whose name equals `name` without regard to case, or "".
std::string findEntryNoCase(const std::string& dir, const std::string& name) {
    DIR* d = ::opendir(dir.empty() ? "." : dir.c_str());
    if (!d) return {};
    std::string found;
    while (const dirent* e = ::readdir(d)) {
        if (ZnLib::Text::iequals(e->d_name, name)) {
            found = e->d_name;
            break;
        }
    }
    ::closedir(d);
    return found;
}

// The path of an existing file at `candidate`: as it stands, or, since documents written on
// Windows spell names without regard to case, with each missing component matched without
// case. "" when there is none. A drive-letter path never exists here.
std::string existing(const std::string& candidate) {
    if (candidate.empty() || hasDriveLetter(candidate)) return {};
    if (fs::isRegularFile(candidate)) return candidate;
    const bool rooted = candidate[0] == '/';
    std::string path = rooted ? "/" : "";
    const auto parts = components(candidate);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::string next = path + parts[i];
        if (!fs::exists(next)) {
            const std::string entry = findEntryNoCase(path, parts[i]);
            if (entry.empty()) return {};
            next = path + entry;
        }
        path = i + 1 < parts.size() ? next + "/" : next;
    }
    return fs::isRegularFile(path) ? path : std::string();
}

std::string stripTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

// The root that a user's answer `found` teaches for the wanted path `wanted`: the part of
// `found` in front of the components the two share at their ends. "" if not even the file
// names agree.
std::string learnedRoot(const std::string& found, const std::string& wanted) {
    const auto f = components(found);
    const auto w = components(wanted);
    std::size_t common = 0;
    while (common < f.size() && common < w.size() &&
           ZnLib::Text::iequals(f[f.size() - 1 - common], w[w.size() - 1 - common]))
        ++common;
    if (common == 0) return {};
    std::string root = !found.empty() && found[0] == '/' ? "/" : "";
    for (std::size_t i = 0; i + common < f.size(); ++i) root += f[i] + "/";
    return root.empty() ? std::string() : stripTrailingSlash(root);
}

}  // namespace

ZnLib::FS::File resolve(std::vector<std::string>& places, const ZnLib::FS::File& base, const std::string& path,
                        FindMissing& findMissing, int& placeIndex) {
    placeIndex = -1;
    const std::string r = fs::normalise(path);

    // The document's folder; a base that is no file is taken as a folder.
    std::string s;
    if (!base.path().empty()) {
        s = fs::isRegularFile(base.path()) ? fs::directory(base.path()) : base.path();
        if (s.back() != '/') s += '/';
    }

    const bool absolute = fs::isAbsolute(r);
    const std::string direct = clean(absolute ? r : s + r);
    if (auto hit = existing(direct); !hit.empty()) return fs::File(hit);

    if (!absolute) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (auto hit = existing(clean(fs::join(places[i], r))); !hit.empty()) {
                placeIndex = int(i);
                return fs::File(hit);
            }
        }
    }

    // Cut from the left: a library that moved keeps its inner folders.
    if (absolute || r.find('/') != std::string::npos) {
        for (auto cut = r.find('/'); cut != std::string::npos; cut = r.find('/', cut + 1)) {
            const std::string tail = r.substr(cut + 1);
            if (tail.empty()) continue;
            for (std::size_t i = 0; i < places.size(); ++i) {
                if (auto hit = existing(clean(fs::join(places[i], tail))); !hit.empty()) {
                    placeIndex = int(i);
                    return fs::File(hit);
                }
            }
            if (auto hit = existing(clean(s + tail)); !hit.empty()) return fs::File(hit);
        }
    }

    const std::string tail = fs::fileName(r);
    std::string asked = clean(s + tail);
    if (auto hit = existing(asked); !hit.empty()) return fs::File(hit);

    if (!findMissing.find(asked)) throw std::runtime_error("Could not find file " + direct);
    const std::string found = clean(asked);

    const std::string root = learnedRoot(found, r);
    if (!root.empty()) {
        for (std::size_t i = 0; i < places.size() && placeIndex < 0; ++i)
            if (stripTrailingSlash(fs::normalise(places[i])) == root) placeIndex = int(i);
        if (placeIndex < 0) {
            places.push_back(root);
            placeIndex = int(places.size() - 1);
        }
    }
    return fs::File(found);
}

}  // namespace MV
