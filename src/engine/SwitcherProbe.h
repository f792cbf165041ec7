#pragma once

#include "engine/NoteSources.h"

namespace MV {

class Switcher;

// Whether a note may sound a group with this switcher, judged as at the note's start. The
// conditions are tried in a fixed order, any of them failing the note: random range, sequence
// step, tempo range, key switches, previous key, source range. A disabled switcher is not asked.
// `note.channel` is the record whose history and counts the test reads.
// [audio-thread] [main-lock]
bool switcherPasses(Morvek& engine, const Switcher& switcher, const NoteContext& note);

}  // namespace MV
