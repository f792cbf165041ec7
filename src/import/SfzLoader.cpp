#include "import/SfzLoader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "import/Regex.h"
#include "import/SFGroup.h"
#include "import/SFZGroup.h"
#include "import/UnicodeText.h"
#include "import/WaveFinder.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "model/Bank.h"
#include "model/LoadFilter.h"
#include "model/ModulationTables.h"
#include "persist/FileResolver.h"
#include "persist/FindMissing.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

namespace fs = ZnLib::FS;
using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

// The patterns that take the text apart. A comment needs its line end, so that one on the last
// line without a line end stays in the text.
const char* const kCommentPattern = "//[^\\n]*\\n";
const char* const kTagPattern = "((<\\w+\\b>)([^<]+))";
const char* const kOpcodePattern = "(?!<\\S)((\\w+)=([^=]+))(?!\\S)";

[[noreturn]] void invalidValue() { throw std::runtime_error("invalid value"); }

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

std::string_view trimEnd(std::string_view v) {
    while (!v.empty() && isBlank(v.back())) v.remove_suffix(1);
    return v;
}

// The number at the start of `v`; what follows it (a unit, say) is ignored.
double number(std::string_view v) {
    std::size_t i = 0;
    while (i < v.size() && isBlank(v[i])) ++i;
    if (i < v.size() && v[i] == '+') ++i;
    double out = 0;
    const auto [end, ec] = std::from_chars(v.data() + i, v.data() + v.size(), out);
    if (ec != std::errc() || end == v.data() + i || !std::isfinite(out)) invalidValue();
    return out;
}

// Limits before the conversion, so that any number a file holds converts.
int toInt(double v) {
    return int(std::clamp(v, double(std::numeric_limits<int>::min()), double(std::numeric_limits<int>::max())));
}
uint8_t to7Bit(double v) { return uint8_t(std::clamp(std::lround(std::clamp(v, -1e9, 1e9)), 0L, 127L)); }
uint32_t toFrame(double v) { return uint32_t(std::clamp(v, 0.0, double(std::numeric_limits<uint32_t>::max()))); }

// Seconds to the group time law.
float seconds(double s) { return float(ZnPlug::TimeLaw::fromMs(s * 1000.0)); }

// The number behind the opcode's name ("on_locc64" is "on_locc" with 64), -1 when there is none.
int cutNumber(std::string_view& opcode) {
    std::size_t k = opcode.size();
    while (k > 0 && opcode[k - 1] >= '0' && opcode[k - 1] <= '9') --k;
    if (k == opcode.size()) return -1;
    const std::string_view digits = opcode.substr(k);
    opcode = opcode.substr(0, k);
    int n = 0;
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), n);
    if (ec == std::errc::result_out_of_range) throw std::out_of_range("stoi argument out of range");
    if (ec != std::errc() || end != digits.data() + digits.size()) throw std::invalid_argument("invalid stoi argument");
    return n;
}

// "lpf_2p" and its kind: the first three letters give the type, the fifth the slope.
void setFilterType(Filter& filter, std::string_view value) {
    static const std::array<std::pair<std::string_view, uint8_t>, 4> types = {
        {{"hpf", kFilterHighPass}, {"lpf", kFilterLowPass}, {"bpf", kFilterBandPass}, {"brf", kFilterNotch}}};
    if (value.size() == 6 && value[3] == '_')
        for (const auto& [name, type] : types)
            if (value.substr(0, 3) == name) {
                filter.type = type;
                filter.slope = value[4] == '1' ? kSlope6dB : kSlope12dB;
                return;
            }
    throw std::runtime_error("Invalid filter type : " + std::string(value));
}

Switcher& switcherOf(Group& group) {
    if (!group.switcher) group.setSwitcher(ZnLib::makeRef<Switcher>());
    return *group.switcher;
}

// Keeps the fade bound's distance to the high bound it belongs to.
void setHigh(int8_t& high, int8_t& fadeHigh, int value) {
    const int distance = high - fadeHigh;
    high = int8_t(value);
    fadeHigh = int8_t(std::clamp(value - distance, 0, value));
}

}  // namespace

