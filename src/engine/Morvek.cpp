#include "engine/Morvek.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>

#include "engine/UnitFactory.h"
#include "persist/RexSupport.h"

namespace MV {

namespace {
thread_local Morvek* t_current = nullptr;

// Names the engine as this thread's current plug-in for the length of a block, so code deep in
// the voices reaches it without an argument; restores the previous value after.
class CurrentScope {
public:
    explicit CurrentScope(Morvek* engine) noexcept : previous_(t_current) { t_current = engine; }
    ~CurrentScope() { t_current = previous_; }

private:
    Morvek* previous_;
};

// Events left over from an earlier block are due at once; the spare byte marks them.
constexpr uint8_t kCarried = 1;
int32_t dueOffset(const ZnPlug::MidiEvent& e) noexcept { return (e.spare & kCarried) ? 0 : e.offset; }
}  // namespace

Morvek* Morvek::current() noexcept { return t_current; }

Morvek::Morvek() : Morvek(FromStore{}, nullptr) {}

Morvek::Morvek(const EngineSettings& settings) : Morvek(FromStore{}, &settings) {}

Morvek::Morvek(FromStore, const EngineSettings* given)
    : store_(), settings_(given ? *given : EngineSettings::from(store_)) {
    FX::UnitFactory::install();
    rex_ = startRexSupport(store_);
    programChangeMode = settings_.programChangeMode;
    useBankSelect = settings_.bankSelect;
    externalController = store_.externalController;
    automationOffset = store_.automationOffset;
    outputs = store_.outputs;
    for (int i = 0; i < kChannels - 1; ++i) channels_[std::size_t(i)] = Channel(uint8_t(i), &channels_[16]);
    channels_[16] = Channel(Channel::kAllChannels, nullptr);
    queue_.reserve(kEventReserve);
    rng_state_ = int32_t(std::chrono::system_clock::now().time_since_epoch().count() | 1);
    buses_.resize(context().block_size);

    auto program = ZnLib::makeRef<Program>();
    auto performance = ZnLib::makeRef<Performance>();
    performance->addSlot(ZnLib::makeRef<ProgramSlot>(uint8_t(0), program));
    addProgram(program);
    addPerformance(performance);
    currentPerformance = performance.get();
}

Morvek::~Morvek() {
    std::lock_guard lock(mainLock());
    killAllVoices();
    for (auto& fx : currentPerformance->fx)
        if (fx) fx->release();
}

// ---- buses and configuration ----

bool Morvek::checkOutputBus(ZnPlug::BusInfo& bus) {
    // The first 8 pins are stereo pairs only; the last 8 may also be used one by one.
    const bool widen = bus.pins == 1 && bus.start < 8;
    if (!widen && bus.pins <= 2 && !(bus.pins == 2 && bus.start % 2)) return true;
    if (widen || bus.pins > 2) bus.pins = 2;
    if (bus.start % 2) --bus.start;
    bus.shape = ZnPlug::BusInfo::shapeForPins(bus.pins);
    return false;
}

bool Morvek::checkInputBus(ZnPlug::BusInfo& bus) {
    if (bus.pins == 2) return true;
    bus.pins = 2;
    bus.shape = ZnPlug::BusInfo::shapeForPins(2);
    return false;
}

void Morvek::reconfigure() {
    std::lock_guard lock(mainLock());
    for (auto& fx : currentPerformance->fx)
        if (fx) fx->prepare(context());
    if (buses_.blockSize() != context().block_size) buses_.resize(context().block_size);
    prepareInserts();
}

void Morvek::outputsChanged() {
    std::lock_guard lock(mainLock());
    for (Output& o : outputs) {
        bool enabled = o.pin + o.channels <= outputCount();
        for (int p = o.pin; enabled && p < o.pin + o.channels; ++p) enabled = pin(Direction::Output, p).active;
        o.enabled = enabled;
    }
}

// ---- automation ----

void Morvek::setParameter(int32_t index, float value) {
    if (index < 0 || index >= kAutomationCells) return;
    const float d = automationDefaults_[std::size_t(index)];
    AutomationCell& cell = automation_[std::size_t(index)];
    cell.value = value;
    // The move relative to the default, scaled so that both ends of the range reach +-1.
    cell.delta = d <= 0.5f ? (value - d) / (1.0f - d) : (value - d) / d;
    ++automation_moved_;
}

float Morvek::getParameter(int32_t index) {
    return (index >= 0 && index < kAutomationCells) ? automation_[std::size_t(index)].value : 0.0f;
}

float Morvek::drawRandom() noexcept {
    // Wrapping multiply of the minimal standard generator; the product is taken in 64 bits and
    // cut back so that the overflow is defined.
    rng_state_ = int32_t(uint32_t(int64_t(rng_state_) * 16807));
    last_random_ = (float(rng_state_) * 4.656613e-10f + 1.0f) * 0.5f;
    return last_random_;
}

// ---- the audio block ----

void Morvek::refreshRoutes() {
    for (int b = 0; b < EffectBuses::kBuses; ++b) {
        RouteTable::Route& r = routes_.routes[std::size_t(RouteTable::kFirstBus + b)];
        r.channel[0] = buses_.left(b);
        r.channel[1] = buses_.right(b);
        r.channels = 2;
    }
    for (std::size_t i = 0; i < kOutputCount; ++i) {
        const Output& o = outputs[i];
        RouteTable::Route& r = routes_.routes[RouteTable::kFirstOutput + i];
        const bool reachable = o.enabled && o.channels >= 1 && o.pin + o.channels <= 16 &&
                               outputBuffers_[o.pin] && (o.channels < 2 || outputBuffers_[o.pin + 1u]);
        r.channels = reachable ? std::min<int32_t>(o.channels, 2) : 0;
        r.channel[0] = reachable ? outputBuffers_[o.pin] : nullptr;
        r.channel[1] = reachable && o.channels >= 2 ? outputBuffers_[o.pin + 1u] : nullptr;
    }
}

void Morvek::process(const float* const* inputs, float* const* outputs, int32_t count) {
    (void)inputs;
    const int32_t pins = std::min<int32_t>(outputCount(), 16);
    for (int32_t i = 0; i < 16; ++i) {
        outputBuffers_[std::size_t(i)] = i < pins ? outputs[i] : nullptr;
        if (outputBuffers_[std::size_t(i)] && count > 0)
            std::memset(outputBuffers_[std::size_t(i)], 0, sizeof(float) * std::size_t(count));
    }
    if (isOffline()) interpolation_override_ = settings_.offlineInterpolation;
    CurrentScope scope(this);
    refreshRoutes();

    int32_t pendingProgram = -1;
    int32_t pos = 0;
    int32_t end = count;
    while (pos < count) {
        const int32_t segStart = pos;
        if (pendingProgram >= 0) {
            setProgram(pendingProgram);
            pendingProgram = -1;
        }
        Performance& perf = *currentPerformance;
        buses_.clearInputs(perf, pos, count);
        std::size_t handled = 0;
        while (handled < queue_.size() && dueOffset(queue_[handled]) < end) {
            const ZnPlug::MidiEvent event = queue_[handled++];
            const int32_t at = std::max(pos, dueOffset(event));
            renderVoices(pos, at - pos);
            pos = at;
            const bool played = dispatch(event, end, pendingProgram);
            for (MidiListener* l : listeners_) l->onMidi(*this, event, played);
            if (pendingProgram >= 0) break;
        }
        queue_.erase(queue_.begin(), queue_.begin() + std::ptrdiff_t(handled));
        if (pos < end) {
            renderVoices(pos, end - pos);
            pos = end;
        }
        if (!effectsOff) buses_.run(perf, routes_, automationView_, segStart, pos, count);
        if (pos >= count) break;
        end = count;
    }
    if (count > 0)
        for (ZnPlug::MidiEvent& e : queue_) e.spare |= kCarried;

    for (int32_t i = 0; i < pins; ++i)
        if (outputBuffers_[std::size_t(i)])
            meters_[std::size_t(i)].update(outputBuffers_[std::size_t(i)], count, context().sample_rate);
    for (AudioTap* tap : taps_) tap->onAudio(*this, inputs, outputs, count);
    interpolation_override_ = 0;
}

void Morvek::renderVoices(int32_t offset, int32_t n) {
    // Voices render two by two, in pool order, so that their filters can share a pass.
    Voice* waiting = nullptr;
    for (int v = 0; v < pool_end_; ++v) {
        Voice& voice = voices_[std::size_t(v)];
        if (voice.idle()) continue;
        if (automation_moved_ > 0 && voice.readsAutomation()) voice.smooth_left = 256;
        if (!Voice::pairs) {
            voice.render(*this, offset, n);
            continue;
        }
        if (!waiting) {
            waiting = &voice;
            continue;
        }
        Voice::renderPair(*this, *waiting, voice, offset, n);
        waiting = nullptr;
    }
    if (waiting) waiting->render(*this, offset, n);
    automation_moved_ = 0;
    ZnPlug::ProcessContext& ctx = context();
    ctx.sample_pos += n;
    ctx.ppq_pos += ctx.inv_sample_rate * n * ctx.tempo / 60.0;
    for (Channel& c : channels_) c.changes = 0;
    while (pool_end_ > 0 && voices_[std::size_t(pool_end_ - 1)].idle()) --pool_end_;
    if (pool_end_ == 0) note_counter_ = 0;
}

// ---- events ----

void Morvek::processEvents(const ZnPlug::MidiEvent* events, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const bool outOfOrder = !queue_.empty() && events[i].offset < dueOffset(queue_.back());
        queue_.push_back(events[i]);
        if (outOfOrder)
            std::stable_sort(queue_.begin(), queue_.end(),
                             [](const ZnPlug::MidiEvent& a, const ZnPlug::MidiEvent& b) {
                                 return dueOffset(a) < dueOffset(b);
                             });
    }
}

