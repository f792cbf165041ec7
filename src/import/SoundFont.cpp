#include "import/SoundFont.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <stdexcept>

#include "import/SFGroup.h"
#include "import/SoundFontFile.h"
#include "lib/Error.h"
#include "lib/Text.h"
#include "model/Bank.h"
#include "persist/ImportFilter.h"
#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

constexpr uint32_t kNoWave = 0xFFFFFFFFu;
constexpr uint16_t kNoSample = 0xFFFF;
constexpr uint32_t kUnknownIndex = 0xFFFFFFFFu;
// A bound on the instrument zones one preset may build, far above any real file: a few bytes of
// a lying file could otherwise ask for billions of groups.
constexpr std::size_t kMaxZonesPerPreset = 1 << 16;

using GeneratorMap = std::map<uint16_t, SFGenerator>;

[[noreturn]] void indexOutOfRange() { throw std::out_of_range("Index out of range"); }

float multiplierOf(uint16_t number, int16_t raw) {
    return number == SFGroup::kInitialFilterFc ? float(std::pow(2.0, raw / 1200.0)) : 1.0f;
}

void setGenerator(GeneratorMap& map, const SoundFontFile::Generator& g) {
    map[g.number] = SFGenerator{g.amount, g.number, multiplierOf(g.number, g.amount)};
}

// Generators that a preset zone may not set.
bool presetLevelExcluded(uint16_t number) {
    switch (number) {
    case 0: case 1: case 2: case 3: case 4: case 12: case 45: case 46: case 47: case 50: case 53: case 54:
    case 57: case 58:
        return true;
    default:
        return false;
    }
}

// The value of a generator that an instrument zone leaves out, as a preset offset starts from it.
SFGenerator defaultGenerator(uint16_t number) {
    int16_t raw = 0;
    switch (number) {
    case 8: raw = 13500; break;
    case 21: case 23: case 25: case 26: case 27: case 28: case 30: case 33: case 34: case 35: case 36: case 38:
        raw = -12000;
        break;
    case 56: raw = 100; break;
    default: break;
    }
    return SFGenerator{raw, number, multiplierOf(number, raw)};
}

// The preset's offsets on top of the instrument zone: raw values add as 16 bits, multipliers
// multiply. The ranges are not summed: they narrow the zone afterwards.
void addPresetOffsets(GeneratorMap& zone, const GeneratorMap& preset) {
    for (const auto& [number, offset] : preset) {
        if (number == SFGroup::kInstrument || number == SFGroup::kKeyRange || number == SFGroup::kVelRange) continue;
        auto it = zone.find(number);
        SFGenerator value = it != zone.end() ? it->second : defaultGenerator(number);
        value.raw = int16_t(uint16_t(value.raw) + uint16_t(offset.raw));
        value.multiplier *= offset.multiplier;
        zone[number] = value;
    }
}

KeyRange rangeOf(const GeneratorMap& map) {
    KeyRange r;
    auto bounds = [&](uint16_t number, int8_t& low, int8_t& high) {
        auto it = map.find(number);
        if (it == map.end()) return;
        low = int8_t(std::min(int(uint16_t(it->second.raw) & 0xFF), 127));
        high = int8_t(std::min(int(uint16_t(it->second.raw) >> 8), 127));
    };
    bounds(SFGroup::kKeyRange, r.lowKey, r.highKey);
    bounds(SFGroup::kVelRange, r.lowVel, r.highVel);
    return r;
}

// The stereo name: the common prefix, with a trailing "L" or "R" turned into "S".
std::string stereoName(const std::string& a, const std::string& b) {
    std::size_t n = 0;
    while (n < a.size() && n < b.size() && a[n] == b[n]) ++n;
    std::string name = a.substr(0, n);
    if (!name.empty()) {
        const char last = char(std::toupper(static_cast<unsigned char>(name.back())));
        if (last == 'L' || last == 'R') name.back() = 'S';
    }
    return name;
}

