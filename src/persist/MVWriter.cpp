#include "persist/MVWriter.h"

#include <algorithm>
#include <unordered_map>

#include "MorvekVersion.h"
#include "model/Bank.h"
#include "persist/DocumentReferences.h"
#include "persist/EffectFactory.h"
#include "persist/ProgWriter.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"
#include "persist/XmlOut.h"

namespace MV {

using ZnPlug::Wave;

namespace {

// The controllers that have a name of their own; the rest are "Controller N".
const std::unordered_map<int, const char*>& controllerNames() {
    static const std::unordered_map<int, const char*> names = {
        {0, "Bank Select"},
        {1, "Modulation"},
        {2, "Breath Controller"},
        {4, "Foot Controller"},
        {5, "Portamento Time"},
        {6, "Data Entry"},
        {7, "Channel Volume"},
        {8, "Balance"},
        {10, "Pan"},
        {11, "Expression"},
        {12, "Effect Control 1"},
        {13, "Effect Control 2"},
        {16, "General Purpose 1"},
        {17, "General Purpose 2"},
        {18, "General Purpose 3"},
        {19, "General Purpose 4"},
        {32, "Bank Select LSB"},
        {64, "Sustain"},
        {65, "Portamento"},
        {66, "Sostenuto"},
        {67, "Soft Pedal"},
        {68, "Legato Footswitch"},
        {69, "Hold 2"},
        {70, "Sound Variation"},
        {71, "Resonance"},
        {72, "Release Time"},
        {73, "Attack Time"},
        {74, "Cutoff"},
        {75, "Decay Time"},
        {76, "Vibrato Rate"},
        {77, "Vibrato Depth"},
        {78, "Vibrato Delay"},
        {84, "Portamento Control"},
        {91, "Reverb Depth"},
        {92, "Tremolo Depth"},
        {93, "Chorus Depth"},
        {94, "Celeste Depth"},
        {95, "Phaser Depth"},
        {96, "Data Increment"},
        {97, "Data Decrement"},
        {98, "NRPN LSB"},
        {99, "NRPN MSB"},
        {100, "RPN LSB"},
        {101, "RPN MSB"},
        {120, "All Sound Off"},
        {121, "Reset All Controllers"},
        {122, "Local Control"},
        {123, "All Notes Off"},
        {124, "Omni Off"},
        {125, "Omni On"},
        {126, "Mono On"},
        {127, "Poly On"},
    };
    return names;
}

constexpr int kMaxAutomationElements = 48;

}  // namespace

uint32_t MVWriter::createdBy() {
    const uint32_t version = uint32_t(Version::Major * 1000 + Version::Minor * 100 + Version::Patch * 10 + Version::Build);
    return std::max(version, kCompat);
}

std::string MVWriter::controllerName(int controller) {
    auto it = controllerNames().find(controller);
    return it != controllerNames().end() ? it->second : "Controller " + std::to_string(controller);
}

std::string MVWriter::bank(const Bank& bank) {
    XmlOut out;
    out.head("bank", createdBy());
    out.endHead();
    for (const ExternalController& x : bank.externalController) {
        out.line(1, "<!-- " + controllerName(x.ctrl) + "-->");
        out.open(1, "<mv:xctrl").attr("ctrl", x.ctrl).attr("offset", x.offset).close("/>");
    }
    out.open(1, "<mv:midi").attr("program-change-mode", nameOf(kProgramChangeModeNames, std::size_t(bank.programChangeMode)));
    out.attr("use-bank-select", bank.useBankSelect ? "1" : "0").close("/>");
    int automations = 0;
    for (std::size_t i = 0; i < bank.automationOffset.size() && automations < kMaxAutomationElements; ++i) {
        if (bank.automationOffset[i] == 0) continue;
        ++automations;
        out.open(1, "<mv:automation").attr("param", WireFormModulation::sourceName(uint16_t(kSourceFirstParam + i)));
        out.attrFloat("offset", bank.automationOffset[i]).close("/>");
    }
    for (const Output& o : bank.outputs) {
        out.open(1, "<mv:output").attr("name", nameOf(kOutputNames, o.id)).attr("enabled", o.enabled ? "1" : "0");
        if (o.pin >= 8 && o.channels == 2) out.attr("stereo", "true");
        out.close("/>");
    }
    // Copies of the lists: saving an item may not change them, but the engine's bank is shared.
    const auto waves = bank.waves;
    for (const auto& wave : waves) out.open(1, "<mv:wave").attr("path", refs_.wave(*wave)).close("/>");
    const auto matrixes = bank.matrixes;
    for (const auto& matrix : matrixes) out.open(1, "<mv:wavematrix").attr("path", refs_.matrix(*matrix)).close("/>");
    const auto programs = bank.programs;
    for (const auto& program : programs) out.open(1, "<mv:program").attr("path", refs_.program(*program)).close("/>");
    const auto performances = bank.performances;
    for (const auto& performance : performances) {
        out.open(1, "<mv:performance").attr("path", refs_.performance(*performance));
        if (performance.get() == bank.currentPerformance) out.attr("active", "true");
        out.close("/>");
    }
    out.line(0, "</mv:bank>");
    return out.text();
}

std::string MVWriter::program(const Program& program) {
    XmlOut out;
    out.head("program", createdBy());
    ProgWriter(out, refs_).write(program);
    return out.text();
}

std::string MVWriter::performance(const Performance& performance) {
    XmlOut out;
    out.head("performance", createdBy());
    out.headAttribute("name", performance.name());
    out.endHead();
    for (const auto& slotRef : performance.slots) {
        const ProgramSlot& slot = *slotRef;
        // The program first: its save may rename it, and the slot names what was saved.
        const std::string program = refs_.program(*slot.program);
        out.open(1, "<mv:slot").attr("name", slot.name).attr("channel", slot.channel).attr("program", program);
        out.attr("output", nameOf(kOutputNames, std::min<uint8_t>(slot.output, kOutputCount - 1)));
        if (slot.mute()) out.attr("mute", slot.mute());
        if (slot.solo()) out.attr("solo", "1");
        if (slot.poly != 0) out.attr("poly", slot.poly);
        if (slot.interpolation != kInterpolationDefault)
            out.attr("interpolation", nameOf(kInterpolationNames, slot.interpolation));
        if (slot.velocityCurve != 0) out.attr("velocitycurve", nameOf(kVelocityCurveNames, slot.velocityCurve));
        out.close(">");
        const auto value = [&out](const char* element, const std::string& text, int32_t automation) {
            out.open(2, element).attr("value", text);
            if (automation >= 0) out.attr("automation", ProgWriter::automationText(automation));
            out.close("/>");
        };
        value("<mv:amp", WireForm::floatText(slot.amp), slot.ampAutomation);
        value("<mv:pan", WireForm::floatText(slot.pan), slot.panAutomation);
        if (slot.transpose != 0 || slot.transposeAutomation >= 0)
            value("<mv:transpose", std::to_string(slot.transpose), slot.transposeAutomation);
        if (slot.detune != 0 || slot.detuneAutomation >= 0)
            value("<mv:detune", std::to_string(slot.detune), slot.detuneAutomation);
        for (const SlotSend& send : slot.sends) {
            out.open(2, "<mv:send");
            if (send.dest != kRouteNone) out.attr("dest", nameOf(kSendDestinationNames, send.dest));
            if (send.preFader) out.attr("pre-fader", "true");
            if (send.level > 0 || send.levelAutomation >= 0) {
                out.close(">");
                value("\t<mv:level", WireForm::floatText(send.level), send.levelAutomation);
                out.line(2, "</mv:send>");
            } else {
                out.close("/>");
            }
        }
        out.line(1, "</mv:slot>");
    }
    for (std::size_t bus = 0; bus < performance.fx.size(); ++bus) {
        const auto& fx = performance.fx[bus];
        if (!fx || fx->type <= 0) continue;
        out.open(1, "<mv:fx").attr("bus", "FX" + std::to_string(bus + 1));
        out.attr("type", nameOf(kEffectTypeNames, std::size_t(fx->type)));
        out.attr("output", nameOf(kSendDestinationNames, fx->output));
        if (fx->bypass) out.attr("bypass", "true");
        if (fx->mute) out.attr("mute", "true");
        out.close(">");
        ProgWriter::writeParams(out, 2, EffectFactory::current().params(*fx));
        out.line(1, "</mv:fx>");
    }
    out.line(0, "</mv:performance>");
    return out.text();
}

std::string MVWriter::matrix(const WaveMatrix& matrix) {
    XmlOut out;
    out.head("wavematrix", createdBy());
    out.headAttribute("name", matrix.name());
    out.endHead();
    std::unordered_map<const Wave*, int> ids;
    for (const auto& cell : matrix.cells()) {
        Wave* wave = cell.wave.get();
        if (wave->isNone() || ids.count(wave)) continue;
        const int id = int(ids.size());
        ids[wave] = id;
        out.open(1, "<mv:wave").attr("id", id).attr("path", refs_.wave(*wave)).close("/>");
    }
    const std::pair<const char*, const WaveMatrix::Axis*> axes[] = {{"<mv:xaxis", &matrix.xAxis},
                                                                    {"<mv:yaxis", &matrix.yAxis}};
    for (const auto& [element, axis] : axes) {
        out.open(1, element).attr("source", WireFormModulation::sourceName(axis->source));
        if (axis->invert) out.attr("invert", "true");
        if (axis->roundRobinSource != kRoundRobinDefault)
            out.attr("round-robin-source", nameOf(kRoundRobinSourceNames, std::size_t(axis->roundRobinSource)));
        out.close("/>");
    }
    for (unsigned c = 1; c < matrix.columns(); ++c)
        out.open(1, "<mv:column").attr("value", matrix.columnThreshold(c)).close("/>");
    for (unsigned r = 0; r < matrix.rows(); ++r) {
        out.open(1, "<mv:row").attr("value", matrix.rowThreshold(r)).close(">");
        for (unsigned c = 0; c < matrix.columns(); ++c) {
            const WaveMatrix::Cell& cell = matrix.cell(c, r);
            const bool none = cell.wave->isNone();
            out.open(2, "<mv:cell").attr("wave", WireForm::waveRefText(none ? -1 : ids.at(cell.wave.get())));
            out.attr("loop", cell.loop).attr("release", cell.release).close("/>");
        }
        out.line(1, "</mv:row>");
    }
    out.line(0, "</mv:wavematrix>");
    return out.text();
}

std::vector<uint8_t> MVWriter::chunkText(const Bank& bank) {
    ChunkReferences refs(bank);
    return XmlOut::utf16(MVWriter(refs).bank(bank));
}

std::vector<uint8_t> MVWriter::chunkText(const Program& program, const Bank& bank) {
    ChunkReferences refs(bank);
    return XmlOut::utf16(MVWriter(refs).program(program));
}

std::vector<uint8_t> MVWriter::chunkText(const Performance& performance, const Bank& bank) {
    ChunkReferences refs(bank);
    return XmlOut::utf16(MVWriter(refs).performance(performance));
}

std::vector<uint8_t> MVWriter::chunkText(const WaveMatrix& matrix, const Bank& bank) {
    ChunkReferences refs(bank);
    return XmlOut::utf16(MVWriter(refs).matrix(matrix));
}

}  // namespace MV