void Morvek::queueEvent(const ZnPlug::MidiEvent& event) {
    std::lock_guard lock(mainLock());
    auto at = std::find_if(queue_.begin(), queue_.end(),
                           [&](const ZnPlug::MidiEvent& e) { return dueOffset(e) > event.offset; });
    queue_.insert(at, event);
}

void Morvek::noteOn(uint8_t channel, uint8_t key, uint8_t velocity) {
    if (key >= 128 || velocity >= 128) return;
    ZnPlug::MidiEvent e;
    e.status = uint8_t(0x90 | (channel & 0x0F));
    e.data1 = key;
    e.data2 = velocity;
    queueEvent(e);
}

void Morvek::noteOff(uint8_t channel, uint8_t key) {
    if (key >= 128) return;
    ZnPlug::MidiEvent e;
    e.status = uint8_t(0x80 | (channel & 0x0F));
    e.data1 = key;
    queueEvent(e);
}

bool Morvek::dispatch(const ZnPlug::MidiEvent& event, int32_t& end, int32_t& pendingProgram) {
    Channel& ch = channels_[event.channel()];
    switch (event.type()) {
    case 0x80:
        noteOff(event);
        return false;
    case 0x90:
        if (event.data2 == 0) {
            noteOff(event);
            return false;
        }
        drawRandom();
        return noteOn(event, false);
    case 0xA0:
        ch.storeKeyPressure(event.data1, event.data2);
        return false;
    case 0xB0:
        controller(event);
        return false;
    case 0xC0:
        programChange(event, end, pendingProgram);
        return false;
    case 0xD0:
        ch.storeChannelPressure(event.data1);
        return false;
    case 0xE0:
        ch.storeBend(event.data1, event.data2);
        return false;
    default:
        return false;
    }
}

