#include "persist/WireForm.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "lib/Text.h"
#include "model/Names.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

using ZnPlug::FrequencyLaw;
using ZnPlug::RateLaw;
using ZnPlug::TimeLaw;

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The digits after blanks and one sign, as strtol and strtoull take them. Returns false when
// there are no digits; `magnitude` saturates and `overflow` tells.
bool scanInteger(std::string_view text, bool& negative, uint64_t& magnitude, bool& overflow) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r'))) ++i;
    negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    if (i >= text.size() || !isDigit(text[i])) return false;
    magnitude = 0;
    overflow = false;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        const uint64_t digit = uint64_t(text[i] - '0');
        if (magnitude > (UINT64_MAX - digit) / 10)
            overflow = true;
        else
            magnitude = magnitude * 10 + digit;
    }
    return true;
}

}  // namespace

std::string WireForm::noteText(int key) { return ZnPlug::noteName(key, 0); }

bool WireForm::parseNote(std::string_view text, int& key) {
    const uint8_t k = ZnPlug::parseNote(std::string(text), 0);
    if (k > 127) return false;
    key = k;
    return true;
}

std::string WireForm::rootText(int root) { return root >= kNoRoot ? "no" : noteText(root); }

bool WireForm::parseRoot(std::string_view text, int& root) {
    if (text == "no") {
        root = kNoRoot;
        return true;
    }
    return parseNote(text, root);
}

std::string WireForm::timeText(float value) { return ZnPlug::timeText(TimeLaw::ms(value)); }

bool WireForm::parseTime(std::string_view text, float& value) {
    double ms = 0;
    if (!ZnPlug::parseTime(text, ms)) return false;
    value = float(TimeLaw::fromMs(ms));
    return true;
}

std::string WireForm::filterFrequencyText(float value) { return ZnPlug::frequencyFileText(FrequencyLaw::hz(value)); }

bool WireForm::parseFilterFrequency(std::string_view text, float& value) {
    double hz = 0;
    if (!ZnPlug::parseFrequency(text, hz)) return false;
    value = float(FrequencyLaw::fromHzPositive(hz));
    return true;
}

std::string WireForm::rateText(float value, uint8_t mode) {
    if (mode == kLfoModeTempo) {
        const long index = std::clamp(std::lround(double(value) * 23.0), 0L, 23L);
        return kNoteValueNames[std::size_t(index)];
    }
    return ZnPlug::frequencyFileText(RateLaw::hz(value));
}

bool WireForm::parseRate(std::string_view text, uint8_t mode, float& value) {
    if (mode == kLfoModeTempo) {
        const int index = indexOfName(kNoteValueNames, ZnLib::Text::trim(text));
        if (index < 0) return false;
        value = float(index) / 23.0f;
        return true;
    }
    double hz = 0;
    if (!ZnPlug::parseFrequency(text, hz)) return false;
    value = float(RateLaw::fromHz(hz));
    return true;
}

std::string WireForm::sequenceText(const std::vector<int8_t>& steps) {
    std::string out;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (i) out += ',';
        out += std::to_string(int(steps[i]));
    }
    return out;
}

std::vector<int8_t> WireForm::parseSequence(std::string_view text, std::size_t length) {
    std::vector<int8_t> steps;
    std::size_t i = 0;
    while (i < text.size() && steps.size() < length) {
        if (!isDigit(text[i]) && text[i] != '-') {
            ++i;
            continue;
        }
        const bool negative = text[i] == '-';
        if (negative && (++i >= text.size() || !isDigit(text[i]))) continue;
        int magnitude = 0;
        for (; i < text.size() && isDigit(text[i]); ++i) magnitude = std::min(magnitude * 10 + (text[i] - '0'), 1000);
        steps.push_back(int8_t(std::clamp(negative ? -magnitude : magnitude, -100, 100)));
    }
    steps.resize(length, 0);
    return steps;
}

namespace {
// "M 1+2" to "M 7+8": the index of its first mono pin among the outputs, or -1.
int monoPair(std::string_view text) {
    static constexpr const char* kPairs[] = {"M 1+2", "M 3+4", "M 5+6", "M 7+8"};
    constexpr int kFirstMono = 4;
    for (int i = 0; i < 4; ++i)
        if (text == kPairs[i]) return kFirstMono + 2 * i;
    return -1;
}
}  // namespace

int WireForm::parseOutput(std::string_view text) {
    const int index = indexOfName(kOutputNames, text);
    return index >= 0 ? index : monoPair(text);
}

int WireForm::parseSendDestination(std::string_view text) {
    const int index = indexOfName(kSendDestinationNames, text);
    if (index >= 0) return index;
    const int pair = monoPair(text);
    return pair >= 0 ? pair + kRouteFirstOutput : -1;
}

std::string WireForm::waveRefText(long long id) { return id < 0 ? std::string(kNoneRef) : std::to_string(id); }

std::string WireForm::escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '"': out += "&quot;"; break;
            case '&': out += "&amp;"; break;
            case '\'': out += "&apos;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string WireForm::floatText(double value) { return ZnLib::Text::format("%g", value); }

bool WireForm::parseBoolean(std::string_view text) { return text == "true" || text == "1"; }

int WireForm::parseInt(std::string_view text) {
    bool negative = false, overflow = false;
    uint64_t magnitude = 0;
    if (!scanInteger(text, negative, magnitude, overflow)) throw std::invalid_argument("invalid stoi argument");
    const uint64_t limit = negative ? uint64_t(INT32_MAX) + 1 : uint64_t(INT32_MAX);
    if (overflow || magnitude > limit) throw std::out_of_range("stoi argument out of range");
    return negative ? int(-int64_t(magnitude)) : int(magnitude);
}

uint64_t WireForm::parseIndex(std::string_view text) {
    bool negative = false, overflow = false;
    uint64_t magnitude = 0;
    if (!scanInteger(text, negative, magnitude, overflow)) throw std::invalid_argument("invalid stoull argument");
    if (overflow) throw std::out_of_range("stoull argument out of range");
    return negative ? uint64_t(0) - magnitude : magnitude;
}

float WireForm::clampUnit(float v) { return (std::fabs(v) + 1.0f - std::fabs(v - 1.0f)) * 0.5f; }

float WireForm::clampSigned(float v) { return (std::fabs(v + 1.0f) - std::fabs(v - 1.0f)) * 0.5f; }

}  // namespace MV
