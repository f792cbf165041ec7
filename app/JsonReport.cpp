#include "JsonReport.h"

#include <charconv>

#include "JsonWriter.h"
#include "MorvekVersion.h"
#include "engine/Morvek.h"
#include "import/ImportBank.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "model/ModelDump.h"
#include "model/ModulationTables.h"
#include "persist/EffectFactory.h"
#include "persist/WireForm.h"

namespace Cli {

namespace {

using MV::WireForm;

template <std::size_t N>
std::string nameOf(const std::array<const char*, N>& table, std::size_t index) {
    return index < N ? table[index] : "#" + std::to_string(index);
}

std::string fourcc(uint32_t tag) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = char((tag >> shift) & 0xFF);
        s += c >= 0x20 && c < 0x7F ? c : '?';
    }
    return s;
}

const char* sampleTypeText(uint8_t type) {
    switch (type) {
    case 1: return "unsigned integer";
    case 2: return "signed integer";
    case 3: return "float";
    default: return "invalid";
    }
}

// A key field where -1 means "not set", as the documents write it.
std::string keyText(int key) { return key < 0 ? "no" : WireForm::noteText(key); }

class Report {
public:
    Report(const MV::Bank* bank, uint64_t samples) : bank_(bank), samples_(samples) {}

    JsonWriter w;

    // {"value": v, "text": t}
    template <typename T>
    void pair(std::string_view key, T value, const std::string& text) {
        w.key(key).beginObject().field("value", value).field("text", text).endObject();
    }
    template <typename T, std::size_t N>
    void named(std::string_view key, T value, const std::array<const char*, N>& table) {
        pair(key, value, nameOf(table, std::size_t(value)));
    }
    void time(std::string_view key, float value) { pair(key, value, WireForm::timeText(value)); }
    void note(std::string_view key, int value) { pair(key, value, keyText(value)); }
    void source(std::string_view key, uint16_t value) { pair(key, value, MV::modulationSourceName(value)); }

    // The index of `item` in `list`, or null when the list does not hold it.
    template <typename T>
    void ref(std::string_view key, const std::vector<ZnLib::SharedRef<T>>& list, const void* item) {
        w.key(key);
        for (std::size_t i = 0; i < list.size(); ++i)
            if (list[i].get() == item) {
                w.value(i);
                return;
            }
        w.null();
    }

    void wave(const ZnPlug::Wave& v) {
        w.beginObject();
        w.field("name", v.name()).field("path", v.file().path());
        pair("format", v.format, fourcc(v.format));
        w.field("rate", v.sampleRate).field("channels", v.channels()).field("frames", v.frames());
        w.field("bits", v.bits);
        pair("sampleType", v.sampleType, sampleTypeText(v.sampleType));
        pair("root", v.root, WireForm::rootText(v.root));
        w.field("fine", v.fine).field("tempo", v.tempo);
        w.field("start", v.start).field("end", v.end).field("headTrim", v.headTrim).field("tailTrim", v.tailTrim);
        w.field("flags", v.flags);
        w.key("container");
        if (v.container)
            w.value(v.containerIndex);
        else
            w.null();
        w.key("loops").beginArray();
        for (const ZnPlug::Loop& l : v.loops) {
            w.beginObject().field("name", l.nameText()).field("start", l.start).field("end", l.end);
            named("mode", int(l.mode), ZnPlug::kLoopModeNames);
            w.endObject();
        }
        w.endArray();
        if (samples_ > 0) {
            const uint64_t frames = std::min<uint64_t>(samples_, v.frames());
            w.key("samples").beginArray();
            for (unsigned c = 0; c < v.channels(); ++c) {
                w.beginArray(true);
                const float* data = v.channelData(c);
                for (uint64_t f = 0; f < frames; ++f) w.value(data[f]);
                w.endArray();
            }
            w.endArray();
        }
        w.endObject();
    }

