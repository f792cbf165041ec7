#pragma once
#include <string>

namespace ZnPlug {

class Wave;

// What a wave holds, one "label: value" line each, for the command's info output: format, rate,
// channels, frames, depth, root, fine tune, tempo, play range and loops. Keys are named with
// octaveBase as noteName does. [ui-thread]
std::string describeWave(const Wave& wave, int octaveBase = 0);

}  // namespace ZnPlug
