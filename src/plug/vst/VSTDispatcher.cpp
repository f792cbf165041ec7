#include "plug/vst/VSTDispatcher.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <string_view>

#include "MorvekVersion.h"
#include "lib/Text.h"
#include "plug/vst/HostGuard.h"

namespace ZnPlug {

using namespace Vst;
using Direction = AudioPlugin::Direction;

namespace {

// Copies UTF-8 text into a host buffer of `capacity` bytes, zero-terminated, never cutting a
// character in two.
void copyText(char* dst, std::size_t capacity, std::string_view text) {
    if (!dst || !capacity) return;
    std::size_t n = std::min(text.size(), capacity - 1);
    if (n < text.size())
        while (n > 0 && (uint8_t(text[n]) & 0xC0) == 0x80) --n;
    std::memcpy(dst, text.data(), n);
    dst[n] = 0;
}

bool validUtf8(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto c = uint8_t(s[i]);
        const std::size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (!len || i + len > s.size()) return false;
        for (std::size_t k = 1; k < len; ++k)
            if ((uint8_t(s[i + k]) & 0xC0) != 0x80) return false;
        i += len;
    }
    return true;
}

// A host's 8-bit text: UTF-8 when it is valid UTF-8 (Linux hosts), otherwise Latin-1.
std::string hostText(const char* text, std::size_t limit) {
    if (!text) return {};
    const std::string_view raw(text, strnlen(text, limit));
    if (validUtf8(raw)) return std::string(raw);
    std::string out;
    for (char ch : raw) {
        const auto c = uint8_t(ch);
        if (c < 0x80) out += char(c);
        else {
            out += char(0xC0 | (c >> 6));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

constexpr int32_t kVendorVersion = (Version::Major * 100 + Version::Minor) * 100 + Version::Patch;
// Parameter texts: hosts give more than the nominal 8 bytes; this many characters fit all of them.
constexpr std::size_t kParamTextLen = 10;
// Host names may be longer than the limit, so they are read up to here.
constexpr std::size_t kHostNameLimit = 256;

}  // namespace

VSTDispatcher::VSTDispatcher(HostCallback host, ZnLib::SharedRef<AudioPlugin> plugin)
    : host_(host), plugin_(std::move(plugin)), speakers_(*plugin_) {
    AudioPlugin& p = *plugin_;
    for (int32_t i = 0; i < p.inputCount(); ++i) p.setPinActive(Direction::Input, i, true);
    for (int32_t i = 0; i < p.outputCount(); ++i) p.setPinActive(Direction::Output, i, true);

    effect_.magic = kEffectMagic;
    effect_.dispatcher = [](AEffect* e, int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt) {
        return guarded("dispatcher", intptr_t(0), [&] {
            VSTDispatcher* d = of(e);
            return d ? d->dispatch(opcode, index, value, ptr, opt) : intptr_t(0);
        });
    };
    effect_.process = [](AEffect* e, float** in, float** out, int32_t count) {
        guarded("process", [&] {
            if (VSTDispatcher* d = of(e)) d->audio(in, out, count, false);
        });
    };
    effect_.processReplacing = [](AEffect* e, float** in, float** out, int32_t count) {
        guarded("processReplacing", [&] {
            if (VSTDispatcher* d = of(e)) d->audio(in, out, count, true);
        });
    };
    effect_.setParameter = [](AEffect* e, int32_t index, float value) {
        guarded("setParameter", [&] {
            if (VSTDispatcher* d = of(e)) d->plugin_->hostSetParameter(index, value);
        });
    };
    effect_.getParameter = [](AEffect* e, int32_t index) {
        return guarded("getParameter", 0.0f, [&] {
            VSTDispatcher* d = of(e);
            return d ? d->plugin_->hostGetParameter(index) : 0.0f;
        });
    };
    effect_.numPrograms = p.n_programs;
    effect_.numParams = p.parameterCount();
    effect_.numInputs = p.inputCount();
    effect_.numOutputs = p.outputCount();
    effect_.flags = effFlagsCanReplacing;
    if (p.has_chunks) effect_.flags |= effFlagsProgramChunks;
    if (p.kind == 1) effect_.flags |= effFlagsIsSynth;
    if (p.editor()) effect_.flags |= effFlagsHasEditor;
    effect_.initialDelay = p.initial_delay;
    effect_.ioRatio = 1.0f;
    effect_.object = this;
    effect_.uniqueID = fourCC({Version::ProductTag[0], Version::ProductTag[1], Version::ProductTag[2],
                               Version::ProductTag[3], 0});
    effect_.version = kVendorVersion;
    p.setDispatcher(this);
}

VSTDispatcher::~VSTDispatcher() {
    if (plugin_->dispatcher() == this) plugin_->setDispatcher(nullptr);
}

VSTDispatcher* VSTDispatcher::of(AEffect* effect) noexcept {
    return effect && effect->magic == kEffectMagic ? static_cast<VSTDispatcher*>(effect->object) : nullptr;
}

intptr_t VSTDispatcher::callHost(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt) {
    return host_ ? host_(&effect_, opcode, index, value, ptr, opt) : 0;
}

// ---- opcodes ----

intptr_t VSTDispatcher::dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt) {
    AudioPlugin& p = *plugin_;
    switch (opcode) {
    case effOpen: open(); return 0;
    case effClose: {
        {
            std::lock_guard lock(p.mainLock());
            p.close();
        }
        delete this;
        return 0;
    }
    case effSetProgram:
        if (value >= 0 && value < effect_.numPrograms) {
            std::lock_guard lock(p.mainLock());
            p.setProgram(int32_t(value));
        }
        return 0;
    case effGetProgram: return p.currentProgram();
    case effSetProgramName:
        if (ptr) p.setProgramName(p.currentProgram(), hostText(static_cast<const char*>(ptr), kHostNameLimit));
        return 0;
    case effGetProgramName: copyText(static_cast<char*>(ptr), kVstMaxProgNameLen, p.programName(p.currentProgram())); return 0;
    case effGetParamLabel: copyText(static_cast<char*>(ptr), kParamTextLen, ""); return 0;
    case effGetParamDisplay: copyText(static_cast<char*>(ptr), kParamTextLen, p.parameterDisplay(index)); return 0;
    case effGetParamName: copyText(static_cast<char*>(ptr), kParamTextLen, p.parameterNameAt(index)); return 0;
    case effSetSampleRate:
        if (opt > 0) p.applySampleRate(opt);
        return 0;
    case effSetBlockSize: p.applyBlockSize(int32_t(value)); return 0;
    case effMainsChanged: {
        std::lock_guard lock(p.mainLock());
        if (value == 0) {
            p.suspend();
        } else {
            chunk_.release();
            p.resume();
            p.reconfigure();
        }
        return 0;
    }
    case effEditGetRect: return editGetRect(static_cast<ERect**>(ptr));
    case effEditOpen: return editOpen(ptr);
    case effEditClose:
        if (p.editor()) p.editor()->close();
        return 0;
    case effEditIdle: p.idle(); return 0;
    case effIdentify: return kIdentify;
    case effGetChunk: return getChunk(index == 0, ptr);
    case effSetChunk: return setChunk(index == 0, value, ptr);
    case effProcessEvents: return processEvents(static_cast<const VstEvents*>(ptr));
    case effCanBeAutomated: return 1;
    case effString2Parameter:
        return ptr && p.parameterFromText(index, hostText(static_cast<const char*>(ptr), kHostNameLimit)) ? 1 : 0;
    case effGetProgramNameIndexed:
        if (index < 0 || index >= p.programCount()) return 0;
        copyText(static_cast<char*>(ptr), kVstMaxProgNameLen, p.programName(index));
        return 1;
    case effGetInputProperties: return pinProperties(Direction::Input, index, static_cast<VstPinProperties*>(ptr));
    case effGetOutputProperties: return pinProperties(Direction::Output, index, static_cast<VstPinProperties*>(ptr));
    case effGetPlugCategory: return (effect_.flags & effFlagsIsSynth) ? kPlugCategSynth : kPlugCategEffect;
    case effSetSpeakerArrangement: return speakers_.apply(reinterpret_cast<const void*>(value)) ? 1 : 0;
    case effSetBypass: p.setBypass(value != 0); return 1;
    case effGetEffectName: copyText(static_cast<char*>(ptr), kVstMaxEffectNameLen, Version::ProductName); return 1;
    case effGetVendorString: copyText(static_cast<char*>(ptr), kVstMaxVendorStrLen, Version::CompanyName); return 1;
    case effGetProductString:
        copyText(static_cast<char*>(ptr), kVstMaxProductStrLen,
                 ZnLib::Text::format("%d.%d.%d%s %d.%d", Version::Major, Version::Minor, Version::Patch,
                                     Version::VersionRemark, Version::Build, Version::Revision));
        return 1;
    case effGetVendorVersion: return kVendorVersion;
    case effCanDo: {
        if (!ptr) return 0;
        const std::string_view what(static_cast<const char*>(ptr), strnlen(static_cast<const char*>(ptr), kHostNameLimit));
        for (const char* yes : {"receiveVstTimeInfo", "sendVstEvents", "sendVstMidiEvent", "receiveVstEvents",
                                "receiveVstMidiEvent", "midiProgramNames"})
            if (what == yes) return 1;
        return 0;
    }
    case effGetParameterProperties: return parameterProperties(index, static_cast<VstParameterProperties*>(ptr));
    case effGetVstVersion: return kVstVersion;
    case effEditKeyDown: return editKey(true, index, value, opt);
    case effEditKeyUp: return editKey(false, index, value, opt);
    case effSetEditKnobMode:
        knobMode_ = value > 1 ? 1 : 0;
        if (p.editor()) p.editor()->setKnobMode(knobMode_);
        return 0;
    case effGetMidiProgramName: return p.midi_programs ? midiProgramName(static_cast<MidiProgramName*>(ptr)) : 0;
    case effGetCurrentMidiProgram:
        return p.midi_programs ? currentMidiProgram(index, static_cast<MidiProgramName*>(ptr)) : 0;
    case effHasMidiProgramsChanged: {
        std::lock_guard lock(p.mainLock());
        return p.takeProgramsChanged(channelIndexOf(index)) ? 1 : 0;
    }
    case effGetMidiKeyName: return midiKeyName(index, static_cast<MidiKeyName*>(ptr));
    case effGetSpeakerArrangement: {
        if (!value || !ptr) return 0;
        VstSpeakerArrangement *in = nullptr, *out = nullptr;
        speakers_.describe(in, out);
        *reinterpret_cast<VstSpeakerArrangement**>(value) = in;
        *static_cast<VstSpeakerArrangement**>(ptr) = out;
        return 1;
    }
    case effGetNumMidiInputChannels: return p.midi_events && p.midi_programs ? 16 : 0;
    case effGetNumMidiOutputChannels: return p.midi_events ? 16 : 0;
    default: return 0;
    }
}

void VSTDispatcher::open() {
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const intptr_t rate = callHost(audioMasterGetSampleRate);
    if (rate > 0) p.applySampleRate(double(rate));
    const intptr_t block = callHost(audioMasterGetBlockSize);
    if (block > 0) p.applyBlockSize(int32_t(std::min<intptr_t>(block, INT32_MAX)));
    p.open();
}

std::string VSTDispatcher::chunkFile() {
    char path[kChunkFilePathLen] = {};
    if (!callHost(audioMasterGetChunkFile, 0, 0, path)) return {};
    return std::string(path, strnlen(path, sizeof path));
}

intptr_t VSTDispatcher::getChunk(bool bank, void* ptr) {
    chunk_.release();
    if (!ptr) return 0;
    const std::string context = chunkFile();
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const bool ok = chunk_.fill([&](std::ostream& out) {
        return bank ? p.getBankChunk(out, context) : p.getProgramChunk(out, context);
    });
    if (!ok) return 0;
    *static_cast<const void**>(ptr) = chunk_.data();
    return intptr_t(chunk_.size());
}

intptr_t VSTDispatcher::setChunk(bool bank, intptr_t size, const void* ptr) {
    chunk_.release();
    if (!ptr || size <= 0) return 0;
    const std::string context = chunkFile();
    const std::span<const uint8_t> data(static_cast<const uint8_t*>(ptr), std::size_t(size));
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    return (bank ? p.setBankChunk(data, context) : p.setProgramChunk(data, context)) ? 1 : 0;
}

intptr_t VSTDispatcher::processEvents(const VstEvents* events) {
    if (!events) return 0;
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    // The pointer list runs on past its two declared slots.
    VstEvent* const* list = events->events;
    for (int32_t i = 0; i < events->numEvents; ++i) {
        const VstEvent* e = list[i];
        if (!e || e->type != kVstMidiType) continue;
        const auto& m = *reinterpret_cast<const VstMidiEvent*>(e);
        MidiEvent event;
        event.status = uint8_t(m.midiData[0]);
        event.data1 = uint8_t(m.midiData[1]) & 0x7F;
        event.data2 = uint8_t(m.midiData[2]) & 0x7F;
        event.offset = m.deltaFrames;
        event.detune = m.detune;
        p.processEvents(&event, 1);
    }
    return 1;
}

intptr_t VSTDispatcher::pinProperties(Direction direction, int32_t index, VstPinProperties* props) {
    if (!props) return 0;
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const PinInfo& pin = p.pin(direction, index);
    std::memset(props, 0, sizeof *props);
    props->flags = kVstPinIsActive;
    // A pin without a name of its own is shown by its bus's name ("S 1+2").
    const std::string& label = pin.name.empty() && pin.bus ? pin.bus->name : pin.name;
    copyText(props->label, sizeof props->label, label);
    copyText(props->shortLabel, sizeof props->shortLabel, label);
    if (pin.bus) {
        props->arrangementType = BusInfo::arrangementOf(pin.bus->shape);
        switch (BusInfo::pinModeOf(pin.bus->shape)) {
        case PinMode::Stereo: props->flags |= kVstPinIsStereo; break;
        case PinMode::Surround: props->flags |= kVstPinUseSpeaker; break;
        case PinMode::Mono: break;
        }
    }
    return 1;
}

intptr_t VSTDispatcher::parameterProperties(int32_t index, VstParameterProperties* props) {
    if (!props || index < 0 || index >= plugin_->parameterCount()) return 0;
    const ZnLib::SharedRef<AudioPlugin::Parameter> param = plugin_->parameterAt(index);
    const float largest = param ? param->maxValue() : 1.0f;
    const float smallest = param ? param->minValue() : 0.0f;
    const int32_t steps = param ? param->steps() : 100;
    const float range = largest - smallest;
    const float step = steps > 0 ? range / float(steps) : range;
    const float large = std::min(10.0f * step, range);

    std::memset(props, 0, sizeof *props);
    props->stepFloat = step;
    props->smallStepFloat = 0.1f * step;
    props->largeStepFloat = large;
    props->minInteger = int32_t(smallest);
    props->maxInteger = int32_t(largest);
    props->stepInteger = int32_t(step);
    props->largeStepInteger = std::min(int32_t(range), int32_t(large));
    props->displayIndex = int16_t(index);
    int32_t flags = kVstParameterUsesFloatStep | kVstParameterCanRamp;
    if (steps < 2) flags |= kVstParameterIsSwitch;
    if (float(props->minInteger) == smallest && float(props->maxInteger) == largest) flags |= kVstParameterUsesIntegerMinMax;
    if (props->stepInteger != 0 && float(props->stepInteger) <= range) flags |= kVstParameterUsesIntStep;
    if (param) {
        copyText(props->label, sizeof props->label, param->label());
        copyText(props->shortLabel, sizeof props->shortLabel, param->shortLabel());
        if (const AudioPlugin::ParameterGroup* group = param->group()) {
            flags |= kVstParameterSupportsDisplayCategory;
            props->category = int16_t(group->number());
            props->numParametersInCategory = int16_t(group->memberCount());
            copyText(props->categoryLabel, sizeof props->categoryLabel, group->name());
        }
    }
    props->flags = flags;
    return 1;
}

// ---- editor ----

intptr_t VSTDispatcher::editGetRect(ERect** rect) {
    const auto& editor = plugin_->editor();
    int32_t w = 0, h = 0;
    if (!rect || !editor || !editor->getSize(w, h) || w <= 0 || h <= 0) return 0;
    rect_ = ERect{0, 0, int16_t(std::min(h, 32767)), int16_t(std::min(w, 32767))};
    *rect = &rect_;
    return 1;
}

intptr_t VSTDispatcher::editOpen(void* parent) {
    const auto& editor = plugin_->editor();
    if (!editor) return 0;
    if (rect_.right - rect_.left <= 0 || rect_.bottom - rect_.top <= 0) {
        int32_t w = 0, h = 0;
        if (editor->getSize(w, h) && w > 0 && h > 0) rect_ = ERect{0, 0, int16_t(std::min(h, 32767)), int16_t(std::min(w, 32767))};
    }
    return editor->open(parent) ? 1 : 0;
}

intptr_t VSTDispatcher::editKey(bool down, int32_t character, intptr_t virtualKey, float modifiers) {
    const auto& editor = plugin_->editor();
    if (!editor) return 0;
    KeyRecord key;
    key.virtualKey = int32_t(virtualKey);
    key.modifiers = int32_t(modifiers);
    key.character = character;
    return (down ? editor->keyDown(key) : editor->keyUp(key)) ? 1 : 0;
}

// ---- MIDI program lists ----

int32_t VSTDispatcher::channelIndexOf(int32_t midiChannel) {
    AudioPlugin& p = *plugin_;
    for (int32_t c = 0; c < p.midiChannelCount(); ++c)
        if (p.midiChannelOf(c) == midiChannel) return c;
    return -1;
}

namespace {
void fillProgramName(MidiProgramName& out, int32_t index, const std::string& name) {
    out.thisProgramIndex = index;
    copyText(out.name, sizeof out.name, name);
    // Bank select is not tied to the list: both bank bytes and the program byte stay "off".
    out.midiProgram = -1;
    out.midiBankMsb = int8_t(-1);
    out.midiBankLsb = int8_t(-1);
    out.reserved = 0;
    out.parentCategoryIndex = -1;
    out.flags = 0;
}
}  // namespace

intptr_t VSTDispatcher::midiProgramName(MidiProgramName* name) {
    if (!name) return 0;
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const int32_t count = p.midiProgramCount();
    const int32_t index = name->thisProgramIndex;
    if (index < 0 || index >= count) return 0;
    fillProgramName(*name, index, p.midiProgramName(index));
    return count;
}

intptr_t VSTDispatcher::currentMidiProgram(int32_t midiChannel, MidiProgramName* name) {
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const int32_t c = channelIndexOf(midiChannel);
    if (c < 0) return -1;
    const int32_t program = p.channelProgram(c);
    if (name) fillProgramName(*name, program, p.channelProgramName(c));
    return program;
}

intptr_t VSTDispatcher::midiKeyName(int32_t midiChannel, MidiKeyName* key) {
    if (!key) return 0;
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const int32_t c = channelIndexOf(midiChannel);
    std::string name;
    if (c < 0 || !p.midiKeyName(c, uint8_t(key->thisKeyNumber), name)) return 0;
    copyText(key->keyName, sizeof key->keyName, name);
    return 1;
}

// ---- audio ----

void VSTDispatcher::audio(float** inputs, float** outputs, int32_t count, bool replacing) {
    AudioPlugin& p = *plugin_;
    std::lock_guard lock(p.mainLock());
    const bool offline = callHost(audioMasterGetCurrentProcessLevel) == kVstProcessLevelOffline;
    const auto* info = reinterpret_cast<const VstTimeInfo*>(callHost(audioMasterGetTime, 0, HostTime::kRequestMask));
    HostTime time;
    if (info) {
        time.samplePos = info->samplePos;
        time.ppqPos = info->ppqPos;
        time.tempo = info->tempo;
        time.barStartPos = info->barStartPos;
        time.cycleStartPos = info->cycleStartPos;
        time.cycleEndPos = info->cycleEndPos;
        time.timeSigNumerator = info->timeSigNumerator;
        time.timeSigDenominator = info->timeSigDenominator;
        time.flags = info->flags;
    }
    p.audioCall(inputs, outputs, count, replacing, info ? &time : nullptr, offline);
}

// ---- requests to the host ----

void VSTDispatcher::beginEdit(int32_t index) { callHost(audioMasterBeginEdit, index); }

void VSTDispatcher::endEdit(int32_t index) { callHost(audioMasterEndEdit, index); }

void VSTDispatcher::automate(int32_t index, float value) { callHost(audioMasterAutomate, index, 0, nullptr, value); }

void VSTDispatcher::parameterChanged(int32_t) {}

void VSTDispatcher::inputsChanged() { callHost(audioMasterIOChanged); }

void VSTDispatcher::outputsChanged() { callHost(audioMasterIOChanged); }

bool VSTDispatcher::resizeEditor(int32_t width, int32_t height) {
    char sizeWindow[] = "sizeWindow";
    if (callHost(audioMasterCanDo, 0, 0, sizeWindow) != 1) return false;
    return callHost(audioMasterSizeWindow, width, height) != 0;
}

void VSTDispatcher::updateDisplay() { callHost(audioMasterUpdateDisplay); }

void VSTDispatcher::programChanged(int32_t) { callHost(audioMasterUpdateDisplay); }

void VSTDispatcher::bankChanged(int32_t) { callHost(audioMasterUpdateDisplay); }

}  // namespace ZnPlug
