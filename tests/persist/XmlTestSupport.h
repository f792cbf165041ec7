#pragma once
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/Bank.h"
#include "model/ProcessCallbacks.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "persist/MVHandler.h"
#include "persist/MVLoad.h"
#include "persist/Schemas.h"
#include "persist/SettingsTestFolder.h"
#include "plug/Wave.h"

// Hand-written documents and the files around them for the reader tests.
namespace MV::XmlTest {

// A fresh folder, removed with its content when the object goes.
struct Folder : Test::TestFolder {
    std::string path(const std::string& name) const { return *this / name; }
    std::string write(const std::string& name, const std::string& bytes) const { return put(name, bytes); }
};

// UTF-16 little endian with a byte order mark, from UTF-8 (the basic plane is enough here).
inline std::string utf16(std::string_view utf8) {
    std::string out = "\xFF\xFE";
    for (std::size_t i = 0; i < utf8.size();) {
        const auto c = uint8_t(utf8[i]);
        uint32_t cp = c;
        std::size_t n = 1;
        if (c >= 0xE0)
            cp = c & 0x0F, n = 3;
        else if (c >= 0xC0)
            cp = c & 0x1F, n = 2;
        for (std::size_t k = 1; k < n && i + k < utf8.size(); ++k) cp = (cp << 6) | (uint8_t(utf8[i + k]) & 0x3F);
        i += n;
        out += char(cp & 0xFF);
        out += char(cp >> 8);
    }
    return out;
}

// A whole document: the root element `root` in the namespace of `uri` (the writers' one when
// empty), with `attributes` and `body`.
inline std::string document(const std::string& root, const std::string& attributes, const std::string& body,
                            const std::string& encoding = "UTF-8", std::string uri = "") {
    if (uri.empty()) uri = Schemas::documentNamespace(root);
    return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>\n<mv:" + root + " xmlns:mv=\"" + uri +
           "\"\n\txmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n\txsi:schemaLocation=\"" + uri + " " + root +
           ".xsd\" " + attributes + ">\n" + body + "</mv:" + root + ">\n";
}

// A group that passes the schema, with every part replaceable.
struct GroupDoc {
    std::string attributes =
        "mv:name=\"G\" mv:coarse=\"0\" mv:fine=\"0\" mv:tuning=\"Normal\" mv:glide=\"0ms\" "
        "mv:velocity=\"1\" mv:velocityOffset=\"0\" mv:pan=\"0\" mv:amp=\"0.5\" "
        "mv:playmode=\"Normal\" mv:polymode=\"Poly\" mv:output=\"(ch)\"";
    std::string range = "<mv:range mv:lowkey=\"C-1\" mv:highkey=\"G9\" mv:lowvel=\"0\" mv:highvel=\"127\"/>";
    std::string aeg =
        "<mv:aeg mv:attack=\"0ms\" mv:decay1=\"0ms\" mv:level1=\"1\" mv:decay2=\"0ms\" "
        "mv:sustain=\"1\" mv:release=\"10.0ms\"/>";
    std::string envs =
        "<mv:env1 mv:level0=\"0\" mv:time1=\"1.00s\" mv:level1=\"0\" mv:time2=\"1.00s\" "
        "mv:level2=\"0\" mv:time3=\"1.00s\" mv:level3=\"0\" mv:amp=\"1\"/>"
        "<mv:env2 mv:level0=\"0\" mv:time1=\"1.00s\" mv:level1=\"0\" mv:time2=\"1.00s\" "
        "mv:level2=\"0\" mv:time3=\"1.00s\" mv:level3=\"0\" mv:amp=\"1\"/>";
    std::string lfos =
        "<mv:lfo1 mv:rate=\"0.50 Hz\" mv:type=\"Sinus\" mv:sync=\"Key\"/>"
        "<mv:lfo2 mv:rate=\"0.50 Hz\" mv:type=\"Sinus\" mv:sync=\"Key\"/>";
    std::string seqs;
    std::string filter = "<mv:filter mv:type=\"Off\" mv:freq=\"20000 Hz\" mv:res=\"0\" mv:drive=\"0\"/>";
    std::string insert;
    std::string sends;
    std::string entries;
    std::string splits = "<mv:split mv:key=\"0\" mv:wave=\"&lt;none&gt;\"/>";
    std::string switcher;

    std::string text() const {
        return "<mv:group " + attributes + ">\n" + range + aeg + envs + lfos + seqs + filter + insert + sends +
               "<mv:modulation>" + entries + "</mv:modulation>" + splits + switcher + "</mv:group>\n";
    }
};

inline std::string programDocument(const std::string& rootAttributes, const std::string& declarations,
                                   const std::string& groups) {
    return document(
        "program", "mv:name=\"P\" " + rootAttributes,
        declarations + "<mv:range mv:lowkey=\"0\" mv:highkey=\"127\" mv:lowvel=\"0\" mv:highvel=\"127\"/>\n" + groups);
}

// A short mono WAV file of `frames` frames of silence, with `loops` forward loops of 10 frames.
inline void writeWave(const std::string& path, uint32_t frames = 100, int loops = 0) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    ZnPlug::Wave wave(ZnPlug::SampleBuffer(frames, 1), 44100, 16, 2, ZnPlug::kFormatWave);
    for (int i = 0; i < loops; ++i)
        wave.loops.emplace_back(uint32_t(10 * i), uint32_t(10 * i + 10), ZnPlug::LoopMode::Forward);
    wave.saveAs(path);
}

// A load into a fresh bank with nothing at hand and nothing found by asking.
struct Loader {
    explicit Loader(int mode = MVLoad::kFileMode) : load(*bank, filter, find, process, places, mode) {}
    ZnLib::SharedRef<Bank> bank = ZnLib::makeRef<Bank>();
    LoadedNothing filter;
    FindNothing find;
    ProcessCallbacks process;
    std::vector<std::string> places;
    MVLoad load;
};

// Elements told to a handler straight, past the schema.
inline void start(MVHandler& h, const std::string& name,
                  std::vector<ZnLib::XML::Attributes::Attribute> attributes = {}) {
    h.startElement("", name, "mv:" + name, ZnLib::XML::Attributes(std::move(attributes)));
}
inline void end(MVHandler& h, const std::string& name) { h.endElement("", name, "mv:" + name); }

inline std::span<const uint8_t> bytes(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// The folder of the schema files in the source tree.
inline std::string schemaFolder() {
    return (std::filesystem::path(__FILE__).parent_path() / ".." / ".." / "res" / "schemas").lexically_normal();
}

}  // namespace MV::XmlTest
