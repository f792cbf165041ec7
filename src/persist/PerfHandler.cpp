#include "persist/PerfHandler.h"

#include <algorithm>

#include "persist/EffectFactory.h"
#include "persist/MVLoad.h"
#include "persist/WireForm.h"

namespace MV {

using ZnLib::XML::Attributes;

void PerfHandler::element(int code, int parentCode, const Attributes& attributes) {
    const XmlAttributeReader r(attributes);
    switch (code) {
        case kPerformance: readPerformance(r); break;
        case kSlot: readSlot(r); break;
        case kAmp:
        case kPan:
        case kTranspose:
        case kDetune:
            if (parentCode == kSlot) readSlotValue(code, r);
            break;
        case kSend:
            if (parentCode == kSlot) readSend(r);
            break;
        case kLevel:
            if (parentCode == kSend) readLevel(r);
            break;
        case kFx: readFx(r); break;
        case kParam:
            if (parentCode == kFx) readParam(r);
            break;
        default: break;
    }
}

void PerfHandler::readPerformance(const XmlAttributeReader& r) {
    const std::string* name = r.text("name");
    performance_ = name ? ZnLib::makeRef<Performance>(*name) : ZnLib::makeRef<Performance>();
    load_.target().addPerformance(performance_);
}

void PerfHandler::readSlot(const XmlAttributeReader& r) {
    if (!performance_) return;
    const std::string* program = r.text("program");
    ZnLib::SharedRef<Program> p = load_.programReference(program ? *program : std::string());
    uint8_t channel = 0;
    r.readInt("channel", channel, 0, ProgramSlot::kAllChannels);
    slot_ = ZnLib::makeRef<ProgramSlot>(channel, p);
    if (const std::string* output = r.text("output")) {
        const int index = WireForm::parseOutput(*output);
        if (index < 0) XmlAttributeReader::illegal();
        // "(ch)" means nothing for a slot: it plays on the first output.
        slot_->output = uint8_t(index == kOutputFromChannel ? 0 : index);
    }
    r.readUnit("amp", slot_->amp);
    r.readSigned("pan", slot_->pan);
    r.readInt("transpose", slot_->transpose, -127, 127);
    r.readInt("detune", slot_->detune, -50, 50);
    r.readEnum("interpolation", kInterpolationNames, slot_->interpolation);
    r.readEnum("velocitycurve", kVelocityCurveNames, slot_->velocityCurve);
    if (const std::string* name = r.text("name")) slot_->name = *name;
    if (const std::string* poly = r.text("poly"))
        slot_->poly = *poly == "unlimited" ? 0 : std::max(WireForm::parseInt(*poly), 0);
    bool solo = false;
    if (r.readBool("solo", solo)) slot_->setSolo(solo);
    if (const std::string* mute = r.text("mute"))
        slot_->setMute(uint8_t(*mute == "true" ? 1 : std::clamp(WireForm::parseInt(*mute), 0, 3)));
    performance_->addSlot(slot_);
    send_ = 0;
}

void PerfHandler::readSlotValue(int code, const XmlAttributeReader& r) {
    if (!slot_) return;
    switch (code) {
        case kAmp:
            r.readUnit("value", slot_->amp);
            r.readAutomation("automation", slot_->ampAutomation);
            break;
        case kPan:
            r.readSigned("value", slot_->pan);
            r.readAutomation("automation", slot_->panAutomation);
            break;
        case kTranspose:
            r.readInt("value", slot_->transpose, -127, 127);
            r.readAutomation("automation", slot_->transposeAutomation);
            break;
        default:
            r.readInt("value", slot_->detune, -50, 50);
            r.readAutomation("automation", slot_->detuneAutomation);
            break;
    }
}

void PerfHandler::readSend(const XmlAttributeReader& r) {
    if (!slot_) return;
    // Only three sends exist; the rest are passed over, and so are their levels.
    if (send_++ >= slot_->sends.size()) return;
    SlotSend& send = slot_->sends[send_ - 1];
    r.readUnit("level", send.level);
    if (const std::string* dest = r.text("dest")) {
        const int index = WireForm::parseSendDestination(*dest);
        if (index < 0) XmlAttributeReader::illegal();
        send.dest = uint8_t(index);
    }
    r.readBool("pre-fader", send.preFader, false);
}

void PerfHandler::readLevel(const XmlAttributeReader& r) {
    if (!slot_ || send_ == 0 || send_ > slot_->sends.size()) return;
    SlotSend& send = slot_->sends[send_ - 1];
    r.readUnit("value", send.level);
    r.readAutomation("automation", send.levelAutomation);
}

void PerfHandler::readFx(const XmlAttributeReader& r) {
    effect_.reset();
    if (!performance_) return;
    if (const std::string* bus = r.text("bus")) {
        const int index = WireForm::parseSendDestination(*bus) - kRouteFirstBus;
        if (index < 0 || index >= int(Performance::kBuses)) XmlAttributeReader::illegal();
        bus_ = std::size_t(index);
    }
    int32_t type = 0;
    r.readEnum("type", kEffectTypeNames, type);
    const EffectFactory& factory = EffectFactory::current();
    effect_ = factory.createEffect(type);
    performance_->fx[bus_] = effect_;
    if (!effect_) return;
    r.readBool("bypass", effect_->bypass);
    r.readBool("mute", effect_->mute);
    if (const std::string* output = r.text("output")) {
        const int index = WireForm::parseSendDestination(*output);
        if (index < 0) XmlAttributeReader::illegal();
        effect_->output = uint8_t(index);
    }
    // Old documents held these two as attributes; they are parameters now.
    if (const std::string* level = r.text("level")) factory.setParam(*effect_, "level", *level);
    if (const std::string* wet = r.text("wet")) factory.setParam(*effect_, "wet", *wet);
}

void PerfHandler::readParam(const XmlAttributeReader& r) {
    if (!effect_) return;
    const std::string* name = r.text("name");
    if (!name) return;
    const EffectFactory& factory = EffectFactory::current();
    if (const std::string* value = r.text("value")) factory.setParam(*effect_, *name, *value);
    int32_t automation = -1;
    if (r.readAutomation("automation", automation)) factory.setAutomation(*effect_, *name, automation);
}

}  // namespace MV
