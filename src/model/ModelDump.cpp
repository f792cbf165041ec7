#include "model/ModelDump.h"

#include <array>
#include <cmath>
#include <cstring>

#include "lib/Text.h"
#include "model/Bank.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"

namespace MV {

using ZnLib::Text::format;
using ZnPlug::Wave;

namespace {

std::string num(double v) { return format("%.6g", v); }
std::string boolText(bool v) { return v ? "true" : "false"; }
std::string note(int key) { return ZnPlug::noteName(key, 0); }
std::string rootText(uint8_t root) { return root == 255 ? "no" : note(root); }
std::string keyField(int8_t key) { return key < 0 ? "no" : note(key); }
std::string timeText(float t) { return ZnPlug::timeText(ZnPlug::TimeLaw::ms(t)); }
std::string freqText(float f) { return ZnPlug::frequencyFileText(ZnPlug::FrequencyLaw::hz(f)); }

template <std::size_t N>
std::string name(const std::array<const char*, N>& table, std::size_t index) {
    return index < N ? table[index] : format("#%zu", index);
}

std::string rateText(float rate, uint8_t mode) {
    if (mode == kLfoModeTempo) return name(kNoteValueNames, std::size_t(std::lround(rate * 23)));
    return ZnPlug::frequencyFileText(ZnPlug::RateLaw::hz(rate));
}

// FNV-1a over the bits of every sample, so that a dump notices changed sample data.
uint64_t sampleHash(const Wave& w) {
    uint64_t h = 1469598103934665603ull;
    for (unsigned c = 0; c < w.channels(); ++c) {
        const float* data = w.channelData(c);
        for (uint32_t f = 0; f < w.frames(); ++f) {
            uint32_t bits;
            std::memcpy(&bits, &data[f], 4);
            for (int b = 0; b < 4; ++b) h = (h ^ ((bits >> (8 * b)) & 0xFF)) * 1099511628211ull;
        }
    }
    return h;
}

std::string fourcc(uint32_t tag) {
    std::string s;
    for (int i = 3; i >= 0; --i) {
        const char c = char((tag >> (8 * i)) & 0xFF);
        s += c >= 32 && c < 127 ? c : '?';
    }
    return s;
}

class Dumper {
public:
    Dumper(const Bank& bank, std::string basePath) : bank_(bank), base_(std::move(basePath)) {}

    std::string run() {
        dumpBankFields();
        for (std::size_t i = 0; i < bank_.performances.size(); ++i) dumpPerformance(i);
        for (std::size_t i = 0; i < bank_.programs.size(); ++i) dumpProgram(i);
        for (std::size_t i = 0; i < bank_.waves.size(); ++i) dumpWave(i);
        for (std::size_t i = 0; i < bank_.matrixes.size(); ++i) dumpMatrix(i);
        return out_;
    }

private:
    void line(int depth, const std::string& key, const std::string& value) {
        out_.append(std::size_t(depth) * 2, ' ');
        out_ += key;
        if (!value.empty()) out_ += ": " + value;
        out_ += '\n';
    }

    std::string path(const std::string& p) const {
        if (!base_.empty() && p.compare(0, base_.size(), base_) == 0) return p.substr(base_.size());
        return p;
    }

    template <typename T>
    std::string ref(const std::vector<ZnLib::SharedRef<T>>& list, const void* item, const std::string& none) const {
        for (std::size_t i = 0; i < list.size(); ++i)
            if (list[i].get() == item) return format("%zu", i);
        return none;
    }

    std::string waveRef(const Wave* w) const {
        if (w->isNone()) return "<none>";
        const std::string index = ref(bank_.waves, w, "unlisted");
        return index + " " + path(w->file().path());
    }

    std::string itemName(const ZnPlug::SoundItem& item) const {
        return "\"" + item.name() + "\" path " + path(item.file().path());
    }

    void dumpBankFields() {
        line(0, "bank", itemName(bank_));
        line(1, "programChangeMode", name(kProgramChangeModeNames, std::size_t(bank_.programChangeMode)));
        line(1, "useBankSelect", boolText(bank_.useBankSelect));
        line(1, "currentPerformance", ref(bank_.performances, bank_.currentPerformance, "<none>"));
        line(1, "interpolation", name(kInterpolationNames, bank_.interpolation));
        for (std::size_t i = 0; i < bank_.automationOffset.size(); ++i)
            if (bank_.automationOffset[i] != 0) line(1, format("automationOffset %zu", i), num(bank_.automationOffset[i]));
        for (std::size_t i = 0; i < bank_.externalController.size(); ++i) {
            const ExternalController& x = bank_.externalController[i];
            if (x.ctrl || x.offset) line(1, format("externalController %zu", i), format("ctrl %u offset %d", x.ctrl, x.offset));
        }
        for (const Output& o : bank_.outputs)
            line(1, "output " + o.name,
                 format("pin %u channels %u enabled %s id %u", o.pin, o.channels, boolText(o.enabled).c_str(), o.id));
    }