    void bank(const MV::Bank& b) {
        w.beginObject();
        w.field("name", b.name()).field("path", b.file().path());
        named("programChangeMode", b.programChangeMode, MV::kProgramChangeModeNames);
        w.field("useBankSelect", b.useBankSelect);
        ref("currentPerformance", b.performances, b.currentPerformance);
        named("interpolation", b.interpolation, MV::kInterpolationNames);
        w.key("automationOffset").beginArray(true);
        for (float v : b.automationOffset) w.value(v);
        w.endArray();
        w.key("externalControllers").beginArray();
        for (const MV::ExternalController& x : b.externalController)
            w.beginObject().field("ctrl", x.ctrl).field("offset", x.offset).endObject();
        w.endArray();
        w.key("outputs").beginArray();
        for (const MV::Output& o : b.outputs)
            w.beginObject()
                .field("name", o.name)
                .field("pin", o.pin)
                .field("channels", o.channels)
                .field("enabled", o.enabled)
                .field("id", o.id)
                .endObject();
        w.endArray();
        w.key("performances").beginArray();
        for (const auto& p : b.performances) performance(*p);
        w.endArray();
        w.key("programs").beginArray();
        for (const auto& p : b.programs) program(*p);
        w.endArray();
        w.key("waves").beginArray();
        for (const auto& v : b.waves) wave(*v);
        w.endArray();
        w.key("matrices").beginArray();
        for (const auto& m : b.matrixes) matrix(*m);
        w.endArray();
        w.endObject();
    }

private:
    void params(const std::vector<MV::StoredParam>& list) {
        w.key("params").beginObject();
        for (const MV::StoredParam& p : list)
            w.key(p.name).beginObject().field("text", p.value).field("automation", p.automation).endObject();
        w.endObject();
    }

    void performance(const MV::Performance& p) {
        w.beginObject();
        w.field("name", p.name()).field("path", p.file().path());
        w.key("slots").beginArray();
        for (const auto& s : p.slots) slot(*s);
        w.endArray();
        w.key("fx").beginArray();
        for (std::size_t k = 0; k < p.fx.size(); ++k) {
            w.beginObject().field("bus", MV::kSendDestinationNames[MV::kRouteFirstBus + k]);
            w.key("effect");
            if (const MV::FX::Effect* fx = p.fx[k].get()) {
                w.beginObject();
                named("type", fx->type, MV::kEffectTypeNames);
                named("output", fx->output, MV::kSendDestinationNames);
                w.field("mute", fx->mute).field("bypass", fx->bypass);
                params(MV::EffectFactory::current().params(*fx));
                w.endObject();
            } else {
                w.null();
            }
            w.endObject();
        }
        w.endArray();
        w.endObject();
    }

    void automated(std::string_view key, float value, int32_t automation) {
        w.key(key).beginObject().field("value", value).field("automation", automation).endObject();
    }

    void slot(const MV::ProgramSlot& s) {
        w.beginObject();
        w.field("name", s.name).field("mute", s.mute()).field("solo", s.solo());
        pair("channel", s.channel,
             s.channel == MV::ProgramSlot::kAllChannels ? std::string("all") : std::to_string(s.channel + 1));
        named("output", s.output, MV::kOutputNames);
        automated("amp", s.amp, s.ampAutomation);
        automated("pan", s.pan, s.panAutomation);
        automated("transpose", s.transpose, s.transposeAutomation);
        automated("detune", s.detune, s.detuneAutomation);
        named("interpolation", s.interpolation, MV::kInterpolationNames);
        named("velocityCurve", s.velocityCurve, MV::kVelocityCurveNames);
        w.field("poly", s.poly);
        w.key("sends").beginArray();
        for (const MV::SlotSend& send : s.sends) {
            w.beginObject();
            named("dest", send.dest, MV::kSendDestinationNames);
            w.field("level", send.level).field("automation", send.levelAutomation).field("preFader", send.preFader);
            w.endObject();
        }
        w.endArray();
        ref("program", bank_->programs, s.program.get());
        w.field("programName", s.program->name());
        w.endObject();
    }