void Morvek::programChange(const ZnPlug::MidiEvent& event, int32_t& end, int32_t& pendingProgram) {
    const Channel& ch = channels_[event.channel()];
    const int32_t number = int32_t(event.data1) + (useBankSelect ? 128 * int32_t(ch.cc[0]) : 0);
    switch (programChangeMode) {
    case kProgramChangePerformance:
        end = event.offset < end ? std::max(event.offset, 0) : end;
        pendingProgram = number;
        break;
    case kProgramChangeProgram:
        if (number < 0 || std::size_t(number) >= programs.size()) break;
        for (auto& slot : currentPerformance->slots)
            if (slot->channel == event.channel() || slot->channel == ProgramSlot::kAllChannels)
                slot->program = programs[std::size_t(number)];
        performanceChanged();
        break;
    default:
        break;
    }
}

void Morvek::performanceChanged() {
    if (ZnPlug::AudioPlugin::Dispatcher* d = dispatcher()) d->updateDisplay();
}

// ---- performances as the host's programs ----

int32_t Morvek::performanceIndex(const Performance* performance) const {
    for (std::size_t i = 0; i < performances.size(); ++i)
        if (performances[i].get() == performance) return int32_t(i);
    return -1;
}

void Morvek::setProgram(int32_t index) {
    std::lock_guard lock(mainLock());
    if (index < 0 || std::size_t(index) >= performances.size()) return;
    Performance* next = performances[std::size_t(index)].get();
    if (next == currentPerformance) return;
    for (auto& fx : currentPerformance->fx)
        if (fx) fx->release();
    for (auto& fx : next->fx)
        if (fx) fx->prepare(context());
    currentPerformance = next;
    performanceChanged();
}

