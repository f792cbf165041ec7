#include "plug/AudioPlugin.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "lib/Text.h"

namespace ZnPlug {

using ZnLib::SharedRef;

AudioPlugin::AudioPlugin(int32_t inputPins, int32_t outputPins)
    : inputs_(std::size_t(std::max(inputPins, 0))),
      outputs_(std::size_t(std::max(outputPins, 0))),
      channels_(inputs_.size() + outputs_.size(), nullptr),
      silence_(std::size_t(context_.block_size), 0.0f),
      discard_(std::size_t(context_.block_size), 0.0f) {
    makeDefaultBuses(Direction::Input, 0, inputCount());
    makeDefaultBuses(Direction::Output, 0, outputCount());
}

AudioPlugin::~AudioPlugin() = default;

// ---- virtual defaults ----

bool AudioPlugin::checkOutputBus(BusInfo&) { return true; }

bool AudioPlugin::checkInputBus(BusInfo&) { return true; }

void AudioPlugin::setParameter(int32_t, float) {}

float AudioPlugin::getParameter(int32_t) { return 0.0f; }

std::string AudioPlugin::defaultParameterName(int32_t index) { return ZnLib::Text::format("Param%03d", index); }

std::string AudioPlugin::parameterName(int32_t index) { return defaultParameterName(index); }

void AudioPlugin::process(const float* const*, float* const*, int32_t) {}

void AudioPlugin::processReplacing(const float* const* inputs, float* const* outputs, int32_t count) {
    // Outputs nobody listens to share `discard`; clearing them would only waste time.
    const float* sink = discard();
    for (int32_t i = 0; i < outputCount(); ++i)
        if (outputs[i] != sink) std::fill_n(outputs[i], count, 0.0f);
    process(inputs, outputs, count);
}

void AudioPlugin::processEvents(const MidiEvent*, int32_t) {}

bool AudioPlugin::getProgramChunk(std::ostream&, const std::string&) { return false; }

bool AudioPlugin::setProgramChunk(std::span<const uint8_t>, const std::string&) { return false; }

bool AudioPlugin::getBankChunk(std::ostream&, const std::string&) { return false; }

bool AudioPlugin::setBankChunk(std::span<const uint8_t>, const std::string&) { return false; }

bool AudioPlugin::midiKeyName(int32_t, uint8_t, std::string&) { return false; }

void AudioPlugin::setCurrentProgramName(const std::string& name) { setProgramName(currentProgram(), name); }

std::string AudioPlugin::currentProgramName() { return programName(currentProgram()); }

void AudioPlugin::setProgramName(int32_t, const std::string&) {}

std::string AudioPlugin::programName(int32_t) { return {}; }

void AudioPlugin::setMidiProgramName(int32_t, const std::string&) {}

std::string AudioPlugin::midiProgramName(int32_t) { return {}; }

std::string AudioPlugin::channelProgramName(int32_t) { return {}; }

int32_t AudioPlugin::channelProgram(int32_t) { return -1; }

uint8_t AudioPlugin::midiChannelOf(int32_t) { return 0; }

// ---- host adapters ----

void AudioPlugin::applySampleRate(double rate) {
    std::lock_guard lock(main_lock_);
    context_.sample_rate = rate;
    context_.inv_sample_rate = 1.0 / rate;
    context_.rate_ratio = 44100.0 / rate;
    reconfigure();
}

void AudioPlugin::applyBlockSize(int32_t size) {
    std::lock_guard lock(main_lock_);
    if (size == context_.block_size || size < 1) return;
    std::vector<float> silence(std::size_t(size), 0.0f);
    std::vector<float> discard(std::size_t(size), 0.0f);
    // The flat vector may still point at the old buffers until the next audio call refills it.
    for (float*& c : channels_) {
        if (c == silence_.data()) c = silence.data();
        else if (c == discard_.data()) c = discard.data();
    }
    silence_.swap(silence);
    discard_.swap(discard);
    context_.block_size = size;
    for (auto& s : scratch_) s.assign(std::size_t(size), 0.0f);
    reconfigure();
}

void AudioPlugin::setBypass(bool on) {
    std::lock_guard lock(main_lock_);
    if (on == bypass_) return;
    bypass_ = on;
    reconfigure();
}

void AudioPlugin::setScratchCount(std::size_t count) {
    std::lock_guard lock(main_lock_);
    scratch_.resize(count);
    for (auto& s : scratch_) s.assign(std::size_t(context_.block_size), 0.0f);
}

void AudioPlugin::audioCall(const float* const* inputs, float* const* outputs, int32_t count, bool replacing,
                            const HostTime* time, bool offline) {
    std::lock_guard lock(main_lock_);
    is_offline_ = offline;
    ProcessContext& c = context_;
    if (time) {
        const int32_t f = time->flags;
        c.playing = (f & HostTime::kTransportPlaying) != 0;
        if (c.playing) c.sample_pos = time->samplePos;
        c.cycling = (f & HostTime::kTransportCycleActive) != 0;
        c.recording = (f & HostTime::kTransportRecording) != 0;
        if (f & HostTime::kPpqPosValid) c.ppq_pos = time->ppqPos;
        if (f & HostTime::kTempoValid) c.tempo = time->tempo;
        if (f & HostTime::kBarsValid) c.bar_start = time->barStartPos;
        if (f & HostTime::kTimeSigValid) {
            c.sig_numerator = time->timeSigNumerator;
            c.sig_denominator = time->timeSigDenominator;
        }
        if (f & HostTime::kCyclePosValid) {
            c.cycle_start = time->cycleStartPos;
            c.cycle_end = time->cycleEndPos;
        }
    }

    const std::size_t nIn = inputs_.size();
    for (std::size_t i = 0; i < nIn; ++i) {
        const float* host = inputs && inputs_[i].active ? inputs[i] : nullptr;
        channels_[i] = host ? const_cast<float*>(host) : silence_.data();
    }
    for (std::size_t i = 0; i < outputs_.size(); ++i) {
        float* host = outputs && outputs_[i].active ? outputs[i] : nullptr;
        channels_[nIn + i] = host ? host : discard_.data();
    }

    if (count < 0) count = 0;
    const double samplePosBefore = c.sample_pos;
    const int32_t frames = std::min(count, c.block_size);
    float* const* in = channels_.data();
    float* const* out = channels_.data() + nIn;
    if (replacing) processReplacing(in, out, frames);
    else process(in, out, frames);
    // A plug-in that keeps its own clock moves sample_pos itself; otherwise run on by what the
    // host consumed, which may be more than was rendered.
    if (c.sample_pos == samplePosBefore) {
        c.sample_pos += count;
        c.ppq_pos += c.tempo / 60.0 * count * c.inv_sample_rate;
    }
}

// ---- pins and buses ----

std::vector<PinInfo>& AudioPlugin::pinsOf(Direction direction) noexcept {
    return direction == Direction::Input ? inputs_ : outputs_;
}

const std::vector<PinInfo>& AudioPlugin::pins(Direction direction) const noexcept {
    return direction == Direction::Input ? inputs_ : outputs_;
}

const PinInfo& AudioPlugin::pin(Direction direction, int32_t index) const {
    const auto& v = pins(direction);
    if (index < 0 || std::size_t(index) >= v.size()) throw std::out_of_range("index");
    return v[std::size_t(index)];
}

void AudioPlugin::setPinActive(Direction direction, int32_t index, bool active) {
    std::lock_guard lock(main_lock_);
    pin(direction, index);
    pinsOf(direction)[std::size_t(index)].active = active;
}

void AudioPlugin::setPinName(Direction direction, int32_t index, const std::string& name) {
    std::lock_guard lock(main_lock_);
    pin(direction, index);
    pinsOf(direction)[std::size_t(index)].name = name;
}

void AudioPlugin::checkBusBounds(Direction direction, const BusInfo& bus) const {
    const int64_t n = int64_t(pins(direction).size());
    if (bus.start < 0) throw std::invalid_argument("Invalid bus");
    if (bus.start >= n) throw std::out_of_range("start");
    if (bus.pins < 1 || int64_t(bus.start) + bus.pins > n) throw std::out_of_range("pins");
}

void AudioPlugin::assignBus(std::vector<PinInfo>& pins, const std::shared_ptr<const BusInfo>& bus) {
    for (int32_t i = bus->start; i < bus->start + bus->pins; ++i) pins[std::size_t(i)].bus = bus;
}

void AudioPlugin::makeDefaultBuses(Direction direction, int32_t first, int32_t count) {
    std::lock_guard lock(main_lock_);
    if (count <= 0) return;
    checkBusBounds(direction, BusInfo{{}, first, count, 0});
    auto& v = pinsOf(direction);
    const int32_t end = first + count;
    for (int32_t i = first; i < end; i += 2) {
        auto bus = std::make_shared<BusInfo>();
        bus->start = i;
        if (i + 1 < end) {
            bus->name = ZnLib::Text::format("S %d+%d", i + 1, i + 2);
            bus->pins = 2;
            bus->shape = 2;
        } else {
            bus->name = ZnLib::Text::format("M %d", i + 1);
            bus->pins = 1;
            bus->shape = 1;
        }
        assignBus(v, bus);
    }
}

void AudioPlugin::addBus(Direction direction, BusInfo bus) {
    std::lock_guard lock(main_lock_);
    checkBusBounds(direction, bus);
    const bool accepted = direction == Direction::Output ? checkOutputBus(bus) : checkInputBus(bus);
    if (!accepted) checkBusBounds(direction, bus);
    BusInfo::arrangementOf(bus.shape);

    auto& v = pinsOf(direction);
    const int32_t first = bus.start;
    const int32_t last = bus.start + bus.pins - 1;
    // The buses this one overlaps; what they cover outside the new bus falls back to defaults.
    int32_t lo = first;
    int32_t hi = last;
    for (int32_t i = first; i <= last; ++i) {
        if (const auto& old = v[std::size_t(i)].bus) {
            lo = std::min(lo, old->start);
            hi = std::max(hi, old->start + old->pins - 1);
        }
    }
    assignBus(v, std::make_shared<const BusInfo>(std::move(bus)));
    if (lo < first) makeDefaultBuses(direction, lo, first - lo);
    if (hi > last) makeDefaultBuses(direction, last + 1, hi - last);
}

void AudioPlugin::addBuses(Direction direction, std::span<const BusInfo> buses) {
    std::lock_guard lock(main_lock_);
    for (const BusInfo& b : buses) addBus(direction, b);
    if (direction == Direction::Output) {
        resume();
        outputsChanged();
        if (dispatcher_) dispatcher_->outputsChanged();
    } else {
        suspend();
        inputsChanged();
        if (dispatcher_) dispatcher_->inputsChanged();
    }
}

// ---- parameters ----

SharedRef<AudioPlugin::Parameter> AudioPlugin::slot(int32_t index) {
    if (index < 0 || std::size_t(index) >= parameters_.size()) return {};
    return parameters_[std::size_t(index)];
}

int32_t AudioPlugin::addParameter(SharedRef<Parameter> parameter) {
    if (!parameter) throw std::invalid_argument("null parameter");
    int32_t index;
    {
        std::lock_guard lock(param_lock_);
        index = int32_t(parameters_.size());
        parameter->setIndex(index);
        parameters_.push_back(std::move(parameter));
    }
    parameterAdded(index);
    return index;
}

void AudioPlugin::setParameterAt(int32_t index, SharedRef<Parameter> parameter) {
    if (!parameter) throw std::invalid_argument("null parameter");
    if (index < 0) throw std::out_of_range("index");
    {
        std::lock_guard lock(param_lock_);
        if (std::size_t(index) >= parameters_.size()) parameters_.resize(std::size_t(index) + 1);
        parameter->setIndex(index);
        parameters_[std::size_t(index)] = std::move(parameter);
    }
    parameterAdded(index);
}

void AudioPlugin::setParameterCount(int32_t count) {
    std::lock_guard lock(param_lock_);
    parameters_.resize(std::size_t(std::max(count, 0)));
}

int32_t AudioPlugin::parameterCount() {
    std::lock_guard lock(param_lock_);
    return int32_t(parameters_.size());
}

SharedRef<AudioPlugin::Parameter> AudioPlugin::parameterAt(int32_t index) {
    std::lock_guard lock(param_lock_);
    return slot(index);
}

void AudioPlugin::hostSetParameter(int32_t index, float value) {
    {
        std::lock_guard lock(param_lock_);
        if (auto p = slot(index)) {
            p->set(value);
            if (ParameterGroup* g = p->group()) g->memberSet(*p, value);
        }
    }
    setParameter(index, value);
}

float AudioPlugin::hostGetParameter(int32_t index) {
    {
        std::lock_guard lock(param_lock_);
        if (auto p = slot(index)) return p->get();
    }
    return getParameter(index);
}

std::string AudioPlugin::parameterDisplay(int32_t index) {
    {
        std::lock_guard lock(param_lock_);
        if (auto p = slot(index)) return p->displayText();
    }
    return ZnLib::Text::format("%.02f", double(getParameter(index)));
}

std::string AudioPlugin::parameterNameAt(int32_t index) {
    {
        std::lock_guard lock(param_lock_);
        if (auto p = slot(index)) return p->name();
    }
    return parameterName(index);
}

bool AudioPlugin::parameterFromText(int32_t index, const std::string& text) {
    std::lock_guard lock(param_lock_);
    auto p = slot(index);
    return p && p->setFromText(text);
}

SharedRef<AudioPlugin::ParameterGroup> AudioPlugin::parameterGroup(const std::string& name, ParameterGroup* parent) {
    const std::string full = parent ? parent->name() + " " + name : name;
    if (auto g = findParameterGroup(full)) return g;
    groups_.push_back(ZnLib::makeRef<ParameterGroup>(name, parent, int32_t(groups_.size()) + 1));
    return groups_.back();
}

SharedRef<AudioPlugin::ParameterGroup> AudioPlugin::findParameterGroup(const std::string& fullName) const {
    for (const auto& g : groups_)
        if (g->name() == fullName) return g;
    return {};
}

// ---- program-changed marks ----

void AudioPlugin::markProgramChanged(int32_t channelIndex) {
    if (channelIndex < 0 || std::size_t(channelIndex) >= kMaxChannelMarks) return;
    program_name_marks_.set(std::size_t(channelIndex));
    current_program_marks_.set(std::size_t(channelIndex));
}

bool AudioPlugin::takeProgramsChanged(int32_t channelIndex) {
    bool any = std::exchange(all_programs_changed_, false);
    if (channelIndex >= 0 && std::size_t(channelIndex) < kMaxChannelMarks) {
        const auto i = std::size_t(channelIndex);
        any = program_name_marks_.test(i) || current_program_marks_.test(i) || any;
        program_name_marks_.reset(i);
        current_program_marks_.reset(i);
    }
    return any;
}

// ---- Parameter and ParameterGroup ----

AudioPlugin::Parameter::~Parameter() {
    if (group_) --group_->members_;
}

void AudioPlugin::Parameter::setGroup(SharedRef<ParameterGroup> group) {
    if (group_) --group_->members_;
    group_ = std::move(group);
    if (group_) ++group_->members_;
}

std::string AudioPlugin::Parameter::displayText() const { return ZnLib::Text::format("%.02f", double(get())); }

bool AudioPlugin::Parameter::setFromText(const std::string& text) {
    float value = 0;
    if (ZnLib::Text::scan(text.c_str(), "%f", &value) != 1) return false;
    set(value);
    return true;
}

AudioPlugin::ParameterGroup::ParameterGroup(const std::string& ownName, ParameterGroup* parent, int32_t number)
    : name_(parent ? parent->name() + " " + ownName : ownName), parent_(parent), number_(number) {}

AudioPlugin::ParameterGroup::~ParameterGroup() = default;

void AudioPlugin::ParameterGroup::memberSet(Parameter&, float) {}

}  // namespace ZnPlug