    void range(std::string_view key, const MV::KeyRange& r) {
        w.key(key).beginObject();
        note("lowKey", r.lowKey);
        note("highKey", r.highKey);
        w.field("lowVel", r.lowVel).field("highVel", r.highVel);
        w.endObject();
    }

    void program(const MV::Program& p) {
        w.beginObject();
        w.field("name", p.name()).field("path", p.file().path());
        range("range", p.range);
        named("interpolation", p.interpolation, MV::kInterpolationNames);
        w.key("icon");
        if (p.icon)
            w.beginObject()
                .field("name", p.icon->name())
                .field("builtIn", p.icon->builtIn)
                .field("path", p.icon->file().path())
                .endObject();
        else
            w.null();
        w.key("groups").beginArray();
        for (const auto& g : p.groups) group(*g);
        w.endArray();
        w.endObject();
    }

    void group(const MV::Group& g) {
        w.beginObject();
        w.field("name", g.name).field("mute", g.mute()).field("solo", g.solo());
        w.field("coarse", g.coarse).field("fine", g.fine);
        named("tuning", g.tuning, MV::kTuningNames);
        named("playmode", g.playmode, MV::kPlayModeNames);
        named("polymode", g.polymode, MV::kPolyModeNames);
        named("noteprio", g.noteprio, MV::kNotePriorityNames);
        w.field("chokeGroup", g.chokeGroup);
        named("output", g.output, MV::kOutputNames);
        pair("interpolation", g.interpolation, nameOf(MV::kInterpolationNames, uint8_t(g.interpolation)));
        range("range", g.range);
        range("fade", g.fade);
        w.field("amp", g.amp).field("pan", g.pan);
        time("glide", g.glide);
        w.field("velocity", g.velocity).field("velocityOffset", g.velocityOffset);
        named("velocityCurve", g.velocityCurve, MV::kVelocityCurveNames);
        time("start", g.start);
        time("delay", g.delay);
        const MV::AEG& a = g.aeg;
        w.key("aeg").beginObject();
        time("attack", a.attack);
        time("decay1", a.decay1);
        w.field("level1", a.level1);
        time("decay2", a.decay2);
        w.field("sustain", a.sustain);
        time("release", a.release);
        w.endObject();
        env("env1", g.env1);
        env("env2", g.env2);
        lfo("lfo1", g.lfo1);
        lfo("lfo2", g.lfo2);
        seq("seq1", g.seq1);
        seq("seq2", g.seq2);
        seq("seq3", g.seq3);
        const MV::Filter& f = g.filter;
        w.key("filter").beginObject();
        named("type", f.type, MV::kFilterTypeNames);
        pair("freq", f.freq, WireForm::filterFrequencyText(f.freq));
        w.field("res", f.res).field("drive", f.drive);
        named("slope", f.slope, MV::kFilterSlopeNames);
        w.endObject();
        w.key("sends").beginArray();
        for (const MV::Send& s : g.sends) {
            w.beginObject();
            named("dest", s.dest, MV::kSendDestinationNames);
            w.field("level", s.level).field("preFader", s.preFader);
            w.endObject();
        }
        w.endArray();
        w.key("modulation").beginArray();
        for (const MV::ModulationEntry& m : g.modulation) {
            w.beginObject();
            source("source", m.source);
            source("via", m.via);
            pair("destination", m.destination, MV::modulationDestinationName(m.destination));
            pair("amount", m.amount, MV::ModulationTables::amountText(m.destination, m.amount));
            pair("amountVia", m.amountVia, MV::ModulationTables::amountText(m.destination, m.amountVia));
            w.field("frozen", m.frozen).field("enabled", m.enabled);
            w.endObject();
        }
        w.endArray();
        w.key("switcher");
        if (g.switcher)
            switcher(*g.switcher);
        else
            w.null();
        w.key("insert");
        if (g.insert) {
            w.beginObject();
            named("type", g.insert->type, MV::kInsertTypeNames);
            params(MV::EffectFactory::current().params(*g.insert));
            w.endObject();
        } else {
            w.null();
        }
        w.key("splits").beginArray();
        for (const MV::Split& s : g.splits) split(s);
        w.endArray();
        w.endObject();
    }