int32_t Morvek::programCount() { return int32_t(performances.size()); }
int32_t Morvek::currentProgram() { return performanceIndex(currentPerformance); }

void Morvek::setProgramName(int32_t index, const std::string& name) {
    std::lock_guard lock(mainLock());
    if (index < 0 || std::size_t(index) >= performances.size()) return;
    performances[std::size_t(index)]->setName(name);
    performances[std::size_t(index)]->touch();
}

std::string Morvek::programName(int32_t index) {
    if (index < 0 || std::size_t(index) >= performances.size()) return {};
    return performances[std::size_t(index)]->name();
}

int32_t Morvek::midiChannelCount() { return int32_t(currentPerformance->slots.size()); }

uint8_t Morvek::midiChannelOf(int32_t channelIndex) {
    const auto& slots = currentPerformance->slots;
    if (channelIndex < 0 || std::size_t(channelIndex) >= slots.size()) return Channel::kAllChannels;
    return slots[std::size_t(channelIndex)]->channel;
}

std::string Morvek::channelProgramName(int32_t channelIndex) {
    const auto& slots = currentPerformance->slots;
    if (channelIndex < 0 || std::size_t(channelIndex) >= slots.size()) return {};
    return slots[std::size_t(channelIndex)]->program->name();
}

int32_t Morvek::channelProgram(int32_t channelIndex) {
    const auto& slots = currentPerformance->slots;
    if (channelIndex < 0 || std::size_t(channelIndex) >= slots.size()) return -1;
    const Program* p = slots[std::size_t(channelIndex)]->program.get();
    for (std::size_t i = 0; i < programs.size(); ++i)
        if (programs[i].get() == p) return int32_t(i);
    return -1;
}

int32_t Morvek::midiProgramCount() { return int32_t(programs.size()); }

std::string Morvek::midiProgramName(int32_t index) {
    if (index < 0 || std::size_t(index) >= programs.size()) return {};
    return programs[std::size_t(index)]->name();
}

