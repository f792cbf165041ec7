#include "import/ExsLoader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "import/UnicodeText.h"
#include "import/WaveFinder.h"
#include "lib/ByteReader.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "model/ModulationTables.h"
#include "persist/FindMissing.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

namespace fs = ZnLib::FS;
using ZnLib::ByteReader;
using ZnLib::SharedRef;
using ZnPlug::Loop;
using ZnPlug::LoopMode;
using ZnPlug::Wave;

namespace {

constexpr std::size_t kHeadSize = 0x54;
constexpr uint32_t kMagic = 0x534F4254;         // "TBOS" as a little-endian file holds it
constexpr uint32_t kMagicFlagged = 0x534F424A;  // "JBOS"
constexpr uint8_t kFlagged = 0x80;

enum RecordType : uint8_t { kZoneRecord = 1, kGroupRecord = 2, kSampleRecord = 3, kParameterRecord = 4 };
// What each type needs from the record's start; other types need their head alone.
constexpr std::array<std::size_t, 5> kNeeds = {kHeadSize, 0xB4, 0x9C, 0x1A4, 0xC0};

constexpr std::size_t kNameAt = 20;
constexpr std::size_t kNameSize = 64;
constexpr std::size_t kSamplePathAt = 0xA4;
constexpr std::size_t kSamplePathSize = 256;
constexpr std::size_t kSampleFileAt = 0x1A4;  // only in records long enough to hold it
constexpr std::size_t kSampleFileSize = 256;

constexpr uint32_t kParameterCount = 100;
constexpr std::size_t kParameterCountAt = 84;
constexpr std::size_t kParameterIdsAt = 88;
constexpr std::size_t kParameterValuesAt = 192;

// One record, from its head on, read in the byte order that its first byte names.
class Record {
public:
    Record(ByteReader bytes, bool little) : bytes_(bytes), little_(little) {}

    std::size_t size() const noexcept { return bytes_.size(); }
    uint8_t u8(std::size_t at) const { return bytes_.view(at, 1).u8(); }
    int8_t i8(std::size_t at) const { return int8_t(u8(at)); }
    int16_t i16(std::size_t at) const {
        ByteReader r = bytes_.view(at, 2);
        return little_ ? r.i16le() : r.i16be();
    }
    uint32_t u32(std::size_t at) const {
        ByteReader r = bytes_.view(at, 4);
        return little_ ? r.u32le() : r.u32be();
    }
    int32_t i32(std::size_t at) const { return int32_t(u32(at)); }
    // Zero-ended text of at most `n` bytes, as UTF-8.
    std::string text(std::size_t at, std::size_t n) const {
        ByteReader r = bytes_.view(at, n);
        const std::string raw = r.text(n);
        return UnicodeText::decode(std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(raw.data()), raw.size()));
    }
    std::string name() const { return text(kNameAt, kNameSize); }

private:
    ByteReader bytes_;
    bool little_;
};

struct Records {
    std::vector<Record> zones;
    std::vector<Record> groups;
    std::vector<Record> samples;
    std::vector<Record> parameters;
};

[[noreturn]] void invalidChunk() { throw std::runtime_error("Invalid chunk"); }

Records walk(ByteReader file) {
    Records out;
    std::size_t at = 0;
    while (file.size() - at >= kHeadSize) {
        const ByteReader head = file.view(at, kHeadSize);
        const bool little = head.data()[0] == 1;
        if (head.data()[1] != 1) invalidChunk();
        const uint8_t type = head.data()[3] & 0x0F;
        const uint8_t flag = head.data()[3] & 0xF0;
        const Record probe(head, little);
        if (probe.u32(16) != (flag == kFlagged ? kMagicFlagged : kMagic)) invalidChunk();
        // Flag bits that stand in the size field are no part of the size.
        const std::size_t body = probe.u32(4) & ~(uint32_t(flag) << 8);
        const Record record(file.view(at, kHeadSize + body), little);
        if (type < kNeeds.size() && record.size() < kNeeds[type]) throw ZnLib::OutOfBounds();
        switch (type) {
        case kZoneRecord: out.zones.push_back(record); break;
        case kGroupRecord: out.groups.push_back(record); break;
        case kSampleRecord: out.samples.push_back(record); break;
        case kParameterRecord: out.parameters.push_back(record); break;
        default: break;
        }
        at += kHeadSize + body;
    }
    return out;
}