// The name with its last "L" (or "R", for a right sample) turned into the other letter, case
// kept; unchanged when it has none.
std::string partnerName(std::string name, bool right) {
    const char from = right ? 'R' : 'L', to = right ? 'L' : 'R';
    for (std::size_t i = name.size(); i-- > 0;) {
        const char c = name[i];
        if (c == from) {
            name[i] = to;
            break;
        }
        if (c == char(from + ('a' - 'A'))) {
            name[i] = char(to + ('a' - 'A'));
            break;
        }
    }
    return name;
}

}  // namespace

struct SoundFont::Impl {
    struct PresetEntry {
        std::string name;
        std::size_t header = 0;
        uint16_t bank = 0;
        uint16_t program = 0;
    };

    Impl(SoundFont& self, std::unique_ptr<SoundFontFile> file)
        : self(self), file(std::move(file)), identity{ZnLib::FS::File(this->file->path()), kTag} {
        buildWaves();
        buildPresets();
    }

    void buildWaves();
    void buildPresets();
    void addMono(std::size_t sample);
    SharedRef<Program> importPreset(std::size_t index, Bank& target, ProcessCallbacks& progress);
    void importInstrument(std::size_t instrument, const GeneratorMap& preset, Program& program, Bank& target,
                          ProcessCallbacks& progress, std::size_t& zones);
    // The zones of a bag range; "Index out of range" for bags or generators beyond their tables.
    std::vector<std::vector<SoundFontFile::Generator>> presetZones(std::size_t first, std::size_t end) const;
    std::vector<std::vector<SoundFontFile::Generator>> instrumentZones(std::size_t first, std::size_t end) const;
    SFGroup::Sample sample(uint16_t index, Bank& target, ProcessCallbacks& progress);
    // The entry's wave: one `target` holds from this file, else a fresh one added to it; the
    // none wave when its data cannot be read.
    SharedRef<Wave> waveOf(uint32_t entry, Bank& target, ProcessCallbacks& progress);
    SharedRef<Wave> loadWave(uint32_t entry);

    SoundFont& self;
    std::unique_ptr<SoundFontFile> file;
    Identity identity;
    std::vector<WaveEntry> waves;
    std::vector<uint32_t> sampleToWave;
    std::vector<uint16_t> sampleTypes;
    std::vector<PresetEntry> presets;
    std::vector<bool> failed;  // entries whose data could not be read, reported once
};

void SoundFont::Impl::addMono(std::size_t sample) {
    const SoundFontFile::SampleHeader h = file->sampleHeader(sample);
    waves.push_back(WaveEntry{h.name, 1, h.frames() * 2, uint32_t(sample), kNoSample});
}

void SoundFont::Impl::buildWaves() {
    const std::size_t n = file->sampleHeaders().entries();
    std::vector<SoundFontFile::SampleHeader> headers;
    headers.reserve(n);
    for (std::size_t i = 0; i < n; ++i) headers.push_back(file->sampleHeader(i));
    sampleToWave.assign(n, kNoWave);
    sampleTypes.resize(n);
    for (std::size_t i = 0; i < n; ++i) sampleTypes[i] = headers[i].sampleType;

    for (std::size_t i = 0; i < n; ++i) {
        const SoundFontFile::SampleHeader& h = headers[i];
        const bool right = h.sampleType == SoundFontFile::kRight;
        if (h.sampleType == SoundFontFile::kMono) {
            addMono(i);
        } else if ((right || h.sampleType == SoundFontFile::kLeft) && sampleToWave[i] == kNoWave) {
            const uint16_t partnerType = right ? SoundFontFile::kLeft : SoundFontFile::kRight;
            std::size_t partner = n;
            if (h.sampleLink < n && headers[h.sampleLink].sampleType == partnerType) {
                partner = h.sampleLink;
            } else {
                const std::string wanted = partnerName(h.name, right);
                if (wanted != h.name)
                    for (std::size_t j = i + 1; j < n && partner == n; ++j)
                        if (headers[j].sampleType == partnerType && headers[j].name == wanted) partner = j;
            }
            if (partner == n) {
                addMono(i);
            } else {
                const uint32_t left = uint32_t(right ? partner : i), rightIndex = uint32_t(right ? i : partner);
                const uint32_t shared = sampleToWave[partner];
                if (shared != kNoWave && waves[shared].left == left && waves[shared].right == rightIndex) {
                    sampleToWave[i] = shared;
                } else if (headers[i].frames() != headers[partner].frames()) {
                    addMono(i);
                } else {
                    waves.push_back(WaveEntry{stereoName(headers[left].name, headers[rightIndex].name), 2,
                                              h.frames() * 4, left, rightIndex});
                    if (sampleToWave[partner] == kNoWave) sampleToWave[partner] = uint32_t(waves.size() - 1);
                }
            }
        }
        // Other sample types get no entry of their own: they take the last one made.
        if (sampleToWave[i] == kNoWave && !waves.empty()) sampleToWave[i] = uint32_t(waves.size() - 1);
    }
    failed.assign(waves.size(), false);
}