void Morvek::setMidiProgramName(int32_t index, const std::string& name) {
    std::lock_guard lock(mainLock());
    if (index < 0 || std::size_t(index) >= programs.size()) return;
    programs[std::size_t(index)]->setName(name);
    programs[std::size_t(index)]->touch();
}

// ---- voices ----

void Morvek::killVoices(const Program* program) {
    killVoicesIf([&](const Voice& v) { return v.program == program; });
}
void Morvek::killVoices(const Group* group) {
    killVoicesIf([&](const Voice& v) { return v.group == group; });
}
void Morvek::killVoices(const ZnPlug::Wave* wave) {
    killVoicesIf([&](const Voice& v) { return v.wave == wave; });
}
void Morvek::killVoices(const WaveMatrix* matrix) {
    killVoicesIf([&](const Voice& v) { return v.matrix == matrix; });
}
void Morvek::killVoices(const ProgramSlot* slot) {
    killVoicesIf([&](const Voice& v) { return v.slot == slot; });
}
void Morvek::killVoices(const Performance* performance) {
    for (const auto& slot : performance->slots) killVoices(slot.get());
}
void Morvek::killAllVoices() {
    killVoicesIf([](const Voice&) { return true; });
}

// ---- loading ----

void Morvek::adoptBank(const Bank& loaded) {
    std::lock_guard lock(mainLock());
    killAllVoices();
    for (auto& fx : currentPerformance->fx)
        if (fx) fx->release();
    programs = loaded.programs;
    performances = loaded.performances;
    waves = loaded.waves;
    matrixes = loaded.matrixes;
    programChangeMode = loaded.programChangeMode;
    useBankSelect = loaded.useBankSelect;
    externalController = loaded.externalController;
    automationOffset = loaded.automationOffset;
    interpolation = loaded.interpolation;
    currentPerformance = hasPerformance(loaded.currentPerformance) ? loaded.currentPerformance
                         : performances.empty()                    ? Performance::none()
                                                                   : performances.front().get();
    for (auto& fx : currentPerformance->fx)
        if (fx) fx->prepare(context());
    prepareInserts();
    performanceChanged();
}

void Morvek::setSendEffect(Performance& performance, int bus, ZnLib::SharedRef<FX::Effect> unit) {
    if (bus < 0 || bus >= int(Performance::kBuses)) return;
    std::lock_guard lock(mainLock());
    auto& place = performance.fx[std::size_t(bus)];
    const bool playing = &performance == currentPerformance;
    if (place && playing) place->release();
    place = std::move(unit);
    if (place && playing) place->prepare(context());
}

void Morvek::setInsert(Group& group, ZnLib::SharedRef<FX::Insert> unit) {
    std::lock_guard lock(mainLock());
    group.setInsert(std::move(unit));
    prepareInserts();
    for (Voice& v : voices_) {
        if (v.idle() || v.group != &group || !v.processor) continue;
        if (group.insert && v.processor->type == group.insert->type) v.processor->update(*group.insert);
        else v.processor.reset();
    }
}

void Morvek::prepareInserts() {
    std::lock_guard lock(mainLock());
    // Voices still running a processor made for another rate drop it; their notes go on without.
    for (Voice& v : voices_)
        if (v.processor && (context().sample_rate != insertsRate_ || context().block_size != insertsBlock_))
            v.processor.reset();
    insertsRate_ = context().sample_rate;
    insertsBlock_ = context().block_size;
    inserts_.prepare(programs, context(), kVoices);
}

// ---- listeners and taps ----

void Morvek::addMidiListener(MidiListener* listener) { listeners_.push_back(listener); }
void Morvek::removeMidiListener(MidiListener* listener) { std::erase(listeners_, listener); }
void Morvek::addAudioTap(AudioTap* tap) { taps_.push_back(tap); }
void Morvek::removeAudioTap(AudioTap* tap) { std::erase(taps_, tap); }

}  // namespace MV