    void dumpPerformance(std::size_t index) {
        const Performance& p = *bank_.performances[index];
        line(0, format("performance %zu", index), itemName(p));
        for (std::size_t i = 0; i < p.slots.size(); ++i) {
            const ProgramSlot& s = *p.slots[i];
            line(1, format("slot %zu", i), "\"" + s.name + "\"");
            line(2, "mute", format("%u", s.mute()));
            line(2, "solo", boolText(s.solo()));
            line(2, "channel", format("%u", s.channel));
            line(2, "output", name(kOutputNames, s.output));
            line(2, "amp", num(s.amp) + format(" automation %d", s.ampAutomation));
            line(2, "pan", num(s.pan) + format(" automation %d", s.panAutomation));
            line(2, "transpose", format("%d automation %d", s.transpose, s.transposeAutomation));
            line(2, "detune", format("%d automation %d", s.detune, s.detuneAutomation));
            line(2, "interpolation", name(kInterpolationNames, s.interpolation));
            line(2, "velocitycurve", name(kVelocityCurveNames, s.velocityCurve));
            line(2, "poly", format("%d", s.poly));
            for (std::size_t k = 0; k < s.sends.size(); ++k) {
                const SlotSend& send = s.sends[k];
                line(2, format("send %zu", k),
                     format("dest %s level %s automation %d pre-fader %s", name(kSendDestinationNames, send.dest).c_str(),
                            num(send.level).c_str(), send.levelAutomation, boolText(send.preFader).c_str()));
            }
            line(2, "program", ref(bank_.programs, s.program.get(), s.program->isNone() ? "<none>" : "unlisted"));
        }
        for (std::size_t k = 0; k < p.fx.size(); ++k) {
            if (!p.fx[k]) continue;
            const FX::Effect& fx = *p.fx[k];
            line(1, format("fx FX%zu", k + 1),
                 format("type %d mute %s bypass %s output %s", fx.type, boolText(fx.mute).c_str(),
                        boolText(fx.bypass).c_str(), name(kSendDestinationNames, fx.output).c_str()));
        }
    }

    void dumpProgram(std::size_t index) {
        const Program& p = *bank_.programs[index];
        line(0, format("program %zu", index), itemName(p));
        line(1, "range", rangeText(p.range));
        line(1, "interpolation", name(kInterpolationNames, p.interpolation));
        if (p.icon) line(1, "icon", "\"" + p.icon->name() + "\"");
        for (std::size_t i = 0; i < p.groups.size(); ++i) dumpGroup(i, *p.groups[i]);
    }

    static std::string rangeText(const KeyRange& r) {
        return format("lowkey %s highkey %s lowvel %d highvel %d", note(r.lowKey).c_str(), note(r.highKey).c_str(),
                      r.lowVel, r.highVel);
    }

