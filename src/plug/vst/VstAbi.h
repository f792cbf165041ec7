#pragma once
// The VST 2.4 binary interface as a Linux x86-64 host sees it: the records, opcodes and constants
// that Morvek.so exchanges with a host. Written for this project from the published layout facts;
// the static_asserts pin every size and offset that a host relies on.
#include <cstddef>
#include <cstdint>

namespace ZnPlug::Vst {

struct AEffect;

// Host callback and dispatcher share one shape: effect, opcode, index, value, ptr, opt.
using HostCallback = intptr_t (*)(AEffect* effect, int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                  float opt);
using DispatcherProc = intptr_t (*)(AEffect* effect, int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                    float opt);
using ProcessProc = void (*)(AEffect* effect, float** inputs, float** outputs, int32_t sampleFrames);
using ProcessDoubleProc = void (*)(AEffect* effect, double** inputs, double** outputs, int32_t sampleFrames);
using SetParameterProc = void (*)(AEffect* effect, int32_t index, float value);
using GetParameterProc = float (*)(AEffect* effect, int32_t index);
using EntryProc = AEffect* (*)(HostCallback host);

// A four-character code, first character in the top byte.
constexpr int32_t fourCC(const char (&c)[5]) noexcept {
    return int32_t((uint32_t(uint8_t(c[0])) << 24) | (uint32_t(uint8_t(c[1])) << 16) |
                   (uint32_t(uint8_t(c[2])) << 8) | uint32_t(uint8_t(c[3])));
}

inline constexpr int32_t kEffectMagic = fourCC("VstP");
inline constexpr int32_t kIdentify = fourCC("NvEf");
inline constexpr int32_t kVstVersion = 2400;

// The record a plug-in hands to its host. `resvd1` and `resvd2` belong to the host.
struct AEffect {
    int32_t magic;
    int32_t pad0;
    DispatcherProc dispatcher;
    ProcessProc process;
    SetParameterProc setParameter;
    GetParameterProc getParameter;
    int32_t numPrograms;
    int32_t numParams;
    int32_t numInputs;
    int32_t numOutputs;
    int32_t flags;
    int32_t pad1;
    intptr_t resvd1;
    intptr_t resvd2;
    int32_t initialDelay;
    int32_t realQualities;
    int32_t offQualities;
    float ioRatio;
    void* object;
    void* user;
    int32_t uniqueID;
    int32_t version;
    ProcessProc processReplacing;
    ProcessDoubleProc processDoubleReplacing;
    char future[56];
};

enum EffectFlags : int32_t {
    effFlagsHasEditor = 1,
    effFlagsCanReplacing = 16,
    effFlagsProgramChunks = 32,
    effFlagsIsSynth = 256,
    effFlagsNoSoundInStop = 512,
    effFlagsCanDoubleReplacing = 4096,
};

// Host to plug-in, through the dispatcher.
enum Opcode : int32_t {
    effOpen = 0,
    effClose = 1,
    effSetProgram = 2,
    effGetProgram = 3,
    effSetProgramName = 4,
    effGetProgramName = 5,
    effGetParamLabel = 6,
    effGetParamDisplay = 7,
    effGetParamName = 8,
    effSetSampleRate = 10,
    effSetBlockSize = 11,
    effMainsChanged = 12,
    effEditGetRect = 13,
    effEditOpen = 14,
    effEditClose = 15,
    effEditIdle = 19,
    effIdentify = 22,
    effGetChunk = 23,
    effSetChunk = 24,
    effProcessEvents = 25,
    effCanBeAutomated = 26,
    effString2Parameter = 27,
    effGetProgramNameIndexed = 29,
    effConnectInput = 31,
    effConnectOutput = 32,
    effGetInputProperties = 33,
    effGetOutputProperties = 34,
    effGetPlugCategory = 35,
    effSetSpeakerArrangement = 42,
    effSetBlockSizeAndSampleRate = 43,
    effSetBypass = 44,
    effGetEffectName = 45,
    effGetVendorString = 47,
    effGetProductString = 48,
    effGetVendorVersion = 49,
    effVendorSpecific = 50,
    effCanDo = 51,
    effGetTailSize = 52,
    effGetParameterProperties = 56,
    effGetVstVersion = 58,
    effEditKeyDown = 59,
    effEditKeyUp = 60,
    effSetEditKnobMode = 61,
    effGetMidiProgramName = 62,
    effGetCurrentMidiProgram = 63,
    effGetMidiProgramCategory = 64,
    effHasMidiProgramsChanged = 65,
    effGetMidiKeyName = 66,
    effBeginSetProgram = 67,
    effEndSetProgram = 68,
    effGetSpeakerArrangement = 69,
    effShellGetNextPlugin = 70,
    effStartProcess = 71,
    effStopProcess = 72,
    effSetTotalSampleToProcess = 73,
    effSetPanLaw = 74,
    effBeginLoadBank = 75,
    effBeginLoadProgram = 76,
    effSetProcessPrecision = 77,
    effGetNumMidiInputChannels = 78,
    effGetNumMidiOutputChannels = 79,
};

// Plug-in to host, through the host callback.
enum HostOpcode : int32_t {
    audioMasterAutomate = 0,
    audioMasterVersion = 1,
    audioMasterCurrentId = 2,
    audioMasterIdle = 3,
    audioMasterGetTime = 7,
    audioMasterProcessEvents = 8,
    audioMasterIOChanged = 13,
    audioMasterSizeWindow = 15,
    audioMasterGetSampleRate = 16,
    audioMasterGetBlockSize = 17,
    audioMasterGetCurrentProcessLevel = 23,
    audioMasterGetVendorString = 32,
    audioMasterGetProductString = 33,
    audioMasterGetVendorVersion = 34,
    audioMasterCanDo = 37,
    audioMasterUpdateDisplay = 42,
    audioMasterBeginEdit = 43,
    audioMasterEndEdit = 44,
    audioMasterGetChunkFile = 48,
};

enum ProcessLevel : int32_t {
    kVstProcessLevelUnknown = 0,
    kVstProcessLevelUser = 1,
    kVstProcessLevelRealtime = 2,
    kVstProcessLevelPrefetch = 3,
    kVstProcessLevelOffline = 4,
};

enum PlugCategory : int32_t { kPlugCategEffect = 1, kPlugCategSynth = 2 };

// String limits, terminating zero included.
inline constexpr std::size_t kVstMaxProgNameLen = 24;
inline constexpr std::size_t kVstMaxParamStrLen = 8;
inline constexpr std::size_t kVstMaxVendorStrLen = 64;
inline constexpr std::size_t kVstMaxProductStrLen = 64;
inline constexpr std::size_t kVstMaxEffectNameLen = 32;
inline constexpr std::size_t kVstMaxNameLen = 64;
inline constexpr std::size_t kVstMaxLabelLen = 64;
inline constexpr std::size_t kVstMaxShortLabelLen = 8;
inline constexpr std::size_t kVstMaxCategLabelLen = 24;
// The path buffer of audioMasterGetChunkFile.
inline constexpr std::size_t kChunkFilePathLen = 2048;

// ---- events ----

enum EventType : int32_t { kVstMidiType = 1, kVstSysExType = 6 };

struct VstEvent {
    int32_t type;
    int32_t byteSize;
    int32_t deltaFrames;
    int32_t flags;
    char data[16];
};

struct VstMidiEvent {
    int32_t type;
    int32_t byteSize;
    int32_t deltaFrames;
    int32_t flags;
    int32_t noteLength;
    int32_t noteOffset;
    char midiData[4];
    signed char detune;
    unsigned char noteOffVelocity;
    char reserved1;
    char reserved2;
};

struct VstMidiSysexEvent {
    int32_t type;
    int32_t byteSize;
    int32_t deltaFrames;
    int32_t flags;
    int32_t dumpBytes;
    int32_t pad;
    intptr_t resvd1;
    char* sysexDump;
    intptr_t resvd2;
};

// A 16-byte header followed by numEvents pointers; declared with two, really variable.
struct VstEvents {
    int32_t numEvents;
    int32_t pad;
    intptr_t reserved;
    VstEvent* events[2];
};

// ---- time ----

enum TimeFlags : int32_t {
    kVstTransportChanged = 1,
    kVstTransportPlaying = 2,
    kVstTransportCycleActive = 4,
    kVstTransportRecording = 8,
    kVstNanosValid = 256,
    kVstPpqPosValid = 512,
    kVstTempoValid = 1024,
    kVstBarsValid = 2048,
    kVstCyclePosValid = 4096,
    kVstTimeSigValid = 8192,
    kVstSmpteValid = 16384,
    kVstClockValid = 32768,
};

struct VstTimeInfo {
    double samplePos;
    double sampleRate;
    double nanoSeconds;
    double ppqPos;
    double tempo;
    double barStartPos;
    double cycleStartPos;
    double cycleEndPos;
    int32_t timeSigNumerator;
    int32_t timeSigDenominator;
    int32_t smpteOffset;
    int32_t smpteFrameRate;
    int32_t samplesToNextClock;
    int32_t flags;
};

// ---- pins and speakers ----

enum PinFlags : int32_t { kVstPinIsActive = 1, kVstPinIsStereo = 2, kVstPinUseSpeaker = 4 };

struct VstPinProperties {
    char label[kVstMaxLabelLen];
    int32_t flags;
    int32_t arrangementType;
    char shortLabel[kVstMaxShortLabelLen];
    char future[48];
};

enum SpeakerArrangementType : int32_t {
    kSpeakerArrUserDefined = -2,
    kSpeakerArrEmpty = -1,
    kSpeakerArrMono = 0,
    kSpeakerArrStereo = 1,
};

enum SpeakerType : int32_t {
    kSpeakerUndefined = 0x7FFFFFFF,
    kSpeakerM = 0,
    kSpeakerL = 1,
    kSpeakerR = 2,
    kSpeakerC = 3,
    kSpeakerLfe = 4,
    kSpeakerLs = 5,
    kSpeakerRs = 6,
    kSpeakerLc = 7,
    kSpeakerRc = 8,
    kSpeakerS = 9,
    kSpeakerSl = 10,
    kSpeakerSr = 11,
};

struct VstSpeakerProperties {
    float azimuth;
    float elevation;
    float radius;
    float reserved;
    char name[kVstMaxNameLen];
    int32_t type;
    char future[28];
};

// Declared with 8 speakers; hosts may hand out shorter or longer records (8 + 112 per speaker).
struct VstSpeakerArrangement {
    int32_t type;
    int32_t numChannels;
    VstSpeakerProperties speakers[8];
};
inline constexpr std::size_t kSpeakerArrangementHeader = 8;

// ---- parameters, programs, keys ----

enum ParameterFlags : int32_t {
    kVstParameterIsSwitch = 1,
    kVstParameterUsesIntegerMinMax = 2,
    kVstParameterUsesFloatStep = 4,
    kVstParameterUsesIntStep = 8,
    kVstParameterSupportsDisplayIndex = 16,
    kVstParameterSupportsDisplayCategory = 32,
    kVstParameterCanRamp = 64,
};

struct VstParameterProperties {
    float stepFloat;
    float smallStepFloat;
    float largeStepFloat;
    char label[kVstMaxLabelLen];
    int32_t flags;
    int32_t minInteger;
    int32_t maxInteger;
    int32_t stepInteger;
    int32_t largeStepInteger;
    char shortLabel[kVstMaxShortLabelLen];
    int16_t displayIndex;
    int16_t category;
    int16_t numParametersInCategory;
    int16_t reserved;
    char categoryLabel[kVstMaxCategLabelLen];
    char future[16];
};

struct MidiProgramName {
    int32_t thisProgramIndex;
    char name[kVstMaxNameLen];
    signed char midiProgram;
    signed char midiBankMsb;
    signed char midiBankLsb;
    char reserved;
    int32_t parentCategoryIndex;
    int32_t flags;
};

struct MidiProgramCategory {
    int32_t thisCategoryIndex;
    char name[kVstMaxNameLen];
    int32_t parentCategoryIndex;
    int32_t flags;
};

struct MidiKeyName {
    int32_t thisProgramIndex;
    int32_t thisKeyNumber;
    char keyName[kVstMaxNameLen];
    int32_t reserved;
    int32_t flags;
};

struct ERect {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};

struct VstPatchChunkInfo {
    int32_t version;
    int32_t pluginUniqueID;
    int32_t pluginVersion;
    int32_t numElements;
    char future[48];
};

// ---- the layout a host relies on ----

static_assert(sizeof(void*) == 8, "the layout below is that of a 64-bit host");
static_assert(sizeof(AEffect) == 192 && alignof(AEffect) == 8);
static_assert(offsetof(AEffect, dispatcher) == 8 && offsetof(AEffect, process) == 16);
static_assert(offsetof(AEffect, setParameter) == 24 && offsetof(AEffect, getParameter) == 32);
static_assert(offsetof(AEffect, numPrograms) == 40 && offsetof(AEffect, numParams) == 44);
static_assert(offsetof(AEffect, numInputs) == 48 && offsetof(AEffect, numOutputs) == 52);
static_assert(offsetof(AEffect, flags) == 56 && offsetof(AEffect, resvd1) == 64 && offsetof(AEffect, resvd2) == 72);
static_assert(offsetof(AEffect, initialDelay) == 80 && offsetof(AEffect, realQualities) == 84);
static_assert(offsetof(AEffect, offQualities) == 88 && offsetof(AEffect, ioRatio) == 92);
static_assert(offsetof(AEffect, object) == 96 && offsetof(AEffect, user) == 104);
static_assert(offsetof(AEffect, uniqueID) == 112 && offsetof(AEffect, version) == 116);
static_assert(offsetof(AEffect, processReplacing) == 120 && offsetof(AEffect, processDoubleReplacing) == 128);
static_assert(offsetof(AEffect, future) == 136);

static_assert(sizeof(VstEvent) == 32 && offsetof(VstEvent, deltaFrames) == 8 && offsetof(VstEvent, data) == 16);
static_assert(sizeof(VstMidiEvent) == 32 && offsetof(VstMidiEvent, noteLength) == 16);
static_assert(offsetof(VstMidiEvent, midiData) == 24 && offsetof(VstMidiEvent, detune) == 28);
static_assert(offsetof(VstMidiEvent, noteOffVelocity) == 29);
static_assert(sizeof(VstMidiSysexEvent) == 48 && offsetof(VstMidiSysexEvent, dumpBytes) == 16);
static_assert(offsetof(VstMidiSysexEvent, resvd1) == 24 && offsetof(VstMidiSysexEvent, sysexDump) == 32);
static_assert(sizeof(VstEvents) == 32 && offsetof(VstEvents, reserved) == 8 && offsetof(VstEvents, events) == 16);

static_assert(sizeof(VstTimeInfo) == 88 && offsetof(VstTimeInfo, ppqPos) == 24 && offsetof(VstTimeInfo, tempo) == 32);
static_assert(offsetof(VstTimeInfo, barStartPos) == 40 && offsetof(VstTimeInfo, cycleStartPos) == 48);
static_assert(offsetof(VstTimeInfo, cycleEndPos) == 56 && offsetof(VstTimeInfo, timeSigNumerator) == 64);
static_assert(offsetof(VstTimeInfo, timeSigDenominator) == 68 && offsetof(VstTimeInfo, smpteOffset) == 72);
static_assert(offsetof(VstTimeInfo, smpteFrameRate) == 76 && offsetof(VstTimeInfo, samplesToNextClock) == 80);
static_assert(offsetof(VstTimeInfo, flags) == 84);

static_assert(sizeof(VstPinProperties) == 128 && offsetof(VstPinProperties, flags) == 64);
static_assert(offsetof(VstPinProperties, arrangementType) == 68 && offsetof(VstPinProperties, shortLabel) == 72);
static_assert(offsetof(VstPinProperties, future) == 80);
static_assert(sizeof(VstSpeakerProperties) == 112 && offsetof(VstSpeakerProperties, name) == 16);
static_assert(offsetof(VstSpeakerProperties, type) == 80 && offsetof(VstSpeakerProperties, future) == 84);
static_assert(sizeof(VstSpeakerArrangement) == 904 && offsetof(VstSpeakerArrangement, speakers) == 8);

static_assert(sizeof(VstParameterProperties) == 152 && offsetof(VstParameterProperties, label) == 12);
static_assert(offsetof(VstParameterProperties, flags) == 76 && offsetof(VstParameterProperties, minInteger) == 80);
static_assert(offsetof(VstParameterProperties, largeStepInteger) == 92);
static_assert(offsetof(VstParameterProperties, shortLabel) == 96 && offsetof(VstParameterProperties, displayIndex) == 104);
static_assert(offsetof(VstParameterProperties, category) == 106);
static_assert(offsetof(VstParameterProperties, numParametersInCategory) == 108);
static_assert(offsetof(VstParameterProperties, categoryLabel) == 112 && offsetof(VstParameterProperties, future) == 136);
static_assert(sizeof(MidiProgramName) == 80 && offsetof(MidiProgramName, midiProgram) == 68);
static_assert(offsetof(MidiProgramName, parentCategoryIndex) == 72 && offsetof(MidiProgramName, flags) == 76);
static_assert(sizeof(MidiProgramCategory) == 76 && offsetof(MidiProgramCategory, parentCategoryIndex) == 68);
static_assert(sizeof(MidiKeyName) == 80 && offsetof(MidiKeyName, keyName) == 8 && offsetof(MidiKeyName, flags) == 76);
static_assert(sizeof(ERect) == 8 && offsetof(ERect, left) == 2 && offsetof(ERect, right) == 6);
static_assert(sizeof(VstPatchChunkInfo) == 64);

}  // namespace ZnPlug::Vst