    void env(std::string_view key, const MV::Env& e) {
        w.key(key).beginObject();
        w.field("amp", e.amp).field("level0", e.level0);
        time("time1", e.time1);
        w.field("level1", e.level1);
        time("time2", e.time2);
        w.field("level2", e.level2);
        time("time3", e.time3);
        w.field("level3", e.level3);
        w.endObject();
    }

    void lfo(std::string_view key, const MV::LFO& l) {
        w.key(key).beginObject();
        pair("rate", l.rate, WireForm::rateText(l.rate, l.mode));
        time("fadein", l.fadein);
        w.field("pos", l.pos);
        named("mode", l.mode, MV::kLfoModeNames);
        w.field("amp", l.amp);
        named("type", l.type, MV::kLfoTypeNames);
        named("sync", l.sync, MV::kLfoSyncNames);
        w.endObject();
    }

    void seq(std::string_view key, const MV::Seq& s) {
        w.key(key).beginObject();
        pair("rate", s.rate, WireForm::rateText(s.rate, s.mode));
        time("fadein", s.fadein);
        w.field("pos", s.pos);
        named("mode", s.mode, MV::kLfoModeNames);
        w.key("values").beginArray(true);
        for (int8_t v : s.values) w.value(v);
        w.endArray();
        w.field("smooth", s.smooth).field("stepsync", s.stepsync).field("amp", s.amp);
        named("sync", s.sync, MV::kLfoSyncNames);
        w.endObject();
    }

    void switcher(const MV::Switcher& s) {
        w.beginObject();
        source("source", s.source);
        w.field("rangeLow", s.rangeLow).field("rangeHigh", s.rangeHigh);
        w.field("randLow", s.randLow).field("randHigh", s.randHigh);
        w.field("bpmLow", s.bpmLow).field("bpmHigh", s.bpmHigh);
        w.field("seqLength", s.seqLength).field("seqPos", s.seqPos);
        note("keyLow", s.keyLow);
        note("keyHigh", s.keyHigh);
        note("keyDown", s.keyDown);
        note("keyUp", s.keyUp);
        note("keyLast", s.keyLast);
        note("keyPrev", s.keyPrev);
        w.field("enabled", s.enabled);
        named("roundRobinSource", s.roundRobinSource, MV::kRoundRobinSourceNames);
        w.endObject();
    }

    // The wave or matrix of a split or cell: an index into the bank's list (null when unlisted
    // or none) and the path, null for the none item.
    void sound(const MV::Split& s) {
        const bool isMatrix = s.isMatrix();
        const ZnPlug::SoundItem* item = isMatrix ? static_cast<const ZnPlug::SoundItem*>(s.matrix()) : s.wave();
        const bool none = isMatrix ? s.matrix()->isNone() : s.wave()->isNone();
        if (isMatrix) {
            w.key("wave").null();
            ref("matrix", bank_->matrixes, item);
        } else {
            ref("wave", bank_->waves, item);
            w.key("matrix").null();
        }
        w.key("path");
        if (none)
            w.null();
        else
            w.value(item->file().path());
    }

    void split(const MV::Split& s) {
        w.beginObject();
        note("key", s.key);
        sound(s);
        w.field("loop", s.loop).field("release", s.release);
        pair("root", s.root(), WireForm::rootText(s.root()));
        w.field("fine", s.fine()).field("override", s.hasOverride());
        pair("rootOverride", s.rootOverride, WireForm::rootText(s.rootOverride));
        w.field("fineOverride", s.fineOverride).field("flags", s.flags);
        w.endObject();
    }

