#include "persist/BankHandler.h"

#include "persist/MVLoad.h"
#include "persist/WireFormModulation.h"

namespace MV {

using ZnLib::XML::Attributes;

namespace {
// Documents before this compat level knew 64 sources fewer in front of the automation ones.
constexpr uint32_t kSourcesInserted = 2101;
constexpr int kOldFirstParam = WireFormModulation::kFirstParam - 64;

std::string pathOf(const XmlAttributeReader& r) {
    const std::string* path = r.text("path");
    return path ? *path : std::string();
}
}  // namespace

void BankHandler::element(int code, int parentCode, const Attributes& attributes) {
    const XmlAttributeReader r(attributes);
    Bank& bank = load_.target();
    if (parentCode != kBank && code != kBank) return;
    switch (code) {
        case kBank: r.readEnum("interpolation", kInterpolationNames, bank.interpolation); break;
        case kXctrl:
            if (xctrl_ < bank.externalController.size()) {
                ExternalController& x = bank.externalController[xctrl_++];
                x = ExternalController{};
                r.read7bit("ctrl", x.ctrl);
                r.readInt("offset", x.offset);
            }
            break;
        case kMidi:
            r.readEnum("program-change-mode", kProgramChangeModeNames, bank.programChangeMode);
            r.readBool("use-bank-select", bank.useBankSelect, false);
            break;
        case kAutomation: readAutomation(r); break;
        case kOutput: readOutput(r); break;
        case kWave: load_.waveReference(pathOf(r), createdBy()); break;
        case kWavematrix: load_.matrixReference(pathOf(r)); break;
        case kProgram: load_.programReference(pathOf(r)); break;
        case kPerformance: {
            ZnLib::SharedRef<Performance> performance = load_.performanceReference(pathOf(r));
            bool active = false;
            if (r.readBool("active", active) && active) bank.currentPerformance = performance.get();
            break;
        }
        default: break;
    }
}

void BankHandler::readAutomation(const XmlAttributeReader& r) {
    uint16_t source = 0;
    if (!r.readSource("param", source)) return;
    const int slot = int(source) - (compat() < kSourcesInserted ? kOldFirstParam : WireFormModulation::kFirstParam);
    // A name that is no automation parameter, or one that an old numbering pushes past the 128
    // cells, has no slot to go to.
    if (slot < 0 || slot >= int(Bank::kAutomationParams)) return;
    float offset = 0;
    r.readUnit("offset", offset);
    load_.target().automationOffset[std::size_t(slot)] = offset;
}

void BankHandler::readOutput(const XmlAttributeReader& r) {
    int index = -1;
    if (const std::string* name = r.text("name")) {
        for (std::size_t i = 0; i < kOutputCount; ++i)
            if (*name == kOutputNames[i]) index = int(i);
    }
    if (index < 0) XmlAttributeReader::illegal();
    auto& outputs = load_.target().outputs;
    Output& output = outputs[std::size_t(index)];
    r.readBool("enabled", output.enabled);
    bool stereo = false;
    if ((output.channels < 2 || output.isMonoPin()) && r.readBool("stereo", stereo) && stereo) {
        // A mono pin tagged stereo pairs up with its partner: both become two channel outputs.
        for (int i : {index & ~1, index | 1})
            if (outputs[std::size_t(i)].isMonoPin()) outputs[std::size_t(i)].channels = 2;
    }
}

}  // namespace MV