void SoundFont::Impl::buildPresets() {
    for (std::size_t i = 0; i < file->presetHeaders().entries(); ++i) {
        const SoundFontFile::PresetHeader h = file->presetHeader(i);
        presets.push_back(PresetEntry{h.name, i, h.bank, h.program});
    }
    std::stable_sort(presets.begin(), presets.end(), [](const PresetEntry& a, const PresetEntry& b) {
        return a.bank != b.bank ? a.bank < b.bank : a.program < b.program;
    });
}

std::vector<std::vector<SoundFontFile::Generator>> SoundFont::Impl::presetZones(std::size_t first,
                                                                                std::size_t end) const {
    std::vector<std::vector<SoundFontFile::Generator>> zones;
    for (std::size_t b = first; b < end; ++b) {
        const std::size_t from = file->presetBag(b).genIndex, to = file->presetBag(b + 1).genIndex;
        // Indices run forward; one that runs back is as broken as one past the table.
        if (to < from) indexOutOfRange();
        auto& zone = zones.emplace_back();
        for (std::size_t g = from; g < to; ++g) zone.push_back(file->presetGenerator(g));
    }
    return zones;
}

std::vector<std::vector<SoundFontFile::Generator>> SoundFont::Impl::instrumentZones(std::size_t first,
                                                                                    std::size_t end) const {
    std::vector<std::vector<SoundFontFile::Generator>> zones;
    for (std::size_t b = first; b < end; ++b) {
        const std::size_t from = file->instrumentBag(b).genIndex, to = file->instrumentBag(b + 1).genIndex;
        if (to < from) indexOutOfRange();
        auto& zone = zones.emplace_back();
        for (std::size_t g = from; g < to; ++g) zone.push_back(file->instrumentGenerator(g));
    }
    return zones;
}

namespace {
bool hasGenerator(const std::vector<SoundFontFile::Generator>& zone, uint16_t number) {
    return std::any_of(zone.begin(), zone.end(), [&](const auto& g) { return g.number == number; });
}
}  // namespace

SharedRef<Program> SoundFont::Impl::importPreset(std::size_t index, Bank& target, ProcessCallbacks& progress) {
    if (index >= presets.size()) indexOutOfRange();
    const PresetEntry& entry = presets[index];
    auto program = ZnLib::makeRef<Program>(entry.name);
    const std::size_t first = file->presetHeader(entry.header).bagIndex;
    const std::size_t end = file->presetHeader(entry.header + 1).bagIndex;
    const auto zones = presetZones(first, std::max(first, end));

    // The global zone (no instrument) is the base of the zones after it only; an ordinary
    // zone's generators do not carry into the next one.
    GeneratorMap global;
    std::size_t built = 0;
    for (const auto& zone : zones) {
        if (!hasGenerator(zone, SFGroup::kInstrument)) {
            for (const auto& g : zone)
                if (!presetLevelExcluded(g.number)) setGenerator(global, g);
            continue;
        }
        GeneratorMap map = global;
        for (const auto& g : zone) {
            if (g.number == SFGroup::kInstrument) {
                const std::size_t instrument = uint16_t(g.amount);
                if (instrument < file->instruments().entries())
                    importInstrument(instrument, map, *program, target, progress, built);
            } else if (!presetLevelExcluded(g.number)) {
                setGenerator(map, g);
            }
        }
    }
    return program;
}

