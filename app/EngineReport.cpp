#include "EngineReport.h"

#include "MorvekVersion.h"
#include "engine/Morvek.h"
#include "lib/Text.h"
#include "persist/EffectFactory.h"

namespace Cli {

using ZnLib::Text::format;

std::string engineReport(MV::Morvek& engine) {
    std::string out = format("%s %d.%d.%d engine: %.0f Hz, block %d, %d outputs, %d inputs\n", Version::ProductName,
                             Version::Major, Version::Minor, Version::Patch, engine.context().sample_rate,
                             engine.context().block_size, engine.outputCount(), engine.inputCount());
    out += "Outputs:";
    for (const MV::Output& o : engine.outputs) {
        out += o.channels > 1 ? format(" \"%s\" (pins %d-%d)", o.name.c_str(), o.pin + 1, o.pin + 2)
                              : format(" \"%s\" (pin %d)", o.name.c_str(), o.pin + 1);
    }
    out += "\n";
    out += bankReport(engine);
    return out;
}

std::string bankReport(const MV::Bank& bank) {
    std::string out;
    out += format("Performances: %zu\n", bank.performances.size());
    for (const auto& perf : bank.performances) {
        out += format("  \"%s\"%s, %zu slot(s)\n", perf->name().c_str(),
                      perf.get() == bank.currentPerformance ? " (current)" : "", perf->slots.size());
        for (const auto& slot : perf->slots) {
            const std::string channel =
                slot->channel == MV::ProgramSlot::kAllChannels ? "all" : std::to_string(slot->channel + 1);
            out += format("    slot \"%s\": channel %s, program \"%s\", output \"%s\", amp %.2f, pan %.2f\n",
                          slot->name.c_str(), channel.c_str(), slot->program->name().c_str(),
                          MV::kOutputNames[slot->output < MV::kOutputCount ? slot->output : 0], slot->amp,
                          slot->pan);
        }
        for (std::size_t bus = 0; bus < perf->fx.size(); ++bus) {
            const MV::FX::Effect* fx = perf->fx[bus].get();
            if (!fx) continue;
            out += format("    FX%zu: %s to \"%s\"%s%s:", bus + 1, fx->typeName(),
                          MV::kSendDestinationNames[fx->output < MV::kSendDestinationNames.size() ? fx->output : 0],
                          fx->bypass ? ", bypassed" : "", fx->mute ? ", muted" : "");
            for (const MV::StoredParam& p : MV::EffectFactory::current().params(*fx)) {
                out += format(" %s %s", p.name.c_str(), p.value.c_str());
                if (p.automation >= 0) out += format(" (Param %02d)", p.automation);
                out += ",";
            }
            out.back() = '\n';
        }
    }
    out += format("Programs: %zu\n", bank.programs.size());
    for (const auto& program : bank.programs)
        out += format("  \"%s\": %zu group(s)\n", program->name().c_str(), program->groups.size());
    out += format("Waves: %zu\nWave matrices: %zu\n", bank.waves.size(), bank.matrixes.size());
    return out;
}

}  // namespace Cli
