#include "persist/ProgWriter.h"

#include <algorithm>

#include "lib/Text.h"
#include "model/WaveMatrix.h"
#include "persist/DocumentReferences.h"
#include "persist/EffectFactory.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"
#include "persist/XmlOut.h"
#include "plug/Wave.h"

namespace MV {

using ZnPlug::Wave;

namespace {

std::string time(float value) { return WireForm::timeText(value); }
std::string note(int key) { return WireForm::noteText(key); }
std::string flag(bool value) { return value ? "1" : "0"; }

}  // namespace

std::string ProgWriter::automationText(int index) { return ZnLib::Text::format("Param %02d", index); }

void ProgWriter::writeParams(XmlOut& out, int tabs, const std::vector<StoredParam>& params) {
    for (const StoredParam& p : params) {
        out.open(tabs, "<mv:param").attr("name", p.name).attr("value", p.value);
        if (p.automation >= 0) out.attr("automation", automationText(p.automation));
        out.close("/>");
    }
}

void ProgWriter::collect(const Program& program) {
    const auto use = [this](auto* item, auto& list) {
        if (item->isNone() || ids_.count(item)) return;
        ids_[item] = int(list.size());
        list.push_back(item);
    };
    for (const auto& group : program.groups)
        for (const Split& split : group->splits) {
            if (!split.isMatrix()) {
                use(split.wave(), waves_);
                continue;
            }
            WaveMatrix* matrix = split.matrix();
            // The matrix's waves are declared too: their loops and roots live here, not there.
            for (const auto& cell : matrix->cells()) use(cell.wave.get(), waves_);
            use(matrix, matrixes_);
        }
}

void ProgWriter::write(const Program& program) {
    if (program.interpolation != kInterpolationDefault)
        out_.headAttribute("interpolation", nameOf(kInterpolationNames, program.interpolation));
    out_.headAttribute("name", program.name());
    if (program.icon) {
        Icon& icon = *program.icon;
        out_.headAttribute("icon", icon.builtIn ? icon.name() : refs_.icon(icon));
    }
    out_.endHead();

    collect(program);
    for (std::size_t i = 0; i < waves_.size(); ++i) writeWave(*waves_[i], int(i));
    for (std::size_t i = 0; i < matrixes_.size(); ++i)
        out_.open(1, "<mv:wavematrix").attr("id", int(i)).attr("path", refs_.matrix(*matrixes_[i])).close("/>");
    writeRange(1, "range", program.range);
    for (const auto& group : program.groups) writeGroup(*group);
    out_.line(0, "</mv:program>");
}

void ProgWriter::writeWave(Wave& wave, int id) {
    // The path first: saving the wave may move it, and what follows describes the saved one.
    const std::string path = refs_.wave(wave);
    out_.open(1, "<mv:wave").attr("id", id).attr("path", path);
    if (wave.start != 0) out_.attr("start", int(wave.start));
    if (wave.end != wave.frames()) out_.attr("end", int(wave.end));
    out_.attr("root", WireForm::rootText(wave.root)).attr("fine", wave.fine);
    if (wave.tempo != 0) out_.attrFloat("tempo", wave.tempo);
    out_.close(">");
    for (const ZnPlug::Loop& loop : wave.loops) {
        // Two blanks before the end, as the files have always had them.
        out_.open(2, "<mv:loop").attr("name", loop.nameText()).attr("start", int(loop.start)).raw(" ");
        out_.attr("end", int(loop.end)).attr("mode", nameOf(ZnPlug::kLoopModeNames, std::size_t(loop.mode)));
        out_.close("/>");
    }
    out_.line(1, "</mv:wave>");
}

void ProgWriter::writeRange(int tabs, const char* element, const KeyRange& r) {
    out_.open(tabs, std::string("<mv:") + element);
    out_.attr("lowkey", note(r.lowKey)).attr("highkey", note(r.highKey));
    out_.attr("lowvel", r.lowVel).attr("highvel", r.highVel).close("/>");
}

void ProgWriter::writeGroupAttributes(const Group& g) {
    // One attribute a line; the velocity curve joins the last of them.
    std::vector<std::string> lines;
    const auto add = [&lines](std::string_view name, const std::string& value) {
        lines.push_back("mv:" + std::string(name) + "=\"" + XmlOut::escape(value) + "\"");
    };
    if (g.mute()) add("mute", std::to_string(g.mute()));
    if (g.solo()) add("solo", "1");
    add("coarse", std::to_string(g.coarse));
    add("fine", std::to_string(g.fine));
    add("tuning", nameOf(kTuningNames, std::size_t(g.tuning)));
    add("glide", time(g.glide));
    add("velocity", WireForm::floatText(g.velocity));
    add("velocityOffset", std::to_string(g.velocityOffset));
    add("pan", WireForm::floatText(g.pan));
    add("amp", WireForm::floatText(g.amp));
    add("playmode", nameOf(kPlayModeNames, std::size_t(g.playmode)));
    add("polymode", nameOf(kPolyModeNames, std::size_t(g.polymode)));
    add("noteprio", nameOf(kNotePriorityNames, g.noteprio));
    add("output", nameOf(kOutputNames, g.output));
    add("start", time(g.start));
    add("chokeGroup", std::to_string(g.chokeGroup));
    if (g.delay != 0) add("delay", time(g.delay));
    if (g.interpolation != kInterpolationDefault)
        add("interpolation", nameOf(kInterpolationNames, std::size_t(g.interpolation)));
    if (g.velocityCurve != 0)
        lines.back() += " mv:velocitycurve=\"" + std::string(nameOf(kVelocityCurveNames, g.velocityCurve)) + "\"";
    for (const std::string& line : lines) out_.line(2, line);
    out_.line(2, ">");
}

void ProgWriter::writeGroup(const Group& g) {
    out_.open(1, "<mv:group").attr("name", g.name).close("");
    writeGroupAttributes(g);
    writeRange(2, "range", g.range);
    if (g.fade != g.range) writeRange(2, "fade", g.fade);
    const AEG& a = g.aeg;
    out_.open(2, "<mv:aeg").attr("attack", time(a.attack)).attr("decay1", time(a.decay1));
    out_.attrFloat("level1", a.level1).attr("decay2", time(a.decay2)).attrFloat("sustain", a.sustain);
    out_.attr("release", time(a.release)).close("/>");
    for (int i = 1; i <= 2; ++i) {
        const Env& e = i == 1 ? g.env1 : g.env2;
        out_.open(2, i == 1 ? "<mv:env1" : "<mv:env2").attrFloat("level0", e.level0).attr("time1", time(e.time1));
        out_.attrFloat("level1", e.level1).attr("time2", time(e.time2)).attrFloat("level2", e.level2);
        out_.attr("time3", time(e.time3)).attrFloat("level3", e.level3).attrFloat("amp", e.amp).close("/>");
    }
    writeModulators(g);
    const Filter& f = g.filter;
    out_.open(2, "<mv:filter").attr("type", nameOf(kFilterTypeNames, f.type));
    out_.attr("freq", WireForm::filterFrequencyText(f.freq)).attrFloat("res", f.res).attrFloat("drive", f.drive);
    out_.attr("slope", nameOf(kFilterSlopeNames, f.slope)).close("/>");
    if (g.insert) {
        out_.open(2, "<mv:insert").attr("type", nameOf(kInsertTypeNames, std::size_t(g.insert->type))).close(">");
        writeParams(out_, 3, EffectFactory::current().params(*g.insert));
        out_.line(2, "</mv:insert>");
    }
    writeSends(g);
    writeModulation(g);
    for (const Split& split : g.splits) writeSplit(split);
    if (g.switcher) writeSwitcher(*g.switcher);
    out_.line(1, "</mv:group>");
}

void ProgWriter::writeModulators(const Group& g) {
    const LFO* lfos[] = {&g.lfo1, &g.lfo2};
    for (int i = 0; i < 2; ++i) {
        const LFO& l = *lfos[i];
        out_.open(2, i == 0 ? "<mv:lfo1" : "<mv:lfo2").attr("rate", WireForm::rateText(l.rate, l.mode));
        out_.attr("type", nameOf(kLfoTypeNames, l.type)).attr("sync", nameOf(kLfoSyncNames, l.sync));
        out_.attr("mode", nameOf(kLfoModeNames, l.mode)).attr("fadein", time(l.fadein));
        out_.attrFloat("pos", l.pos).attrFloat("amp", l.amp).close("/>");
    }
    const Seq* seqs[] = {&g.seq1, &g.seq2, &g.seq3};
    for (int i = 0; i < 3; ++i) {
        const Seq& s = *seqs[i];
        out_.open(2, "<mv:seq" + std::to_string(i + 1)).attr("rate", WireForm::rateText(s.rate, s.mode));
        out_.attr("sync", nameOf(kLfoSyncNames, s.sync)).attr("mode", nameOf(kLfoModeNames, s.mode));
        out_.attr("fadein", time(s.fadein)).attrFloat("pos", s.pos).attrFloat("amp", s.amp);
        out_.attr("length", int(s.values.size())).attr("smooth", flag(s.smooth)).attr("stepsync", flag(s.stepsync));
        out_.attr("values", WireForm::sequenceText(s.values)).close("/>");
    }
}

void ProgWriter::writeSends(const Group& g) {
    // Readers fill the sends in order, so only empty ones at the end may be left out.
    std::size_t count = g.sends.size();
    while (count > 0 && g.sends[count - 1] == Send{}) --count;
    for (std::size_t i = 0; i < count; ++i) {
        const Send& s = g.sends[i];
        out_.open(2, "<mv:send");
        if (s.dest != kRouteNone) out_.attr("dest", nameOf(kSendDestinationNames, s.dest));
        if (s.level != 0) out_.attrFloat("level", s.level);
        if (s.preFader) out_.attr("pre-fader", "1");
        out_.close("/>");
    }
}

void ProgWriter::writeModulation(const Group& g) {
    // Entries keep their rows: unused ones are written while a used one follows them.
    std::size_t count = g.modulation.size();
    while (count > 0 && g.modulation[count - 1].isUnused() && g.modulation[count - 1].enabled) --count;
    out_.line(2, "<mv:modulation>");
    for (std::size_t i = 0; i < count; ++i) {
        const ModulationEntry& e = g.modulation[i];
        out_.open(3, "<mv:entry").attr("source", WireFormModulation::sourceName(e.source));
        out_.attr("destination", WireFormModulation::destinationName(e.destination));
        out_.attr("amount", WireFormModulation::amountText(e.destination, e.amount));
        if (e.via != 0) {
            out_.attr("via", WireFormModulation::sourceName(e.via));
            out_.attr("amount_via", WireFormModulation::amountText(e.destination, e.amountVia));
        }
        if (!e.enabled) out_.attr("enabled", "0");
        out_.attr("frozen", flag(e.frozen)).close("/>");
    }
    out_.line(2, "</mv:modulation>");
}

void ProgWriter::writeSplit(const Split& s) {
    out_.open(2, "<mv:split");
    if (!s.isMatrix() && !s.wave()->isNone()) out_.attr("wave", ids_.at(s.wave()));
    if (s.isMatrix() && !s.matrix()->isNone()) out_.attr("matrix", ids_.at(s.matrix()));
    if (s.hasOverride()) out_.attr("root", WireForm::rootText(s.rootOverride)).attr("fine", s.fineOverride);
    out_.attr("key", note(s.key)).attr("loop", s.loop).attr("release", s.release).close("/>");
}

void ProgWriter::writeSwitcher(const Switcher& s) {
    const Switcher d;
    out_.open(2, "<mv:switcher");
    if (s.source != d.source) out_.attr("source", WireFormModulation::sourceName(s.source));
    if (s.rangeLow != d.rangeLow) out_.attr("range-lo", s.rangeLow);
    if (s.rangeHigh != d.rangeHigh) out_.attr("range-hi", s.rangeHigh);
    if (s.randLow != d.randLow) out_.attrFloat("rand-lo", s.randLow);
    if (s.randHigh != d.randHigh) out_.attrFloat("rand-hi", s.randHigh);
    if (s.bpmLow != d.bpmLow) out_.attrFloat("bpm-lo", s.bpmLow);
    if (s.bpmHigh != d.bpmHigh) out_.attrFloat("bpm-hi", s.bpmHigh);
    if (s.seqLength != d.seqLength) out_.attr("seq-length", s.seqLength);
    if (s.seqPos != d.seqPos) out_.attr("seq-pos", s.seqPos);
    // Key-last comes before key-up here, as it always has in the files.
    const std::pair<const char*, int8_t> keys[] = {{"key-lo", s.keyLow},     {"key-hi", s.keyHigh},
                                                   {"key-last", s.keyLast},  {"key-prev", s.keyPrev},
                                                   {"key-up", s.keyUp},      {"key-down", s.keyDown}};
    for (const auto& [name, key] : keys)
        if (key >= 0) out_.attr(name, note(key));
    if (s.roundRobinSource != d.roundRobinSource)
        out_.attr("round-robin-source", nameOf(kRoundRobinSourceNames, std::size_t(s.roundRobinSource)));
    if (!s.enabled) out_.attr("enabled", "false");
    out_.close("/>");
}

}  // namespace MV
