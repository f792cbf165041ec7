#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "model/ModulationTables.h"

namespace MV {

// Modulation sources and destinations by number and by the text the documents and presets hold,
// and the text of a modulation amount, whose unit depends on the destination. [any-thread]
class WireFormModulation {
public:
    // Sources: 0 "--", 1 to 20 the named ones, then 16 external controllers, 128 MIDI
    // controllers and 128 automation parameters.
    static constexpr uint16_t kFirstExternal = kSourceFirstExternal;
    static constexpr uint16_t kFirstMidiCC = kSourceFirstMidiCC;
    static constexpr uint16_t kFirstParam = kSourceFirstParam;
    static constexpr uint16_t kSourceCount = MV::kSourceCount;
    // Destinations 0 "--" to 33 "Glide".
    static constexpr uint8_t kDestinationCount = MV::kDestinationCount;
    static constexpr uint8_t kVolume = kDestVolume;

    // The file form of a source; "" past the table.
    static std::string sourceName(uint16_t source);
    // The number of a source text, or -1. Also takes "Pressure" of old documents, read as
    // "Channel Pressure", and numbers of any width behind "Param " and "Midi CC ".
    static int parseSource(std::string_view text);

    // The file form of a destination: 15 is "SEQ4 Amp" by the documents' old spelling. "" past
    // the table.
    static std::string_view destinationName(uint8_t destination);
    // The number of a destination text, or -1. "SEQ3 Amp" reads as 15 too, and "Amp" of old
    // documents as "Volume".
    static int parseDestination(std::string_view text);

    // The amount of an entry in the unit of its destination: "Pitch" and "Pitch (raw)" cents as
    // a plain number; "Filter Freq" a signed frequency ("2000 Hz"); the four rates a signed rate
    // ("+2.00 Hz"); "Loop Start", "Loop End", "Wave Start", "Delay", "Glide" a signed time
    // ("-1.50s"); all others a plain number. Each parser also takes a bare number in that unit.
    static std::string amountText(uint8_t destination, float amount);
    static bool parseAmount(uint8_t destination, std::string_view text, float& amount);
};

}  // namespace MV