void SoundFont::Impl::importInstrument(std::size_t instrument, const GeneratorMap& preset, Program& program,
                                       Bank& target, ProcessCallbacks& progress, std::size_t& built) {
    const KeyRange presetRange = rangeOf(preset);
    const std::size_t first = file->instrument(instrument).bagIndex;
    const std::size_t end = file->instrument(instrument + 1).bagIndex;
    const auto zones = instrumentZones(first, std::max(first, end));

    GeneratorMap global;
    const SFGroup::SampleLookup lookup = [&](uint16_t s) { return sample(s, target, progress); };
    for (const auto& zone : zones) {
        if (!hasGenerator(zone, SFGroup::kSampleId)) {
            for (const auto& g : zone) setGenerator(global, g);
            continue;
        }
        if (++built > kMaxZonesPerPreset) throw std::length_error("Too many zones");
        GeneratorMap map = global;
        for (const auto& g : zone) {
            setGenerator(map, g);
            if (g.number == SFGroup::kSampleId) break;
        }
        addPresetOffsets(map, preset);

        SFGroup group;
        for (const auto& [number, value] : map) group.apply(value, lookup);
        if (!group.intersect(presetRange)) continue;
        auto real = ZnLib::makeRef<Group>(static_cast<const Group&>(group));
        real->normalise();
        program.addGroup(std::move(real));
    }
}

SFGroup::Sample SoundFont::Impl::sample(uint16_t index, Bank& target, ProcessCallbacks& progress) {
    if (index >= sampleToWave.size() || sampleToWave[index] == kNoWave) indexOutOfRange();
    return SFGroup::Sample{waveOf(sampleToWave[index], target, progress), sampleTypes[index]};
}

SharedRef<Wave> SoundFont::Impl::waveOf(uint32_t entry, Bank& target, ProcessCallbacks& progress) {
    const WaveEntry& e = waves[entry];
    for (const SharedRef<Wave>& w : target.waves)
        if (w->containerIndex == e.left && w->name() == e.name && self.sameSource(w->container.get())) return w;
    if (failed[entry]) return SharedRef<Wave>(Wave::none());
    try {
        SharedRef<Wave> wave = loadWave(entry);
        target.addWave(wave);
        return wave;
    } catch (const std::exception&) {
        failed[entry] = true;
        progress.process("Could not load wave data for " + e.name);
        return SharedRef<Wave>(Wave::none());
    }
}

