#include "import/AkpLoader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "import/UnicodeText.h"
#include "import/WaveFinder.h"
#include "lib/ByteReader.h"
#include "lib/Error.h"
#include "lib/Path.h"
#include "model/Bank.h"
#include "model/LoadFilter.h"
#include "model/ModulationTables.h"
#include "persist/EffectFactory.h"
#include "plug/Wave.h"

namespace MV {

namespace fs = ZnLib::FS;
using ZnLib::ByteReader;
using ZnLib::SharedRef;
using ZnLib::fourcc;
using ZnPlug::Wave;

namespace {

constexpr std::size_t kZonesPerKeygroup = 4;

// A chunk's bytes, each read only after the chunk was found long enough.
class Chunk {
public:
    Chunk(ByteReader data, std::size_t needs) : data_(data) {
        if (data_.size() < needs) throw ZnLib::OutOfBounds();
    }
    uint8_t u8(std::size_t at) const { return data_.view(at, 1).u8(); }
    int8_t i8(std::size_t at) const { return int8_t(u8(at)); }
    uint16_t u16(std::size_t at) const { return data_.view(at, 2).u16le(); }
    ByteReader view(std::size_t at, std::size_t n) const { return data_.view(at, n); }

private:
    ByteReader data_;
};

// Calls `f(id, data)` for each chunk; sizes are padded to even, and a walk ends when no chunk
// head fits any more.
template <typename F>
void forEachChunk(ByteReader r, F&& f) {
    while (r.remaining() >= 8) {
        const uint32_t id = r.fourcc();
        const uint32_t size = r.u32le();
        const ByteReader data = r.sub(size);
        if ((size & 1) && !r.atEnd()) r.skip(1);
        f(id, data);
    }
}

// Hundredths, within the 0..1 that documents hold (the chunks' bytes reach 2.55).
float unit(uint8_t raw) { return std::min(raw * 0.01f, 1.0f); }

void addRow(Group& g, uint16_t source, uint8_t destination, float amount) {
    if (amount == 0) return;
    ModulationEntry& e = g.addModulation(source);
    e.destination = destination;
    e.amount = amount;
}

// "tune": fine tune, the bend range up or down (the larger) and the aftertouch range, both in
// semitones onto "Pitch (raw)".
void applyTune(Group& g, const Chunk& c) {
    g.fine = c.i8(2);
    addRow(g, kSourcePitchbend, kDestPitchRaw, float(std::max(c.u8(15), c.u8(16)) * 100));
    addRow(g, kSourceAftertouch, kDestPitchRaw, float(c.i8(18) * 100));
}

// "lfo ": the wave (with its sign and start phase), rate, delay, depth and sync.
void applyLfo(Group& g, LFO& lfo, const Chunk& c, bool first) {
    struct Shape {
        uint8_t type;
        float scale;
        float pos;
    };
    static constexpr std::array<Shape, 9> shapes = {{{kLfoSinus, 1, 0},
                                                     {kLfoTriangle, 1, 0},
                                                     {kLfoSquare, 1, 0},
                                                     {kLfoSquare, 1, 0.5f},
                                                     {kLfoSquare, -1, 0.5f},
                                                     {kLfoSawtooth, 1, 0},
                                                     {kLfoSawtooth, 1, 0.5f},
                                                     {kLfoSawtooth, -1, 0.5f},
                                                     {kLfoSinus, 1, 0}}};
    // A wave past the table (no such program exists) is taken as the first.
    const Shape& t = shapes[c.u8(1) < shapes.size() ? c.u8(1) : 0];
    lfo.rate = unit(c.u8(2));
    lfo.fadein = unit(c.u8(3));
    // Depth in hundredths, as rate and delay. Documents hold an LFO's level as 0..1, so an
    // inverted shape keeps its magnitude; its half-cycle start phase is what sets it apart.
    lfo.amp = std::fabs(unit(c.u8(4)) * t.scale);
    lfo.type = t.type;
    lfo.pos = t.pos;
    // Byte 5 syncs the LFO to the tempo; the mode table has two entries, "Tempo" is the second.
    if (c.u8(6) == 0) lfo.mode = kLfoModeNormal;
    if (c.u8(5) != 0) lfo.mode = kLfoModeTempo;
    if (!first) return;
    addRow(g, kSourceModWheel, kDestLfo1Amp, unit(c.u8(7)));
    addRow(g, kSourceAftertouch, kDestLfo1Amp, unit(c.u8(8)));
}

// The sources of the "mods" chunk, in pairs of (unused, source) from byte 4 on. Of the
// keygroup's own inputs, pitch modulation 2 (byte 29) and amplitude modulation (byte 31) carry
// the two amounts of "kloc"; velocity is their source unless the chunk names another.
struct KeygroupSources {
    uint16_t pitch = kSourceVelocity;
    uint16_t amp = kSourceVelocity;
};

uint16_t sourceOf(uint8_t code, uint16_t fallback) {
    static constexpr std::array<uint16_t, 12> sources = {
        kSourceNone, kSourceModWheel, kSourcePitchbend, kSourceAftertouch, kSourceFirstExternal, kSourceVelocity,
        kSourceKey,  kSourceLfo1,     kSourceLfo2,      kSourceAeg,        kSourceEnv2,          kSourceEnv1};
    return code > 0 && code < sources.size() ? sources[code] : fallback;
}

void applyMods(KeygroupSources& sources, const Chunk& c) {
    sources.pitch = sourceOf(c.u8(29), kSourceVelocity);
    sources.amp = sourceOf(c.u8(31), kSourceVelocity);
}

// "kloc": keys, fine tune, the two modulation amounts (-100..100: an octave of pitch, full
// level) and the mute group.
void applyKloc(Group& g, const Chunk& c, const KeygroupSources& sources) {
    g.range.lowKey = g.fade.lowKey = int8_t(std::min<int>(c.u8(4), 127));
    g.range.highKey = g.fade.highKey = int8_t(std::min<int>(c.u8(5), 127));
    g.fine = int8_t(std::clamp(g.fine + c.i8(7), -127, 127));
    addRow(g, sources.pitch, kDestPitch, float(c.i8(11) * 12));
    addRow(g, sources.amp, kDestVolume, c.i8(12) * 0.01f);
    g.chokeGroup = uint8_t(std::clamp<int>(c.u8(14), 0, 7));
}

// "env ": the amplitude envelope's levels and its velocity and key amounts, then the two
// modulation envelopes' four levels. The release velocity has no source of its own: the note's
// velocity stands in for it.
void applyEnvelope(Group& g, const Chunk& c, int index) {
    if (index == 0) {
        g.aeg.level1 = unit(c.u8(6));
        g.aeg.sustain = unit(c.u8(7));
        addRow(g, kSourceVelocity, kDestAegAttack, c.i8(10) * 0.01f);
        addRow(g, kSourceKey, kDestAegTime, c.i8(12) * 0.01f);
        addRow(g, kSourceVelocity, kDestAegTime, c.i8(14) * 0.01f);
        addRow(g, kSourceVelocity, kDestAegTime, c.i8(15) * 0.01f);
        return;
    }
    Env& env = index == 1 ? g.env1 : g.env2;
    env.level0 = unit(c.u8(5));
    env.level1 = unit(c.u8(6));
    env.level2 = unit(c.u8(7));
    env.level3 = unit(c.u8(8));
}

// "filt": type, cutoff and resonance; the last four types are effects, made an insert.
void applyFilter(Group& g, const Chunk& c) {
    const uint8_t kind = c.u8(1);
    const float cutoff = unit(c.u8(2)), resonance = unit(c.u8(3));
    g.filter.freq = cutoff;
    g.filter.res = resonance;
    struct Form {
        uint8_t slope;
        uint8_t type;
    };
    static constexpr std::array<Form, 22> forms = {{{1, 1}, {0, 1}, {1, 1}, {1, 3}, {0, 3}, {1, 3}, {1, 2}, {1, 2},
                                                    {1, 2}, {1, 4}, {1, 5}, {1, 6}, {1, 4}, {1, 4}, {1, 4}, {1, 4},
                                                    {1, 4}, {1, 7}, {1, 7}, {1, 7}, {1, 7}, {1, 7}}};
    if (kind < forms.size()) {
        g.filter.slope = forms[kind].slope;
        g.filter.type = forms[kind].type;
        return;
    }
    if (kind > 25) return;
    // Three phasers and a vowel filter: the nearest inserts, with cutoff and resonance as their
    // first two parameters.
    const auto type = kind == 25 ? FX::InsertType::AlienWah : FX::InsertType::Phaser;
    SharedRef<FX::Insert> insert = EffectFactory::current().createInsert(int32_t(type));
    if (!insert) return;
    if (insert->paramCount > 0) insert->param(0).setNormalized(cutoff);
    if (insert->paramCount > 1) insert->param(1).setNormalized(resonance);
    g.filter.type = kFilterOff;
    g.setInsert(insert);
}

uint8_t outputOf(uint8_t code, uint8_t current) {
    if (code >= 1 && code <= 4) return uint8_t(code - 1);
    if (code >= 9 && code <= 16) return uint8_t(code - 5);
    if (code >= 17 && code <= 24) return uint8_t(code - 13);
    return current;
}

// "zone": velocities, filter, pan, level, key tracking, wave start, play mode and output.
void applyZone(Group& g, const Chunk& c) {
    g.range.lowVel = g.fade.lowVel = int8_t(std::min<int>(c.u8(0x22), 127));
    g.range.highVel = g.fade.highVel = int8_t(std::min<int>(c.u8(0x23), 127));
    g.filter.freq = std::min(std::fabs(c.i8(38) * 0.01f + g.filter.freq - 1), 1.0f);
    g.pan = c.i8(39) * 0.02f;
    g.amp = std::fabs(c.i8(42) * 0.01f + g.amp - 1);
    if (c.u8(43) == 0) g.tuning = kTuningFixed;
    g.start = std::min(c.u16(44) * 0.00010001f, 1.0f);
    Split& split = g.splits.front();
    switch (c.u8(40)) {
    case 0: split.loop = split.release = -1; break;
    case 1: g.playmode = kPlayOneshot; break;
    case 2: split.loop = -1; break;
    case 3: split.release = -1; break;
    default: break;
    }
    g.output = outputOf(c.u8(41), g.output);
}

std::string zoneName(const Chunk& c) {
    const uint8_t length = c.u8(1);
    ByteReader r = c.view(2, length);
    const std::string raw = r.text(length);
    return UnicodeText::decode(std::span<const uint8_t>(reinterpret_cast<const uint8_t*>(raw.data()), raw.size()));
}

}  // namespace

SharedRef<Program> AkpLoader::read(std::span<const uint8_t> bytes, const std::string& path) {
    ByteReader file(bytes);
    if (file.fourcc() != fourcc("RIFF")) throw std::invalid_argument("Not a valid RIFF file");
    file.skip(4);
    if (file.fourcc() != fourcc("APRG")) throw std::invalid_argument("Not a valid Akai program file");

    WaveFinder finder(bank_, filter_, findMissing_, places_, path);
    auto program = ZnLib::makeRef<Program>(fs::stem(path));
    Group base;
    KeygroupSources sources;
    int lfos = 0;
    forEachChunk(file, [&](uint32_t id, ByteReader data) {
        if (id == fourcc("tune")) {
            applyTune(base, Chunk(data, 22));
        } else if (id == fourcc("lfo ")) {
            const Chunk c(data, 12);
            if (lfos < 2) applyLfo(base, lfos == 0 ? base.lfo1 : base.lfo2, c, lfos == 0);
            ++lfos;
        } else if (id == fourcc("out ")) {
            (void)Chunk(data, 8);
        } else if (id == fourcc("mods")) {
            applyMods(sources, Chunk(data, 38));
        } else if (id == fourcc("kgrp")) {
            Group keygroup(base);
            int envelopes = 0;
            std::size_t zones = 0;
            forEachChunk(data, [&](uint32_t sub, ByteReader subData) {
                if (sub == fourcc("kloc")) {
                    applyKloc(keygroup, Chunk(subData, 16), sources);
                } else if (sub == fourcc("env ")) {
                    const Chunk c(subData, 18);
                    if (envelopes < 3) applyEnvelope(keygroup, c, envelopes);
                    ++envelopes;
                } else if (sub == fourcc("filt")) {
                    applyFilter(keygroup, Chunk(subData, 10));
                } else if (sub == fourcc("zone")) {
                    const Chunk c(subData, 46);
                    if (zones++ >= kZonesPerKeygroup || c.u8(1) == 0) return;
                    const std::string name = zoneName(c);
                    auto group = ZnLib::makeRef<Group>(keygroup);
                    group->name = name;
                    SharedRef<Wave> wave(Wave::none());
                    try {
                        wave = finder.find(name + ".wav");
                    } catch (const std::exception& e) {
                        filter_.process(ZnLib::describe(e));
                    }
                    Split& split = group->splits.front();
                    split.key = group->range.lowKey;
                    split.setWave(wave);
                    applyZone(*group, c);
                    group->normalise();
                    program->addGroup(std::move(group));
                }
            });
        }
    });
    return program;
}

}  // namespace MV