    void dumpGroup(std::size_t index, const Group& g) {
        line(1, format("group %zu", index), "\"" + g.name + "\"");
        line(2, "mute", format("%u", g.mute()));
        line(2, "solo", boolText(g.solo()));
        line(2, "coarse", format("%d", g.coarse));
        line(2, "fine", format("%d", g.fine));
        line(2, "tuning", name(kTuningNames, std::size_t(g.tuning)));
        line(2, "playmode", name(kPlayModeNames, std::size_t(g.playmode)));
        line(2, "polymode", name(kPolyModeNames, std::size_t(g.polymode)));
        line(2, "noteprio", name(kNotePriorityNames, g.noteprio));
        line(2, "chokeGroup", format("%u", g.chokeGroup));
        line(2, "output", name(kOutputNames, g.output));
        line(2, "interpolation", name(kInterpolationNames, std::size_t(uint8_t(g.interpolation))));
        line(2, "range", rangeText(g.range));
        line(2, "fade", rangeText(g.fade));
        line(2, "amp", num(g.amp));
        line(2, "pan", num(g.pan));
        line(2, "glide", timeText(g.glide));
        line(2, "velocity", num(g.velocity));
        line(2, "velocityOffset", format("%u", g.velocityOffset));
        line(2, "velocitycurve", name(kVelocityCurveNames, g.velocityCurve));
        line(2, "start", timeText(g.start));
        line(2, "delay", timeText(g.delay));
        const AEG& a = g.aeg;
        line(2, "aeg",
             format("attack %s decay1 %s level1 %s decay2 %s sustain %s release %s", timeText(a.attack).c_str(),
                    timeText(a.decay1).c_str(), num(a.level1).c_str(), timeText(a.decay2).c_str(),
                    num(a.sustain).c_str(), timeText(a.release).c_str()));
        dumpEnv("env1", g.env1);
        dumpEnv("env2", g.env2);
        dumpLfo("lfo1", g.lfo1);
        dumpLfo("lfo2", g.lfo2);
        dumpSeq("seq1", g.seq1);
        dumpSeq("seq2", g.seq2);
        dumpSeq("seq3", g.seq3);
        const Filter& f = g.filter;
        line(2, "filter",
             format("type %s freq %s res %s drive %s slope %s", name(kFilterTypeNames, f.type).c_str(),
                    freqText(f.freq).c_str(), num(f.res).c_str(), num(f.drive).c_str(),
                    name(kFilterSlopeNames, f.slope).c_str()));
        for (std::size_t k = 0; k < g.sends.size(); ++k)
            line(2, format("send %zu", k),
                 format("dest %s level %s pre-fader %s", name(kSendDestinationNames, g.sends[k].dest).c_str(),
                        num(g.sends[k].level).c_str(), boolText(g.sends[k].preFader).c_str()));
        for (std::size_t k = 0; k < g.modulation.size(); ++k) {
            const ModulationEntry& m = g.modulation[k];
            if (m.isUnused() && m.enabled) continue;
            line(2, format("entry %zu", k),
                 format("source %s via %s destination %s amount %s amount_via %s frozen %s enabled %s",
                        modulationSourceName(m.source).c_str(), modulationSourceName(m.via).c_str(),
                        modulationDestinationName(m.destination).c_str(), ModulationTables::amountText(m.destination, m.amount).c_str(),
                        ModulationTables::amountText(m.destination, m.amountVia).c_str(), boolText(m.frozen).c_str(),
                        boolText(m.enabled).c_str()));
        }
        if (g.switcher) dumpSwitcher(*g.switcher);
        if (g.insert) line(2, "insert", format("type %d", g.insert->type));
        for (const Split& s : g.splits) dumpSplit(s);
    }

    void dumpEnv(const char* key, const Env& e) {
        line(2, key,
             format("amp %s level0 %s time1 %s level1 %s time2 %s level2 %s time3 %s level3 %s", num(e.amp).c_str(),
                    num(e.level0).c_str(), timeText(e.time1).c_str(), num(e.level1).c_str(), timeText(e.time2).c_str(),
                    num(e.level2).c_str(), timeText(e.time3).c_str(), num(e.level3).c_str()));
    }

    void dumpLfo(const char* key, const LFO& l) {
        line(2, key,
             format("rate %s fadein %s pos %s mode %s amp %s type %s sync %s", rateText(l.rate, l.mode).c_str(),
                    timeText(l.fadein).c_str(), num(l.pos).c_str(), name(kLfoModeNames, l.mode).c_str(),
                    num(l.amp).c_str(), name(kLfoTypeNames, l.type).c_str(), name(kLfoSyncNames, l.sync).c_str()));
    }

    void dumpSeq(const char* key, const Seq& s) {
        std::string values;
        for (std::size_t i = 0; i < s.values.size(); ++i) values += format(i ? ",%d" : "%d", s.values[i]);
        line(2, key,
             format("rate %s fadein %s pos %s mode %s values \"%s\" smooth %s stepsync %s amp %s sync %s",
                    rateText(s.rate, s.mode).c_str(), timeText(s.fadein).c_str(), num(s.pos).c_str(),
                    name(kLfoModeNames, s.mode).c_str(), values.c_str(), boolText(s.smooth).c_str(),
                    boolText(s.stepsync).c_str(), num(s.amp).c_str(), name(kLfoSyncNames, s.sync).c_str()));
    }

