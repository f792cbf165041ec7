#include "persist/ProgHandler.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "lib/Path.h"
#include "persist/EffectFactory.h"
#include "persist/MVLoad.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"
#include "plug/ValueLaws.h"

namespace MV {

using ZnLib::SharedRef;
using ZnLib::XML::Attributes;
using ZnPlug::TimeLaw;
using ZnPlug::Wave;

namespace {

// Versions at which the documents changed meaning; older ones are converted when read.
constexpr uint32_t kGlideLawChanged = 2000;    // created-by: a new glide law
constexpr uint32_t kDecayTimesChanged = 2100;  // created-by: decays became segment times
constexpr uint32_t kAllPassFilter = 2100;      // created-by: "AllPass" meant "Off" before
constexpr uint32_t kReleaseInDecay = 2200;     // created-by: non-normal play modes' decay
constexpr uint32_t kSourcesInserted = 2101;    // compat: 64 sources before the automation ones
constexpr uint32_t kShelfResonance = 2400;     // compat: shelving filters gained resonance
constexpr uint32_t kLfoModes = 2240;           // compat: tempo sync became a mode of its own
constexpr uint16_t kInsertedSources = 64;
constexpr int kMaxSeqLength = 128;
constexpr int kMaxWaveFine = 99;

}  // namespace

void ProgHandler::element(int code, int parentCode, const Attributes& attributes) {
    const XmlAttributeReader r(attributes);
    switch (code) {
        case kProgram: readProgram(r); break;
        case kRange:
            if (parentCode == kProgram && program_)
                readRange(r, program_->range);
            else if (parentCode == kGroup && group_)
                readRange(r, group_->range);
            break;
        case kFade:
            if (group_) readRange(r, group_->fade);
            break;
        case kWave: readWave(r); break;
        case kLoop:
            if (parentCode == kWave) readLoop(r);
            break;
        case kWavematrix: readMatrix(r); break;
        case kGroup: readGroup(r); break;
        case kAeg: readAeg(r); break;
        case kEnv1:
            if (group_) readEnv(r, group_->env1);
            break;
        case kEnv2:
            if (group_) readEnv(r, group_->env2);
            break;
        case kLfo1:
        case kLfo2:
            if (group_) {
                LFO& lfo = code == kLfo1 ? group_->lfo1 : group_->lfo2;
                readModulator(r, lfo);
                r.readEnum("type", kLfoTypeNames, lfo.type);
            }
            break;
        case kSeq1:
        case kSeq2:
        case kSeq3:
            if (group_) readSeq(r, code == kSeq1 ? group_->seq1 : (code == kSeq2 ? group_->seq2 : group_->seq3));
            break;
        case kFilter: readFilter(r); break;
        case kModulation: entry_ = 0; break;
        case kEntry: readEntry(r); break;
        case kSplit: readSplit(r); break;
        case kInsert: readInsert(r); break;
        case kParam:
            if (parentCode == kInsert) readParam(r);
            break;
        case kSend: readSend(r); break;
        case kSwitcher: readSwitcher(r); break;
        default: break;
    }
}

void ProgHandler::elementEnd(int code) {
    if (code == kWave) {
        wave_.reset();
        loopsCleared_ = false;
    } else if (code == kGroup && group_ && program_) {
        group_->normalise();
        group_->clearModified();
        program_->addGroup(group_);
        group_.reset();
    }
}

void ProgHandler::readProgram(const XmlAttributeReader& r) {
    const std::string* name = r.text("name");
    program_ = name ? ZnLib::makeRef<Program>(*name) : ZnLib::makeRef<Program>();
    load_.target().addProgram(program_);
    r.readEnum("interpolation", kInterpolationNames, program_->interpolation);
    if (const std::string* icon = r.text("icon"); icon && !icon->empty()) {
        // A bare name is one of the skin's icons; anything with a folder or a type is a file.
        const std::string path = ZnLib::FS::normalise(*icon);
        if (path.find('/') == std::string::npos && path.find('.') == std::string::npos) {
            program_->icon = ZnLib::makeRef<Icon>(path, true);
        } else {
            auto file = ZnLib::makeRef<Icon>(ZnLib::FS::stem(path), false);
            const std::string& base = load_.file().path();
            file->setFile(ZnLib::FS::File(ZnLib::FS::isAbsolute(path) || base.empty()
                                              ? path
                                              : ZnLib::FS::join(ZnLib::FS::directory(base), path)));
            program_->icon = file;
        }
    }
}

void ProgHandler::readRange(const XmlAttributeReader& r, KeyRange& range) {
    int lowKey = range.lowKey, highKey = range.highKey;
    uint8_t lowVel = uint8_t(range.lowVel), highVel = uint8_t(range.highVel);
    r.readNote("lowkey", lowKey);
    r.readNote("highkey", highKey);
    r.read7bit("lowvel", lowVel);
    r.read7bit("highvel", highVel);
    range.lowKey = int8_t(lowKey);
    range.highKey = int8_t(highKey);
    range.lowVel = int8_t(lowVel);
    range.highVel = int8_t(highVel);
}

void ProgHandler::readWave(const XmlAttributeReader& r) {
    const std::string* path = r.text("path");
    wave_ = load_.waveReference(path ? *path : std::string(), createdBy());
    loopsCleared_ = false;
    int id = 0;
    if (r.readInt("id", id)) waves_[id] = wave_;
    // The none wave of a dangling old reference is shared by everything: it keeps its fields.
    if (wave_->isNone()) return;
    int root = wave_->root;
    if (r.readRoot("root", root)) wave_->root = uint8_t(root);
    r.readInt("fine", wave_->fine, -kMaxWaveFine, kMaxWaveFine);
    const int frames = int(std::min<uint32_t>(wave_->frames(), INT32_MAX));
    r.readInt("start", wave_->start, 0, frames);
    r.readInt("end", wave_->end, 0, frames);
    wave_->end = std::max(wave_->start, wave_->end);
    r.readFloat("tempo", wave_->tempo);
}

void ProgHandler::readLoop(const XmlAttributeReader& r) {
    if (!wave_ || wave_->isNone()) return;
    if (!loopsCleared_) {
        wave_->loops.clear();
        loopsCleared_ = true;
    }
    int start = 0, end = 0;
    ZnPlug::LoopMode mode = ZnPlug::LoopMode::None;
    r.readInt("start", start);
    r.readInt("end", end);
    r.readEnum("mode", ZnPlug::kLoopModeNames, mode);
    if (start < 0 || start >= end || uint32_t(end) > wave_->frames())
        throw std::out_of_range("Bad loop bounds or crossfade size");
    const std::string* name = r.text("name");
    wave_->loops.emplace_back(uint32_t(start), uint32_t(end), mode, name ? *name : std::string());
}

void ProgHandler::readMatrix(const XmlAttributeReader& r) {
    const std::string* path = r.text("path");
    SharedRef<WaveMatrix> matrix = load_.matrixReference(path ? *path : std::string());
    int id = 0;
    if (r.readInt("id", id)) matrixes_[id] = matrix;
}

void ProgHandler::readGroup(const XmlAttributeReader& r) {
    const std::string* name = r.text("name");
    group_ = name ? ZnLib::makeRef<Group>(*name) : ZnLib::makeRef<Group>();
    send_ = 0;
    entry_ = 0;
    splitsRead_ = false;
    bool solo = false;
    if (r.readBool("solo", solo)) group_->setSolo(solo);
    if (const std::string* mute = r.text("mute"))
        group_->setMute(uint8_t(*mute == "true" ? 1 : std::clamp(WireForm::parseInt(*mute), 0, 3)));
    r.readInt("coarse", group_->coarse, -127, 127);
    r.readInt("fine", group_->fine, -127, 127);
    r.readEnum("tuning", kTuningNames, group_->tuning);
    if (r.readTime("glide", group_->glide) && createdBy() < kGlideLawChanged && group_->glide != 0) {
        // The old law in octaves per second, brought onto the present time law.
        const double x = group_->glide;
        const double rate = std::exp2(-14.0 * (0.4 * x + 0.55));
        group_->glide = std::clamp(float(std::log2(rate * 12.0) / -14.0), 0.0f, 1.0f);
    }
    r.readSigned("velocity", group_->velocity);
    r.read7bit("velocityOffset", group_->velocityOffset);
    r.readSigned("pan", group_->pan);
    r.readUnit("amp", group_->amp);
    r.readTime("start", group_->start);
    r.readTime("delay", group_->delay);
    r.readInt("chokeGroup", group_->chokeGroup, 0, 8);
    r.readEnum("interpolation", kInterpolationNames, group_->interpolation);
    r.readEnum("velocitycurve", kVelocityCurveNames, group_->velocityCurve);
    r.readEnum("playmode", kPlayModeNames, group_->playmode);
    if (const std::string* poly = r.text("polymode")) {
        // The "/P" forms were mono and legato in a choke group of their own.
        if (*poly == "Mono/P" || *poly == "Legato/P") {
            group_->polymode = *poly == "Mono/P" ? kPolyMono : kPolyLegato;
            group_->chokeGroup = 1;
        } else {
            r.readEnum("polymode", kPolyModeNames, group_->polymode);
        }
    }
    if (const std::string* output = r.text("output")) {
        const int index = WireForm::parseOutput(*output);
        if (index < 0) XmlAttributeReader::illegal();
        group_->output = uint8_t(index);
    }
    r.readEnum("noteprio", kNotePriorityNames, group_->noteprio);
}

void ProgHandler::readAeg(const XmlAttributeReader& r) {
    if (!group_) return;
    AEG& aeg = group_->aeg;
    r.readTime("attack", aeg.attack);
    r.readTime("decay1", aeg.decay1);
    r.readUnit("level1", aeg.level1);
    r.readTime("decay2", aeg.decay2);
    r.readUnit("sustain", aeg.sustain);
    r.readTime("release", aeg.release);
    if (createdBy() < kDecayTimesChanged) {
        // The decays were rates over the whole range: the stored number taken as milliseconds,
        // scaled by the distance each decay travels.
        aeg.decay1 = float(TimeLaw::fromMs(aeg.decay1) * (1.0 - aeg.level1));
        aeg.decay2 = float(TimeLaw::fromMs(aeg.decay2) * std::fabs(aeg.level1 - aeg.sustain));
    }
    if (createdBy() < kReleaseInDecay && group_->playmode != kPlayNormal)
        aeg.decay2 = float(TimeLaw::fromMs(TimeLaw::ms(aeg.release) + TimeLaw::ms(aeg.decay2)));
}

void ProgHandler::readEnv(const XmlAttributeReader& r, Env& env) {
    r.readSigned("level0", env.level0);
    r.readTime("time1", env.time1);
    r.readSigned("level1", env.level1);
    r.readTime("time2", env.time2);
    r.readSigned("level2", env.level2);
    r.readTime("time3", env.time3);
    r.readSigned("level3", env.level3);
    r.readUnit("amp", env.amp);
}

template <typename Modulator>
void ProgHandler::readModulator(const XmlAttributeReader& r, Modulator& m) {
    r.readTime("fadein", m.fadein);
    r.readEnum("mode", kLfoModeNames, m.mode);
    if (const std::string* sync = r.text("sync")) {
        // "Tempo" was a kind of sync before tempo became a mode; "None" then meant key sync.
        if (*sync == "Tempo") {
            m.mode = kLfoModeTempo;
            m.sync = kSyncKey;
        } else if (*sync == "None" && compat() < kLfoModes) {
            m.sync = kSyncKey;
        } else {
            r.readEnum("sync", kLfoSyncNames, m.sync);
        }
    }
    if (const std::string* trig = r.text("trig"); trig && compat() < kLfoModes && *trig == "Continuous")
        m.sync = kSyncNone;
    r.readUnit("amp", m.amp);
    r.readUnit("pos", m.pos);
    if (const std::string* rate = r.text("rate"))
        if (!WireForm::parseRate(*rate, m.mode, m.rate)) r.unparsable("rate");
}

void ProgHandler::readSeq(const XmlAttributeReader& r, Seq& seq) {
    readModulator(r, seq);
    r.readBool("smooth", seq.smooth);
    r.readBool("stepsync", seq.stepsync);
    int length = int(seq.values.size());
    r.readInt("length", length, 0, kMaxSeqLength);
    if (const std::string* values = r.text("values"))
        seq.values = WireForm::parseSequence(*values, std::size_t(length));
    else
        seq.values.resize(std::size_t(length), 0);
}

void ProgHandler::readFilter(const XmlAttributeReader& r) {
    if (!group_) return;
    Filter& filter = group_->filter;
    if (const std::string* type = r.text("type"); type && !(*type == "AllPass" && createdBy() < kAllPassFilter))
        r.readEnum("type", kFilterTypeNames, filter.type);
    if (const std::string* freq = r.text("freq"))
        if (!WireForm::parseFilterFrequency(*freq, filter.freq)) r.unparsable("freq");
    r.readUnit("res", filter.res);
    r.readSigned("drive", filter.drive);
    r.readEnum("slope", kFilterSlopeNames, filter.slope);
    if (compat() < kShelfResonance && (filter.type == kFilterLowShelf || filter.type == kFilterHighShelf))
        filter.res = 1;
}

void ProgHandler::readEntry(const XmlAttributeReader& r) {
    if (!group_ || entry_ >= group_->modulation.size()) return;
    ModulationEntry& e = group_->modulation[entry_++];
    const bool hasSource = r.readSource("source", e.source);
    if (hasSource && compat() < kSourcesInserted && e.source >= WireFormModulation::kFirstParam) {
        // Past the table an old number has nothing to stand for.
        const int moved = e.source + kInsertedSources;
        e.source = uint16_t(moved < WireFormModulation::kSourceCount ? moved : 0);
    }
    r.readSource("via", e.via);
    if (const std::string* destination = r.text("destination")) {
        const int d = WireFormModulation::parseDestination(*destination);
        if (d < 0) XmlAttributeReader::illegal();
        e.destination = uint8_t(d);
    }
    if (const std::string* amount = r.text("amount"))
        if (!WireFormModulation::parseAmount(e.destination, *amount, e.amount)) r.unparsable("amount");
    if (const std::string* amount = r.text("amount_via"))
        if (!WireFormModulation::parseAmount(e.destination, *amount, e.amountVia)) r.unparsable("amount_via");
    r.readBool("enabled", e.enabled, true);
    r.readBool("frozen", e.frozen);
}

SharedRef<Wave> ProgHandler::waveById(const std::string& text) const {
    auto it = waves_.find(WireForm::parseInt(text));
    if (it == waves_.end()) throw std::runtime_error("No such wave: " + text);
    return it->second;
}

SharedRef<WaveMatrix> ProgHandler::matrixById(const std::string& text) const {
    auto it = matrixes_.find(WireForm::parseInt(text));
    if (it == matrixes_.end()) throw std::runtime_error("No such wavematrix: " + text);
    return it->second;
}

void ProgHandler::readSplit(const XmlAttributeReader& r) {
    if (!group_) return;
    Split split;
    int key = 0;
    if (r.readNote("key", key)) split.key = int8_t(key);
    if (const std::string* wave = r.text("wave"); wave && !WireForm::isNoneRef(*wave)) split.setWave(waveById(*wave));
    if (const std::string* matrix = r.text("matrix"); matrix && !WireForm::isNoneRef(*matrix))
        split.setMatrix(matrixById(*matrix));
    int root = split.root(), fine = split.fine();
    const bool hasRoot = r.readRoot("root", root);
    const bool hasFine = r.readInt("fine", fine, -127, 127);
    if (hasRoot || hasFine) split.setOverride(uint8_t(root), int8_t(fine));
    r.readInt("loop", split.loop);
    r.readInt("release", split.release);
    // The document lists all the group's splits: the default one goes, and an empty split stays.
    if (!splitsRead_) group_->splits.clear();
    splitsRead_ = true;
    group_->placeSplit(split);
}

void ProgHandler::readInsert(const XmlAttributeReader& r) {
    if (!group_) return;
    int32_t type = 0;
    r.readEnum("type", kInsertTypeNames, type);
    group_->setInsert(EffectFactory::current().createInsert(type));
}

void ProgHandler::readParam(const XmlAttributeReader& r) {
    if (!group_ || !group_->insert) return;
    const std::string* name = r.text("name");
    const std::string* value = r.text("value");
    if (name && value) EffectFactory::current().setParam(*group_->insert, *name, *value);
}

void ProgHandler::readSend(const XmlAttributeReader& r) {
    if (!group_ || send_ >= group_->sends.size()) return;
    Send& send = group_->sends[send_++];
    r.readUnit("level", send.level);
    if (const std::string* dest = r.text("dest")) {
        const int index = WireForm::parseSendDestination(*dest);
        if (index < 0) XmlAttributeReader::illegal();
        send.dest = uint8_t(index);
    }
    r.readBool("pre-fader", send.preFader, false);
}

void ProgHandler::readSwitcher(const XmlAttributeReader& r) {
    if (!group_) return;
    auto s = ZnLib::makeRef<Switcher>();
    r.readSource("source", s->source);
    r.read7bit("range-lo", s->rangeLow);
    r.read7bit("range-hi", s->rangeHigh);
    r.readFloat("rand-lo", s->randLow);
    r.readFloat("rand-hi", s->randHigh);
    r.readFloat("bpm-lo", s->bpmLow);
    r.readFloat("bpm-hi", s->bpmHigh);
    r.readInt("seq-length", s->seqLength);
    r.readInt("seq-pos", s->seqPos);
    // "no" and 255 leave a key unset.
    const auto key = [&r](std::string_view name, int8_t& out) {
        const std::string* text = r.text(name);
        if (!text) return;
        int k = 0;
        if (*text == "no" || *text == "255")
            out = -1;
        else if (WireForm::parseNote(*text, k))
            out = int8_t(k);
        else
            r.unparsable(name);
    };
    key("key-lo", s->keyLow);
    key("key-hi", s->keyHigh);
    key("key-up", s->keyUp);
    key("key-down", s->keyDown);
    key("key-last", s->keyLast);
    key("key-prev", s->keyPrev);
    r.readBool("enabled", s->enabled);
    r.readEnum("round-robin-source", kRoundRobinSourceNames, s->roundRobinSource);
    group_->setSwitcher(s);
}

}  // namespace MV