// The parameter record's values, as the format's public descriptions give them. Identifiers
// (one byte each in the record's table):
//   3 pitch bend up, semitones          7 master volume, dB
//   14 coarse tune, semitones           15 fine tune, cents          45 transpose, semitones
//   44 filter on/off                    243 filter type: 0 LP 24 dB, 1 LP 18 dB, 2 LP 12 dB,
//                                            3 LP 6 dB, 4 HP 12 dB, 5 BP 12 dB
//   30 cutoff, 0..1000                  29 resonance, 0..1000
//   76 amplitude attack (at high velocity), 56 hold, 78 decay, 79 sustain, 80 release
//   82 filter envelope attack (at high velocity), 88 hold, 84 decay, 81 sustain, 85 release
// Times are 0..127 on a fourth-power curve up to 10 s, levels 0..127 of full scale.
enum ParameterId : uint8_t {
    kBendUp = 3,
    kVolume = 7,
    kCoarseTune = 14,
    kFineTune = 15,
    kResonance = 29,
    kCutoff = 30,
    kFilterOn = 44,
    kTranspose = 45,
    kAmpHold = 56,
    kAmpAttack = 76,
    kAmpDecay = 78,
    kAmpSustain = 79,
    kAmpRelease = 80,
    kFilterSustain = 81,
    kFilterAttack = 82,
    kFilterDecay = 84,
    kFilterRelease = 85,
    kFilterHold = 88,
    kFilterType = 243,
};

float envelopeTime(int raw) { return float(ZnPlug::TimeLaw::fromMs(std::pow(raw / 127.0, 4.0) * 10000.0)); }
float level(int raw) { return float(std::clamp(raw / 127.0, 0.0, 1.0)); }
float thousandths(int raw) { return float(std::clamp(raw * 0.001, 0.0, 1.0)); }
int8_t clampedKey(int key) { return int8_t(std::clamp(key, 0, 127)); }

void setFilterType(Filter& filter, int raw) {
    static constexpr std::array<std::pair<uint8_t, uint8_t>, 6> types = {{{kFilterLowPass, kSlope24dB},
                                                                           {kFilterLowPass, kSlope24dB},
                                                                           {kFilterLowPass, kSlope12dB},
                                                                           {kFilterLowPass, kSlope6dB},
                                                                           {kFilterHighPass, kSlope12dB},
                                                                           {kFilterBandPass, kSlope12dB}}};
    const auto& [type, slope] = types[std::size_t(std::clamp(raw, 0, int(types.size()) - 1))];
    filter.type = type;
    filter.slope = slope;
}

// The group every zone starts from: "New Group" with the parameter record's values.
Group parameterTemplate(const Record* record) {
    Group g;
    if (!record) return g;
    if (record->u32(kParameterCountAt) != kParameterCount) throw std::runtime_error("Unexpected parameter count");
    bool filterOn = false;
    int filterType = 0;
    for (std::size_t i = 0; i < kParameterCount; ++i) {
        const uint8_t id = record->u8(kParameterIdsAt + i);
        const int v = record->i16(kParameterValuesAt + 2 * i);
        switch (id) {
        case kBendUp:
            if (v != 0) {
                ModulationEntry& e = g.addModulation(kSourcePitchbend);
                e.destination = kDestPitch;
                e.amount = float(v * 100);
            }
            break;
        case kVolume: g.amp = float(std::pow(10.0, v / 20.0)); break;
        case kCoarseTune:
        case kTranspose: g.coarse = int8_t(std::clamp(g.coarse + v, -127, 127)); break;
        case kFineTune: g.fine = int8_t(std::clamp(g.fine + v, -127, 127)); break;
        case kResonance: g.filter.res = thousandths(v); break;
        case kCutoff: g.filter.freq = thousandths(v); break;
        case kFilterOn: filterOn = v != 0; break;
        case kFilterType: filterType = v; break;
        case kAmpAttack: g.aeg.attack = envelopeTime(v); break;
        case kAmpHold: g.aeg.decay1 = envelopeTime(v); break;
        case kAmpDecay: g.aeg.decay2 = envelopeTime(v); break;
        case kAmpSustain: g.aeg.sustain = level(v); break;
        case kAmpRelease: g.aeg.release = envelopeTime(v); break;
        case kFilterAttack:
            g.env2.time1 = envelopeTime(v);
            g.env2.level1 = 1;
            break;
        case kFilterHold: break;
        case kFilterDecay: g.env2.time2 = envelopeTime(v); break;
        case kFilterSustain: g.env2.level2 = level(v); break;
        case kFilterRelease: g.env2.time3 = envelopeTime(v); break;
        default: break;
        }
    }
    if (filterOn) setFilterType(g.filter, filterType);
    return g;
}

