#pragma once
// Writes small SoundFont 2 files for the tests: samples, instruments and presets with their
// zones, and the chunk layout a real file has.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace MV::Test {

class Sf2Builder {
public:
    using Gen = std::pair<uint16_t, int16_t>;
    struct Zone {
        std::vector<Gen> gens;
    };
    struct Sample {
        std::string name;
        std::vector<int16_t> data;
        uint32_t loopStart = 0;  // relative to the sample's start; equal bounds: no loop
        uint32_t loopEnd = 0;
        uint32_t rate = 44100;
        uint8_t pitch = 60;
        int8_t correction = 0;
        uint16_t link = 0;
        uint16_t type = 1;
    };
    struct Instrument {
        std::string name;
        std::vector<Zone> zones;
    };
    struct Preset {
        std::string name;
        uint16_t program = 0;
        uint16_t bank = 0;
        std::vector<Zone> zones;
    };

    static int16_t range(int low, int high) { return int16_t(uint16_t(low | (high << 8))); }

    int addSample(Sample s) {
        samples.push_back(std::move(s));
        return int(samples.size() - 1);
    }
    int addInstrument(std::string name, std::vector<Zone> zones) {
        instruments.push_back({std::move(name), std::move(zones)});
        return int(instruments.size() - 1);
    }
    int addPreset(std::string name, uint16_t program, uint16_t bank, std::vector<Zone> zones) {
        presets.push_back({std::move(name), program, bank, std::move(zones)});
        return int(presets.size() - 1);
    }
    // A mono sample of `frames` frames of a ramp, named `name`.
    static Sample ramp(std::string name, uint32_t frames, uint16_t type = 1, uint16_t link = 0) {
        Sample s;
        s.name = std::move(name);
        for (uint32_t i = 0; i < frames; ++i) s.data.push_back(int16_t(i * 100));
        s.type = type;
        s.link = link;
        return s;
    }

    // Tags of pdta tables to leave out, for the failure tests.
    std::vector<std::string> omit;

    std::vector<uint8_t> build() const {
        Bytes smpl, phdr, pbag, pmod, pgen, inst, ibag, imod, igen, shdr;
        for (const Sample& s : samples) {
            const uint32_t start = uint32_t(smpl.data.size() / 2);
            for (int16_t v : s.data) smpl.u16(uint16_t(v));
            smpl.pad(2 * 46);  // the zero frames behind each sample
            shdr.name(s.name).u32(start).u32(start + uint32_t(s.data.size()));
            shdr.u32(start + s.loopStart).u32(start + s.loopEnd).u32(s.rate);
            shdr.u8(s.pitch).u8(uint8_t(s.correction)).u16(s.link).u16(s.type);
        }
        shdr.name("EOS").pad(26);

        auto zones = [](const std::vector<Zone>& list, Bytes& bag, Bytes& gen, std::size_t& bagCount,
                        std::size_t& genCount) {
            for (const Zone& z : list) {
                bag.u16(uint16_t(genCount)).u16(0);
                ++bagCount;
                for (const Gen& g : z.gens) gen.u16(g.first).u16(uint16_t(g.second));
                genCount += z.gens.size();
            }
        };
        std::size_t bags = 0, gens = 0;
        for (const Instrument& i : instruments) {
            inst.name(i.name).u16(uint16_t(bags));
            zones(i.zones, ibag, igen, bags, gens);
        }
        inst.name("EOI").u16(uint16_t(bags));
        ibag.u16(uint16_t(gens)).u16(0);
        igen.u32(0);
        imod.pad(10);

        bags = gens = 0;
        for (const Preset& p : presets) {
            phdr.name(p.name).u16(p.program).u16(p.bank).u16(uint16_t(bags)).pad(12);
            zones(p.zones, pbag, pgen, bags, gens);
        }
        phdr.name("EOP").pad(4).u16(uint16_t(bags)).pad(12);
        pbag.u16(uint16_t(gens)).u16(0);
        pgen.u32(0);
        pmod.pad(10);

        Bytes info;
        info.chunk("ifil", Bytes().u16(2).u16(1));
        info.chunk("INAM", Bytes().text("Test\0", 6));
        Bytes sdta;
        sdta.tag("sdta").chunk("smpl", smpl);
        Bytes pdta;
        pdta.tag("pdta");
        const std::pair<const char*, Bytes*> tables[] = {{"phdr", &phdr}, {"pbag", &pbag}, {"pmod", &pmod},
                                                         {"pgen", &pgen}, {"inst", &inst}, {"ibag", &ibag},
                                                         {"imod", &imod}, {"igen", &igen}, {"shdr", &shdr}};
        for (const auto& [tag, bytes] : tables)
            if (!omitted(tag)) pdta.chunk(tag, *bytes);
        Bytes body;
        body.tag("sfbk").chunk("LIST", Bytes().tag("INFO").append(info)).chunk("LIST", sdta).chunk("LIST", pdta);
        Bytes file;
        file.chunk("RIFF", body);
        return file.data;
    }

    // The offset of the payload of the first chunk tagged `tag` in `file`, or 0.
    static std::size_t find(const std::vector<uint8_t>& file, const char* tag) {
        for (std::size_t i = 0; i + 8 <= file.size(); ++i)
            if (std::memcmp(file.data() + i, tag, 4) == 0) return i + 8;
        return 0;
    }
    static void poke16(std::vector<uint8_t>& file, std::size_t at, uint16_t v) {
        file[at] = uint8_t(v);
        file[at + 1] = uint8_t(v >> 8);
    }

    std::vector<Sample> samples;
    std::vector<Instrument> instruments;
    std::vector<Preset> presets;

private:
    struct Bytes {
        std::vector<uint8_t> data;
        Bytes& u8(uint8_t v) {
            data.push_back(v);
            return *this;
        }
        Bytes& u16(uint16_t v) { return u8(uint8_t(v)).u8(uint8_t(v >> 8)); }
        Bytes& u32(uint32_t v) { return u16(uint16_t(v)).u16(uint16_t(v >> 16)); }
        Bytes& pad(std::size_t n) {
            data.insert(data.end(), n, 0);
            return *this;
        }
        Bytes& text(const char* s, std::size_t n) {
            data.insert(data.end(), s, s + n);
            return *this;
        }
        Bytes& tag(const char* t) { return text(t, 4); }
        Bytes& name(const std::string& s) {
            char buf[20] = {};
            std::memcpy(buf, s.data(), std::min<std::size_t>(s.size(), 20));
            return text(buf, 20);
        }
        Bytes& append(const Bytes& o) {
            data.insert(data.end(), o.data.begin(), o.data.end());
            return *this;
        }
        Bytes& chunk(const char* t, const Bytes& body) {
            tag(t).u32(uint32_t(body.data.size())).append(body);
            if (body.data.size() & 1) u8(0);
            return *this;
        }
    };

    bool omitted(const std::string& tag) const {
        for (const std::string& t : omit)
            if (t == tag) return true;
        return false;
    }
};

}  // namespace MV::Test