    void dumpSwitcher(const Switcher& s) {
        line(2, "switcher",
             format("source %s range-lo %u range-hi %u rand-lo %s rand-hi %s bpm-lo %s bpm-hi %s seq-length %d "
                    "seq-pos %d",
                    modulationSourceName(s.source).c_str(), s.rangeLow, s.rangeHigh, num(s.randLow).c_str(),
                    num(s.randHigh).c_str(), num(s.bpmLow).c_str(), num(s.bpmHigh).c_str(), s.seqLength, s.seqPos));
        line(3, "keys",
             format("key-lo %s key-hi %s key-down %s key-up %s key-last %s key-prev %s", keyField(s.keyLow).c_str(),
                    keyField(s.keyHigh).c_str(), keyField(s.keyDown).c_str(), keyField(s.keyUp).c_str(),
                    keyField(s.keyLast).c_str(), keyField(s.keyPrev).c_str()));
        line(3, "enabled", boolText(s.enabled));
        line(3, "round-robin-source", name(kRoundRobinSourceNames, std::size_t(s.roundRobinSource)));
    }

    void dumpSplit(const Split& s) {
        line(2, "split", "key " + note(s.key));
        if (s.isMatrix()) {
            line(3, "matrix", s.matrix()->isNone() ? "<none>" : ref(bank_.matrixes, s.matrix(), "unlisted"));
        } else {
            line(3, "wave", waveRef(s.wave()));
        }
        line(3, "loop", format("%d release %d", s.loop, s.release));
        line(3, "root", rootText(s.root()) + format(" fine %d", s.fine()) + (s.hasOverride() ? " override" : ""));
    }

    void dumpWave(std::size_t index) {
        const Wave& w = *bank_.waves[index];
        line(0, format("wave %zu", index), path(w.file().path()));
        line(1, "name", "\"" + w.name() + "\"");
        line(1, "rate", format("%u", w.sampleRate));
        line(1, "channels", format("%u", w.channels()));
        line(1, "frames", format("%u", w.frames()));
        line(1, "root", rootText(w.root) + format(" fine %d", w.fine));
        line(1, "range", format("start %u end %u headTrim %u tailTrim %u", w.start, w.end, w.headTrim, w.tailTrim));
        line(1, "tempo", num(w.tempo) + format(" flags %u", w.flags));
        line(1, "format", format("%s bits %u sampleType %u", fourcc(w.format).c_str(), w.bits, w.sampleType));
        line(1, "container", w.container ? format("index %u", w.containerIndex) : "none");
        line(1, "samples", format("%016llx", static_cast<unsigned long long>(sampleHash(w))));
        for (const ZnPlug::Loop& l : w.loops)
            line(1, "loop", format("\"%s\" start %u end %u mode %s", l.nameText().c_str(), l.start, l.end,
                                   name(ZnPlug::kLoopModeNames, std::size_t(l.mode)).c_str()));
    }

    void dumpMatrix(std::size_t index) {
        const WaveMatrix& m = *bank_.matrixes[index];
        line(0, format("matrix %zu", index), itemName(m));
        for (const auto& [key, axis] : {std::pair{"xaxis", &m.xAxis}, std::pair{"yaxis", &m.yAxis}})
            line(1, key,
                 format("source %s invert %s round-robin-source %s", modulationSourceName(axis->source).c_str(),
                        boolText(axis->invert).c_str(),
                        name(kRoundRobinSourceNames, std::size_t(axis->roundRobinSource)).c_str()));
        std::string thresholds;
        for (uint8_t t : m.thresholds) thresholds += format(" %u", t);
        line(1, format("grid %u x %u thresholds", m.columns(), m.rows()), thresholds.substr(thresholds.empty() ? 0 : 1));
        for (unsigned r = 0; r < m.rows(); ++r)
            for (unsigned c = 0; c < m.columns(); ++c) {
                const WaveMatrix::Cell& cell = m.cell(c, r);
                line(1, format("cell %u %u", c, r),
                     format("loop %d release %d wave %s", cell.loop, cell.release, waveRef(cell.wave.get()).c_str()));
            }
    }

    const Bank& bank_;
    std::string base_;
    std::string out_;
};

}  // namespace

std::string modulationSourceName(uint16_t source) {
    return source < kSourceCount ? ModulationTables::sourceText(source) : format("#%u", source);
}

std::string modulationDestinationName(uint8_t destination) {
    return destination < kDestinationCount ? std::string(ModulationTables::destinationFileText(destination))
                                           : format("#%u", destination);
}

std::string dumpBank(const Bank& bank, const std::string& basePath) { return Dumper(bank, basePath).run(); }

}  // namespace MV
