#include "persist/MVHandler.h"

#include <array>

#include "persist/WireForm.h"

namespace MV {

namespace {

// Codes 2 to 41 in order; "bank" is tested on its own first.
constexpr std::array<std::string_view, 40> kElementNames = {
    "xctrl",       "midi", "automation", "output", "wave",      "program", "range",  "group",      "aeg",   "env1",
    "env2",        "lfo1", "lfo2",       "seq1",   "seq2",      "seq3",    "filter", "modulation", "entry", "split",
    "performance", "slot", "wavematrix", "xaxis",  "yaxis",     "column",  "row",    "cell",       "fx",    "insert",
    "param",       "send", "amp",        "pan",    "transpose", "detune",  "level",  "switcher",   "loop",  "fade"};

uint32_t versionOf(const ZnLib::XML::Attributes& attributes, std::string_view name) {
    const std::string* text = attributes.find(name);
    if (!text) return 0;
    const int value = WireForm::parseInt(*text);
    return value < 0 ? 0 : uint32_t(value);
}

}  // namespace

int MVHandler::elementCode(std::string_view localName) {
    if (localName == "bank") return kBank;
    for (std::size_t i = 0; i < kElementNames.size(); ++i)
        if (localName == kElementNames[i]) return int(i) + kXctrl;
    return kUnknown;
}

void MVHandler::startElement(std::string_view, std::string_view localName, std::string_view,
                             const ZnLib::XML::Attributes& attributes) {
    const int code = elementCode(localName);
    if (stack_.empty()) {
        createdBy_ = versionOf(attributes, "created-by");
        compat_ = versionOf(attributes, "compat");
    }
    element(code, stack_.empty() ? 0 : stack_.back(), attributes);
    stack_.push_back(code);
}

void MVHandler::endElement(std::string_view, std::string_view, std::string_view) {
    if (stack_.empty()) return;
    const int code = stack_.back();
    stack_.pop_back();
    elementEnd(code);
}

}  // namespace MV
