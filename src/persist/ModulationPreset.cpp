#include "persist/ModulationPreset.h"

#include <stdexcept>

#include "lib/Error.h"
#include "lib/IniFile.h"
#include "lib/Path.h"
#include "persist/WireFormModulation.h"
#include "plug/Unparsable.h"

namespace MV {

namespace {

constexpr const char* kSection = "Global";

std::string key(const char* word, std::size_t i) { return word + std::to_string(i); }

int sourceOf(const std::string& text) {
    const int source = WireFormModulation::parseSource(text);
    if (source < 0) throw std::runtime_error("Illegal value");
    return source;
}

float amountOf(uint8_t destination, const std::string& name, const std::string& text) {
    float amount = 0;
    if (!WireFormModulation::parseAmount(destination, text, amount)) throw ZnPlug::Unparsable(name, text);
    return amount;
}

}  // namespace

void ModulationPreset::load(const std::string& path) {
    try {
        const ZnLib::IniFile ini(path);
        if (!ZnLib::FS::isRegularFile(path)) throw std::runtime_error("No such file");
        std::array<ModulationEntry, kModulationSlots> read{};
        for (std::size_t i = 0; i < read.size(); ++i) {
            ModulationEntry& e = read[i];
            e.source = uint16_t(sourceOf(ini.read(kSection, key("Source", i), "--")));
            e.via = uint16_t(sourceOf(ini.read(kSection, key("Via", i), "--")));
            const int destination = WireFormModulation::parseDestination(ini.read(kSection, key("Dest", i), "--"));
            if (destination < 0) throw std::runtime_error("Illegal value");
            e.destination = uint8_t(destination);
            if (ini.contains(kSection, key("Scale", i)))
                e.amount = amountOf(e.destination, key("Scale", i), ini.read(kSection, key("Scale", i)));
            if (ini.contains(kSection, key("ScaleTo", i)))
                e.amountVia = amountOf(e.destination, key("ScaleTo", i), ini.read(kSection, key("ScaleTo", i)));
            e.frozen = ini.readBool(kSection, key("Frozen", i), false);
        }
        entries = read;
        setName(ZnLib::FS::stem(path));
        setFile(ZnLib::FS::File(path));
        clearModified();
    } catch (const std::exception&) {
        ZnLib::throwWrapped("Could not load " + path);
    }
}

void ModulationPreset::save(const std::string& path) {
    try {
        ZnLib::IniFile ini(path);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const ModulationEntry& e = entries[i];
            ini.write(kSection, key("Source", i), WireFormModulation::sourceName(e.source));
            ini.write(kSection, key("Via", i), WireFormModulation::sourceName(e.via));
            ini.write(kSection, key("Dest", i), WireFormModulation::destinationName(e.destination));
            ini.write(kSection, key("Scale", i), WireFormModulation::amountText(e.destination, e.amount));
            ini.write(kSection, key("ScaleTo", i), WireFormModulation::amountText(e.destination, e.amountVia));
            ini.writeBool(kSection, key("Frozen", i), e.frozen);
        }
        setFile(ZnLib::FS::File(path));
        clearModified();
    } catch (const std::exception&) {
        ZnLib::throwWrapped("Could not save " + path);
    }
}

}  // namespace MV