// Zone fields, from the record's start (the public layout of the format).
namespace zone {
constexpr std::size_t kFlags = 84;  // 1 one shot, 2 no pitch tracking, 8 velocity range on
constexpr std::size_t kRoot = 85;
constexpr std::size_t kFine = 86;  // cents
constexpr std::size_t kPan = 87;   // -64..63
constexpr std::size_t kVolume = 88;  // dB
constexpr std::size_t kLowKey = 90;
constexpr std::size_t kHighKey = 91;
constexpr std::size_t kLowVelocity = 93;
constexpr std::size_t kHighVelocity = 94;
constexpr std::size_t kSampleStart = 96;
constexpr std::size_t kLoopStart = 104;
constexpr std::size_t kLoopEnd = 108;
constexpr std::size_t kLoopOptions = 117;  // 1 loop on, 4 play to the end on release
constexpr std::size_t kLoopDirection = 118;  // 0 forward, 1 backward, 2 alternating
constexpr std::size_t kCoarse = 164;  // semitones
constexpr std::size_t kGroup = 172;   // index into the group records, -1 none
constexpr std::size_t kSample = 176;  // index into the sample records
constexpr uint8_t kOneShot = 1, kFixedPitch = 2, kVelocityRange = 8;
constexpr uint8_t kLoopOn = 1, kPlayToEnd = 4;
}  // namespace zone

// Group fields: level in dB, pan, exclusive class, and (in longer records) release trigger.
namespace group {
constexpr std::size_t kVolume = 84;
constexpr std::size_t kPan = 85;
constexpr std::size_t kExclusive = 88;
constexpr std::size_t kReleaseTrigger = 157;
}  // namespace group

// The index of `wanted` among the wave's loops, appended when it has none like it.
int32_t loopIndex(Wave& wave, const Loop& wanted) {
    for (std::size_t i = 0; i < wave.loops.size(); ++i) {
        const Loop& l = wave.loops[i];
        if (l.start == wanted.start && l.end == wanted.end && l.mode == wanted.mode) return int32_t(i);
    }
    wave.loops.push_back(wanted);
    wave.loops.back().setName(ZnLib::Text::format("%d", int(wave.loops.size() - 1)));
    return int32_t(wave.loops.size() - 1);
}

void applyGroupRecord(Group& g, const Record& r) {
    g.amp = float(g.amp * std::pow(10.0, r.i8(group::kVolume) / 20.0));
    g.pan = float(g.pan + r.i8(group::kPan) / 64.0);
    const uint8_t exclusive = r.u8(group::kExclusive);
    if (exclusive >= 1 && exclusive <= 8) g.chokeGroup = exclusive;
    if (r.size() > group::kReleaseTrigger && r.u8(group::kReleaseTrigger) == 1) g.playmode = kPlayRelease;
}