SfzLoader::SfzLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string> places,
                     int octaveBase)
    : bank_(bank), filter_(filter), findMissing_(findMissing), places_(std::move(places)), octaveBase_(octaveBase) {}

SharedRef<Program> SfzLoader::loadFile(const std::string& path) {
    return loadText(UnicodeText::readFile(path), path);
}

SharedRef<Program> SfzLoader::loadText(const std::string& text, const std::string& path) {
    static const Regex comments(kCommentPattern), tags(kTagPattern);
    path_ = fs::normalise(path);
    defaultPath_.clear();
    auto program = ZnLib::makeRef<Program>(fs::stem(path_));
    const std::string stripped = comments.replaceAll(text, "");

    const SFZGroup global;
    SFZGroup current(global);
    tags.forEach(stripped, [&](const Regex::Captures& c) {
        const std::string_view tag = c[2], body = c[3];
        if (tag == "<group>") {
            current = global;
            applyBody(body, current);
        } else if (tag == "<region>") {
            SFZGroup region(current);
            applyBody(body, region);
            region.finish();
            auto group = ZnLib::makeRef<Group>(static_cast<const Group&>(region));
            group->normalise();
            program->addGroup(std::move(group));
        } else if (tag == "<control>") {
            SFZGroup scratch;
            applyBody(body, scratch);
        }
    });
    return program;
}

void SfzLoader::applyBody(std::string_view body, SFZGroup& group) {
    static const Regex opcodes(kOpcodePattern);
    opcodes.forEach(body, [&](const Regex::Captures& c) {
        std::string_view opcode = c[2];
        const int n = cutNumber(opcode);
        applyOpcode(group, opcode, n, trimEnd(c[3]));
    });
}

int SfzLoader::key(std::string_view value) const {
    const uint8_t k = ZnPlug::parseNote(std::string(value), octaveBase_);
    if (k == 255) invalidValue();
    return k;
}

