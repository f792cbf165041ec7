#include "plug/vst/VSTSpeakers.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

#include "lib/Text.h"
#include "plug/vst/HostGuard.h"

namespace ZnPlug {

using namespace Vst;

namespace {
constexpr std::size_t recordBytes(int32_t speakers) {
    return kSpeakerArrangementHeader + sizeof(VstSpeakerProperties) * std::size_t(std::max(speakers, 0));
}

std::string speakerName(const VstSpeakerProperties& s) { return std::string(s.name, strnlen(s.name, sizeof s.name)); }
}  // namespace

VSTSpeakers::Record::Record(int32_t pins)
    : words((std::max(recordBytes(pins), sizeof(VstSpeakerArrangement)) + 7) / 8, 0) {}

VSTSpeakers::VSTSpeakers(AudioPlugin& plugin)
    : plugin_(plugin), inputs_(plugin.inputCount()), outputs_(plugin.outputCount()) {}

int32_t VSTSpeakers::speakerType(int32_t shape, int32_t position) noexcept {
    // Positions of the surround layouts in the order of their arrangements (5.0, 5.1, the two
    // 7.0 and the two 7.1 forms).
    static constexpr int32_t k50[] = {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLs, kSpeakerRs};
    static constexpr int32_t k51[] = {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kSpeakerLs, kSpeakerRs};
    static constexpr int32_t k70Cine[] = {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLs, kSpeakerRs, kSpeakerLc, kSpeakerRc};
    static constexpr int32_t k71Cine[] = {kSpeakerL,  kSpeakerR,  kSpeakerC,  kSpeakerLfe,
                                          kSpeakerLs, kSpeakerRs, kSpeakerLc, kSpeakerRc};
    static constexpr int32_t k70Music[] = {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLs, kSpeakerRs, kSpeakerSl, kSpeakerSr};
    static constexpr int32_t k71Music[] = {kSpeakerL,  kSpeakerR,  kSpeakerC,  kSpeakerLfe,
                                           kSpeakerLs, kSpeakerRs, kSpeakerSl, kSpeakerSr};
    static constexpr int32_t kMono[] = {kSpeakerM};
    static constexpr int32_t kStereo[] = {kSpeakerL, kSpeakerR};
    auto pick = [position](const auto& table) noexcept {
        return position >= 0 && std::size_t(position) < std::size(table) ? table[position] : int32_t(kSpeakerUndefined);
    };
    switch (shape) {
    case 1: return pick(kMono);
    case 2: return pick(kStereo);
    case 5: return pick(k50);
    case 6: return pick(k51);
    case 7: return pick(k70Cine);
    case 8: return pick(k71Cine);
    case 263: return pick(k70Music);
    case 264: return pick(k71Music);
    default: return kSpeakerUndefined;
    }
}

bool VSTSpeakers::apply(const void* hostRecord) {
    int32_t header[2];
    if (!copyFromHost(header, hostRecord, sizeof header)) return false;
    const int32_t type = header[0];
    const int32_t n = header[1];
    if (n < 0 || n > plugin_.outputCount()) return false;
    // Hosts allocate only as many speakers as they describe, so read no further.
    Record copy(n);
    if (!copyFromHost(copy.words.data(), hostRecord, recordBytes(n))) return false;
    const VstSpeakerArrangement& arr = *copy.get();
    // The record runs on past its declared eight speakers.
    const VstSpeakerProperties* speakers = arr.speakers;

    std::lock_guard lock(plugin_.mainLock());
    const auto out = AudioPlugin::Direction::Output;
    for (int32_t i = 0; i < plugin_.outputCount(); ++i) plugin_.setPinActive(out, i, i < n);
    for (int32_t i = 0; i < n; ++i) plugin_.setPinName(out, i, speakerName(speakers[i]));

    std::vector<BusInfo> buses;
    int mono = 0, stereo = 0, surround = 0;
    auto add = [&](const char* name, int& number, int32_t start, int32_t shape) {
        BusInfo bus;
        bus.name = ZnLib::Text::format("%s %d", name, ++number);
        bus.start = start;
        bus.pins = BusInfo::widthOf(shape);
        bus.shape = shape;
        buses.push_back(std::move(bus));
    };
    const int32_t shape = BusInfo::shapeOfArrangement(type);
    int32_t i = 0;
    if (shape == 0) {
        while (i < n) {
            if (speakers[i].type == kSpeakerL && i + 1 < n && speakers[i + 1].type == kSpeakerR) {
                add("Stereo", stereo, i, 2);
                i += 2;
            } else {
                add("Mono", mono, i++, 1);
            }
        }
    } else {
        const int32_t width = BusInfo::widthOf(shape);
        const char* name = shape == 1 ? "Mono" : shape == 2 ? "Stereo" : "Surround";
        int& number = shape == 1 ? mono : shape == 2 ? stereo : surround;
        for (; i + width <= n; i += width) add(name, number, i, shape);
        // Channels too few for another bus of the layout are served one by one.
        for (; i < n; ++i) add("Mono", mono, i, 1);
    }
    if (!buses.empty()) plugin_.addBuses(out, buses);
    plugin_.reconfigure();
    return true;
}

void VSTSpeakers::fill(Record& record, AudioPlugin::Direction direction) {
    const std::vector<PinInfo>& pins = plugin_.pins(direction);
    std::fill(record.words.begin(), record.words.end(), 0);
    VstSpeakerArrangement& arr = *record.get();
    arr.numChannels = int32_t(pins.size());
    if (pins.empty()) arr.type = kSpeakerArrEmpty;
    else if (pins[0].bus && pins[0].bus->start == 0 && pins[0].bus->pins == int32_t(pins.size()))
        arr.type = BusInfo::arrangementOf(pins[0].bus->shape);
    else arr.type = kSpeakerArrUserDefined;
    VstSpeakerProperties* speakers = arr.speakers;
    for (std::size_t p = 0; p < pins.size(); ++p) {
        VstSpeakerProperties& s = speakers[p];
        const std::string& name = pins[p].name;
        std::memcpy(s.name, name.data(), std::min(name.size(), sizeof s.name - 1));
        const BusInfo* bus = pins[p].bus.get();
        s.type = bus ? speakerType(bus->shape, int32_t(p) - bus->start) : int32_t(kSpeakerUndefined);
    }
}

void VSTSpeakers::describe(VstSpeakerArrangement*& inputs, VstSpeakerArrangement*& outputs) {
    std::lock_guard lock(plugin_.mainLock());
    fill(inputs_, AudioPlugin::Direction::Input);
    fill(outputs_, AudioPlugin::Direction::Output);
    inputs = inputs_.get();
    outputs = outputs_.get();
}

}  // namespace ZnPlug