SharedRef<Wave> SoundFont::Impl::loadWave(uint32_t entry) {
    const WaveEntry& e = waves[entry];
    std::vector<SoundFontFile::SampleHeader> headers{file->sampleHeader(e.left)};
    if (e.channels == 2) headers.push_back(file->sampleHeader(e.right));
    const uint32_t frames = headers.front().frames();

    // Every range is checked before the buffer is allocated, so a lying header costs nothing.
    std::vector<ZnLib::ByteReader> data;
    for (const auto& h : headers) data.push_back(file->sampleData(h.start, frames));
    ZnPlug::SampleBuffer buffer(frames, e.channels);
    constexpr float kScale = 1.0f / 32768.0f;  // 16-bit full scale to +-1
    for (std::size_t c = 0; c < data.size(); ++c) {
        const auto bytes = data[c].bytes(std::size_t(frames) * 2);
        float* out = buffer.channel(unsigned(c));
        for (uint32_t f = 0; f < frames; ++f)
            out[f] = float(int16_t(uint16_t(bytes[2 * f] | (bytes[2 * f + 1] << 8)))) * kScale;
        file->releaseSampleData(data[c]);
    }

    const SoundFontFile::SampleHeader& first = headers.front();
    auto wave = ZnLib::makeRef<Wave>(std::move(buffer), first.sampleRate, uint8_t(16), uint8_t(2),
                                     uint32_t(ZnPlug::kFormatUnknown), first.originalPitch, first.pitchCorrection,
                                     0.0f, SharedRef<ZnLib::RefCounted>(&self), e.left);
    wave->setFile(identity.file);
    wave->rename(e.name);
    for (const auto& h : headers) {
        if (h.loopStart == h.loopEnd) continue;
        const ZnPlug::Loop loop = wave->clampLoop(ZnPlug::Loop(h.loopStart - h.start, h.loopEnd - h.start,
                                                                ZnPlug::LoopMode::Forward));
        if (!wave->loops.empty() && wave->loops.front().start == loop.start && wave->loops.front().end == loop.end)
            continue;
        wave->loops.push_back(loop);
        wave->loops.back().setName(ZnLib::Text::format("%u", unsigned(wave->loops.size() - 1)));
    }
    wave->takeFileInfo();
    return wave;
}

// ---- SoundFont ----

SoundFont::SoundFont(const std::string& path, ProcessCallbacks& progress)
    : impl_(std::make_unique<Impl>(*this, std::make_unique<SoundFontFile>(path, progress))) {}

SoundFont::SoundFont(const std::string& path, std::vector<uint8_t> bytes, ProcessCallbacks& progress)
    : impl_(std::make_unique<Impl>(*this, std::make_unique<SoundFontFile>(path, std::move(bytes), progress))) {}

SoundFont::~SoundFont() = default;

const std::string& SoundFont::path() const { return impl_->file->path(); }

const SoundFont::Identity& SoundFont::identity() const { return impl_->identity; }

const std::vector<SoundFont::WaveEntry>& SoundFont::waveEntries() const { return impl_->waves; }

bool SoundFont::sameSource(const ZnLib::RefCounted* container) const {
    const auto* other = dynamic_cast<const SoundFont*>(container);
    return other && (other == this || other->identity() == identity());
}

std::size_t SoundFont::programCount() const { return impl_->presets.size(); }

ImportProgramInfo SoundFont::programInfo(std::size_t index) const {
    if (index >= impl_->presets.size()) indexOutOfRange();
    const Impl::PresetEntry& p = impl_->presets[index];
    return ImportProgramInfo{p.name, p.bank, p.program};
}

SharedRef<Program> SoundFont::importProgram(std::size_t index, Bank& target, ProcessCallbacks& progress) {
    return impl_->importPreset(index, target, progress);
}

SharedRef<Wave> SoundFont::importWave(uint32_t index, const std::string& name, Bank& target,
                                      ProcessCallbacks& progress) {
    uint32_t entry = kNoWave;
    if (index != kUnknownIndex) {
        if (index >= impl_->sampleToWave.size() || impl_->sampleToWave[index] == kNoWave) indexOutOfRange();
        entry = impl_->sampleToWave[index];
    } else {
        for (std::size_t i = 0; i < impl_->waves.size() && entry == kNoWave; ++i)
            if (impl_->waves[i].name == name) entry = uint32_t(i);
        if (entry == kNoWave) throw std::runtime_error("Could not find wave " + name);
    }
    SharedRef<Wave> wave = impl_->waveOf(entry, target, progress);
    if (wave->isNone()) throw std::runtime_error("Could not load wave data for " + impl_->waves[entry].name);
    return wave;
}

void SoundFont::importWaves(Bank& target, ImportFilter& filter, ProcessCallbacks& progress) {
    for (std::size_t i = 0; i < impl_->waves.size(); ++i)
        if (filter.accept(impl_->waves[i].name)) impl_->waveOf(uint32_t(i), target, progress);
}

}  // namespace MV