void SfzLoader::applyOpcode(SFZGroup& g, std::string_view op, int n, std::string_view value) {
    using Row = SFZGroup::Row;
    auto amount = [&](Row row, double v) { g.modulation[row].amount = float(v); };

    if (op == "sample") return setSample(g, value);
    if (op == "lokey") {
        g.range.lowKey = int8_t(key(value));
    } else if (op == "hikey") {
        setHigh(g.range.highKey, g.fade.highKey, key(value));
    } else if (op == "key") {
        const int k = key(value);
        g.range.lowKey = int8_t(k);
        setHigh(g.range.highKey, g.fade.highKey, k);
        g.root = uint8_t(k);
    } else if (op == "lovel") {
        g.range.lowVel = int8_t(std::clamp(toInt(number(value)), 0, 127));
    } else if (op == "hivel") {
        g.range.highVel = int8_t(std::clamp(toInt(number(value)), 0, 127));
    } else if (op == "trigger") {
        if (value == "release") g.playmode = kPlayRelease;
        else if (value == "legato") g.polymode = kPolyLegato;
    } else if (op == "group") {
        // Exclusive classes are taken by off_by alone.
    } else if (op == "off_by") {
        g.chokeGroup = uint8_t(toInt(number(value)));
    } else if (op == "lorand") {
        switcherOf(g).randLow = float(number(value));
    } else if (op == "hirand") {
        switcherOf(g).randHigh = float(number(value));
    } else if (op == "lobpm") {
        switcherOf(g).bpmLow = float(number(value));
    } else if (op == "hibpm") {
        switcherOf(g).bpmHigh = float(number(value));
    } else if (op == "seq_length") {
        switcherOf(g).seqLength = toInt(number(value));
    } else if (op == "seq_position") {
        switcherOf(g).seqPos = toInt(number(value));
    } else if (op == "sw_lokey") {
        switcherOf(g).keyLow = int8_t(key(value));
    } else if (op == "sw_hikey") {
        switcherOf(g).keyHigh = int8_t(key(value));
    } else if (op == "sw_last") {
        switcherOf(g).keyLast = int8_t(key(value));
    } else if (op == "sw_down") {
        switcherOf(g).keyDown = int8_t(key(value));
    } else if (op == "sw_up") {
        switcherOf(g).keyUp = int8_t(key(value));
    } else if (op == "sw_previous") {
        switcherOf(g).keyPrev = int8_t(key(value));
    } else if (op == "lobend" || op == "hibend") {
        Switcher& sw = switcherOf(g);
        sw.source = kSourcePitchbend;
        // -8192..8191 onto the 7-bit range of the probe.
        const uint8_t bound = to7Bit((number(value) + 8192.0) * 127.0 / 16384.0);
        (op == "lobend" ? sw.rangeLow : sw.rangeHigh) = bound;
    } else if (op == "lochanaft") {
        // Only the lower bound: the upper bound's opcode has never been recognised.
        Switcher& sw = switcherOf(g);
        sw.source = kSourceChannelPressure;
        sw.rangeLow = to7Bit(number(value));
    } else if (op == "lopolyaft" || op == "hipolyaft") {
        Switcher& sw = switcherOf(g);
        sw.source = kSourceAftertouch;
        (op == "lopolyaft" ? sw.rangeLow : sw.rangeHigh) = to7Bit(number(value));
    } else if (op == "on_locc") {
        Switcher& sw = switcherOf(g);
        sw.source = 0xE0A9;
        sw.rangeLow = to7Bit(number(value));
    } else if (op == "on_hicc") {
        Switcher& sw = switcherOf(g);
        if (n >= 0) sw.source = uint16_t(kSourceFirstMidiCC + std::min(n, 127));
        sw.rangeHigh = to7Bit(number(value));
    } else if (op == "offset") {
        const Wave& wave = *g.splits.front().wave();
        const double rate = wave.sampleRate ? wave.sampleRate : 44100.0;
        g.start = float(ZnPlug::TimeLaw::fromMs((number(value) - wave.start) * 1000.0 / rate));
    } else if (op == "loopmode" || op == "loop_mode") {
        if (value == "one_shot") g.loopMode = SFZGroup::kLoopOneShot;
        else if (value == "loop_sustain") g.loopMode = SFZGroup::kLoopSustain;
        else if (value == "loop_continuous") g.loopMode = SFZGroup::kLoopContinuous;
        else if (value == "no_loop") g.loopMode = SFZGroup::kLoopNone;
    } else if (op == "loopstart" || op == "loop_start") {
        g.loopStart = toFrame(number(value));
        g.loopStartSet = true;
    } else if (op == "loopend" || op == "loop_end") {
        g.loopEnd = toFrame(number(value));
        g.loopEndSet = true;
    } else if (op == "transpose") {
        g.coarse = int8_t(g.coarse + toInt(number(value)));
    } else if (op == "tune") {
        g.fine = int8_t(toInt(number(value)));
        g.fineSet = true;
    } else if (op == "pitch_keycenter") {
        g.root = uint8_t(key(value));
    } else if (op == "pitch_keytrack") {
        // Cents per key onto the tracking table, "Inv * 4" to "* 4".
        static constexpr std::array<double, 11> steps = {-400, -200, -100, -50, -25, 0, 25, 50, 100, 200, 400};
        const double v = number(value);
        for (std::size_t i = 0; i < steps.size(); ++i)
            if (steps[i] >= v) {
                g.tuning = int32_t(i);
                break;
            }
    } else if (op == "pitch_veltrack") {
        amount(SFZGroup::kRowPitchVelocity, number(value));
    } else if (op == "bend_up" || op == "bend_down") {
        amount(SFZGroup::kRowBend, number(value));
    } else if (op == "pitcheg_attack") {
        g.env1.time1 = seconds(number(value));
        g.env1.level1 = 1;
    } else if (op == "pitcheg_hold" || op == "fileg_hold") {
        // Envelope hold segments have no place in the modulation envelopes.
    } else if (op == "pitcheg_decay") {
        g.env1.time2 = seconds(number(value));
    } else if (op == "pitcheg_sustain") {
        g.env1.level2 = float(number(value) * 0.01);
    } else if (op == "pitcheg_release") {
        g.env1.time3 = seconds(number(value));
    } else if (op == "pitcheg_depth") {
        amount(SFZGroup::kRowPitchEnv, number(value));
    } else if (op == "pitchlfo_fade") {
        g.lfo1.fadein = seconds(number(value));
    } else if (op == "pitchlfo_freq") {
        g.lfo1.rate = float(ZnPlug::RateLaw::fromHz(number(value)));
    } else if (op == "pitchlfo_depth" || op == "fillfo_depth") {
        // The filter LFO's depth lands on the pitch LFO's row, as it always has.
        amount(SFZGroup::kRowPitchLfo, number(value));
    } else if (op == "fil_type" || op == "filtype") {
        setFilterType(g.filter, value);
    } else if (op == "cutoff") {
        g.filter.freq = float(SFGroup::cutoffLaw(number(value)));
        if (g.filter.type == kFilterOff) g.filter.type = kFilterLowPass;
    } else if (op == "resonance") {
        g.filter.res = float(number(value) * 0.025);
    } else if (op == "fileg_attack") {
        g.env2.time1 = seconds(number(value));
        g.env2.level1 = 1;
    } else if (op == "fileg_decay") {
        g.env2.time2 = seconds(number(value));
    } else if (op == "fileg_sustain") {
        g.env2.level2 = float(number(value) * 0.01);
    } else if (op == "fileg_release") {
        g.env2.time3 = seconds(number(value));
    } else if (op == "fileg_depth") {
        amount(SFZGroup::kRowFilterEnv, number(value) * 8.333333e-05);
    } else if (op == "fillfo_fade") {
        g.lfo2.fadein = seconds(number(value));
    } else if (op == "fillfo_freq") {
        g.lfo2.rate = float(ZnPlug::RateLaw::fromHz(number(value)));
    } else if (op == "fil_veltrack") {
        g.filVeltrack = float(number(value));
    } else if (op == "volume") {
        g.amp = float(std::pow(10.0, number(value) / 20.0));
    } else if (op == "pan") {
        g.pan = float(number(value) * 0.01);
    } else if (op == "ampeg_delay") {
        g.delay = seconds(number(value));
    } else if (op == "ampeg_attack") {
        g.aeg.attack = seconds(number(value));
    } else if (op == "ampeg_hold") {
        g.aeg.decay1 = seconds(number(value));
    } else if (op == "ampeg_decay") {
        g.aeg.decay2 = seconds(number(value));
    } else if (op == "ampeg_sustain") {
        g.aeg.sustain = float(number(value) * 0.01);
    } else if (op == "ampeg_release") {
        g.aeg.release = seconds(number(value));
    } else if (op == "amplfo_fade") {
        g.seq1.fadein = seconds(number(value));
    } else if (op == "amplfo_freq") {
        g.seq1.rate = float(ZnPlug::RateLaw::fromHz(number(value)));
    } else if (op == "amplfo_depth") {
        amount(SFZGroup::kRowAmpLfo, number(value));
    } else if (op == "default_path") {
        const std::string p = fs::normalise(value);
        defaultPath_ = fs::isAbsolute(p) ? p : fs::directory(path_) + p;
    }
}

void SfzLoader::setSample(SFZGroup& group, std::string_view value) {
    const std::string path = fs::normalise(defaultPath_ + std::string(value));
    group.name = fs::stem(path);
    SharedRef<Wave> wave = findWave(path);
    group.splits.front().setWave(wave);
    if (group.root == 255) group.root = wave->root;
    if (!group.fineSet) {
        group.fine = wave->fine;
        group.fineSet = true;
    }
}

SharedRef<Wave> SfzLoader::findWave(const std::string& path) {
    try {
        return WaveFinder(bank_, filter_, findMissing_, places_, path_).find(path);
    } catch (const std::exception& e) {
        filter_.process(ZnLib::describe(e));
        return SharedRef<Wave>(Wave::none());
    }
}

}  // namespace MV
