#pragma once
#include <cstdint>
#include <functional>
#include <string>

namespace Cli {

struct ConvertOptions {
    // With a SoundFont: "BANK:PROG", the one preset to convert; empty converts every preset.
    std::string preset;
    // Every referenced item gets a fresh copy beside the new document.
    bool copyContent = false;
    // Where new waves go: 0 beside the document, 1 "Samples/", 2 "<document>_Samples/"; -1 the
    // settings' choice.
    int sampleFolder = -1;
    // A host preset file (.fxb, .fxp) holds every wave's content, not its path; otherwise as the
    // settings say.
    bool embedWaves = false;
};

// Called with the share done (0 to 1) and the file at hand.
using ConvertProgress = std::function<void(double done, const std::string& path)>;

// Reads any instrument the command reads and saves it as the document type that `out`'s extension
// names, with the waves it needs, or as a host preset file: ".fxb" the whole bank, ".fxp" the
// current performance with what it plays, each as the plug-in's state. A whole SoundFont becomes a bank whose programs stand in General
// MIDI order and follow program changes.
// Returns the number of files written. An existing `out` is replaced only when the save succeeds.
// [ui-thread]
std::size_t convertInstrument(const std::string& in, const std::string& out, const ConvertOptions& options,
                              const ConvertProgress& progress = {});

}  // namespace Cli
