#pragma once
#include <cstdint>

// The modulation sources and destinations that imported groups use, by their numbers in a
// group's modulation table.
namespace MV::ImportCodes {

inline constexpr uint16_t kSourceEnv1 = 2;
inline constexpr uint16_t kSourceEnv2 = 3;
inline constexpr uint16_t kSourceLfo1 = 4;
inline constexpr uint16_t kSourceLfo2 = 5;
inline constexpr uint16_t kSourceSeq1 = 6;
inline constexpr uint16_t kSourceVelocity = 12;
inline constexpr uint16_t kSourcePitchbend = 15;
inline constexpr uint16_t kSourceModWheel = 16;
inline constexpr uint16_t kSourceChannelPressure = 17;
inline constexpr uint16_t kSourceAftertouch = 18;
inline constexpr uint16_t kSourceFirstMidiCC = 37;  // "Midi CC 0"

inline constexpr uint8_t kDestLfo2Amp = 9;
inline constexpr uint8_t kDestFilterFreq = 16;
inline constexpr uint8_t kDestPitch = 19;
inline constexpr uint8_t kDestPitchRaw = 20;
inline constexpr uint8_t kDestVolume = 21;

}  // namespace MV::ImportCodes