    void axis(std::string_view key, const MV::MatrixAxis& a) {
        w.key(key).beginObject();
        source("source", a.source);
        w.field("invert", a.invert);
        named("roundRobinSource", a.roundRobinSource, MV::kRoundRobinSourceNames);
        w.endObject();
    }

    void matrix(const MV::WaveMatrix& m) {
        w.beginObject();
        w.field("name", m.name()).field("path", m.file().path());
        axis("xAxis", m.xAxis);
        axis("yAxis", m.yAxis);
        w.field("columns", m.columns()).field("rows", m.rows());
        w.key("columnThresholds").beginArray(true);
        for (unsigned c = 0; c < m.columns(); ++c) w.value(m.columnThreshold(c));
        w.endArray();
        w.key("rowThresholds").beginArray(true);
        for (unsigned r = 0; r < m.rows(); ++r) w.value(m.rowThreshold(r));
        w.endArray();
        // Row after row, each row's cells by column.
        w.key("cells").beginArray();
        for (unsigned r = 0; r < m.rows(); ++r) {
            w.beginArray();
            for (unsigned c = 0; c < m.columns(); ++c) {
                const MV::MatrixCell& cell = m.cell(c, r);
                w.beginObject();
                ref("wave", bank_->waves, cell.wave.get());
                w.key("path");
                if (cell.wave->isNone())
                    w.null();
                else
                    w.value(cell.wave->file().path());
                w.field("loop", cell.loop).field("release", cell.release);
                w.endObject();
            }
            w.endArray();
        }
        w.endArray();
        w.endObject();
    }

    const MV::Bank* bank_;
    uint64_t samples_;
};

}  // namespace

std::optional<uint64_t> parseSampleCount(std::string_view text) {
    if (ZnLib::Text::iequals(text, "all")) return kAllSamples;
    uint64_t n = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), n);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return n;
}

std::string waveJson(const std::string& path, const ZnPlug::Wave& wave, uint64_t samples) {
    Report r(nullptr, samples);
    r.w.beginObject().field("kind", "wave").field("file", path).key("wave");
    r.wave(wave);
    r.w.endObject();
    return r.w.text();
}

std::string bankJson(const std::string& path, const MV::Bank& bank, uint64_t samples) {
    Report r(&bank, samples);
    r.w.beginObject().field("kind", "instrument").field("file", path).key("bank");
    r.bank(bank);
    r.w.endObject();
    return r.w.text();
}

std::string soundFontJson(const std::string& path, const MV::ImportBank& soundFont, const MV::Bank* bank,
                          uint64_t samples) {
    Report r(bank, samples);
    r.w.beginObject().field("kind", "soundfont").field("file", path).key("presets").beginArray();
    for (std::size_t i = 0; i < soundFont.programCount(); ++i) {
        const MV::ImportProgramInfo info = soundFont.programInfo(i);
        r.w.beginObject().field("bank", info.bank).field("program", info.program).field("name", info.name).endObject();
    }
    r.w.endArray();
    if (bank) {
        r.w.key("bank");
        r.bank(*bank);
    }
    r.w.endObject();
    return r.w.text();
}

std::string engineJson(MV::Morvek& engine, uint64_t samples) {
    Report r(&engine, samples);
    r.w.beginObject().field("kind", "engine").key("engine").beginObject();
    r.w.field("product", Version::ProductName)
        .field("version", std::to_string(Version::Major) + "." + std::to_string(Version::Minor) + "." +
                              std::to_string(Version::Patch));
    r.w.field("rate", engine.context().sample_rate).field("block", engine.context().block_size);
    r.w.field("outputs", engine.outputCount()).field("inputs", engine.inputCount());
    r.w.endObject().key("bank");
    r.bank(engine);
    r.w.endObject();
    return r.w.text();
}

}  // namespace Cli