void applyZone(Group& g, const Record& r, const std::vector<Record>& groups, SharedRef<Wave> wave) {
    const std::string zoneName = r.name();
    const int32_t groupIndex = r.i32(zone::kGroup);
    const Record* groupRecord =
        groupIndex >= 0 && std::size_t(groupIndex) < groups.size() ? &groups[std::size_t(groupIndex)] : nullptr;
    if (!zoneName.empty()) g.name = zoneName;
    else if (groupRecord && !groupRecord->name().empty()) g.name = groupRecord->name();
    if (groupRecord) applyGroupRecord(g, *groupRecord);

    const uint8_t flags = r.u8(zone::kFlags);
    g.range.lowKey = clampedKey(r.u8(zone::kLowKey));
    g.range.highKey = clampedKey(r.u8(zone::kHighKey));
    g.fade.lowKey = g.range.lowKey;
    g.fade.highKey = g.range.highKey;
    if (flags & zone::kVelocityRange) {
        g.range.lowVel = g.fade.lowVel = clampedKey(r.u8(zone::kLowVelocity));
        g.range.highVel = g.fade.highVel = clampedKey(r.u8(zone::kHighVelocity));
    }
    g.coarse = int8_t(std::clamp(g.coarse + r.i8(zone::kCoarse), -127, 127));
    g.pan = float(g.pan + r.i8(zone::kPan) / 64.0);
    g.amp = float(g.amp * std::pow(10.0, r.i8(zone::kVolume) / 20.0));
    if (flags & zone::kFixedPitch) g.tuning = kTuningFixed;

    Split& split = g.splits.front();
    split.key = g.range.lowKey;
    split.setWave(wave);
    // Fine tune beyond half a semitone moves the root, as split overrides hold it.
    const int cents = int(r.u8(zone::kRoot)) * 100 + r.i8(zone::kFine);
    const int root = std::clamp((cents + 50) / 100, 0, 127);
    split.setRoot(uint8_t(root));
    split.setFine(int8_t(std::clamp(cents - root * 100, -50, 50)));

    const uint32_t start = r.u32(zone::kSampleStart);
    if (start > wave->start && wave->sampleRate > 0)
        g.start = float(ZnPlug::TimeLaw::fromMs((start - wave->start) * 1000.0 / wave->sampleRate));

    split.loop = split.release = -1;
    if (flags & zone::kOneShot) {
        g.playmode = kPlayOneshot;
        return;
    }
    const uint8_t options = r.u8(zone::kLoopOptions);
    const uint32_t loopStart = r.u32(zone::kLoopStart), loopEnd = r.u32(zone::kLoopEnd);
    if (!(options & zone::kLoopOn) || loopStart >= loopEnd || wave->isNone()) return;
    static constexpr std::array<LoopMode, 3> modes = {LoopMode::Forward, LoopMode::Backward, LoopMode::Bidirectional};
    const LoopMode mode = modes[std::min<std::size_t>(r.u8(zone::kLoopDirection), modes.size() - 1)];
    const int32_t index = loopIndex(*wave, wave->clampLoop(Loop(loopStart, loopEnd, mode)));
    split.loop = index;
    if (!(options & zone::kPlayToEnd)) split.release = index;
}

// ":" separated folders of the format's home system become "/" ones under "/Volumes/".
std::string samplePath(const Record& r) {
    std::string folder = r.text(kSamplePathAt, kSamplePathSize);
    std::string file = r.size() >= kSampleFileAt + kSampleFileSize ? r.text(kSampleFileAt, kSampleFileSize) : "";
    if (file.empty()) file = r.name();
    if (folder.empty()) return file;
    std::replace(folder.begin(), folder.end(), ':', '/');
    if (folder.front() != '/') folder = "/Volumes/" + folder;
    return fs::join(folder, file);
}

}  // namespace

SharedRef<Program> ExsLoader::read(std::span<const uint8_t> bytes, const std::string& path) {
    const Records records = walk(ByteReader(bytes));

    WaveFinder finder(bank_, filter_, findMissing_, places_, path);
    std::vector<SharedRef<Wave>> waves;
    for (const Record& sample : records.samples) {
        try {
            waves.push_back(finder.find(samplePath(sample)));
        } catch (...) {
            const std::string cause = ZnLib::describeCurrent();
            if (!findMissing_.error("Could not load wave\n - " + cause)) ZnLib::throwWrapped("Could not load wave");
            waves.emplace_back(Wave::none());
        }
    }

    const Group base = parameterTemplate(records.parameters.empty() ? nullptr : &records.parameters.back());
    auto program = ZnLib::makeRef<Program>(fs::stem(path));
    for (const Record& z : records.zones) {
        const uint32_t sample = z.u32(zone::kSample);
        auto group = ZnLib::makeRef<Group>(base);
        applyZone(*group, z, records.groups,
                  sample < waves.size() ? waves[sample] : SharedRef<Wave>(Wave::none()));
        group->normalise();
        program->addGroup(std::move(group));
    }
    return program;
}

}  // namespace MV
