#pragma once
#include <gtest/gtest.h>

#include <string>

#include "editor/Editor.h"
#include "engine/Morvek.h"
#include "plug/Wave.h"

namespace MV::Ui::Test {

// An engine with its default program, given one group, and the editor over it.
struct EditorTest : ::testing::Test {
    EditorTest() { program.addGroup(ZnLib::makeRef<Group>()); }
    Morvek engine;
    Editor editor{engine};
    Program& program = editor.program();
};

// A mono wave of `frames` frames with a ramp in it; root and loops as given.
inline ZnLib::SharedRef<ZnPlug::Wave> rampWave(const std::string& name, uint32_t frames = 64, uint8_t root = 255) {
    ZnPlug::SampleBuffer b(frames, 1);
    for (uint32_t i = 0; i < frames; ++i) b.channel(0)[i] = 0.25f * float(i % 7) - 0.5f;
    auto w = ZnLib::makeRef<ZnPlug::Wave>(std::move(b), 44100, 32, 3, ZnPlug::kFormatWave, root);
    w->setName(name);
    return w;
}

}  // namespace MV::Ui::Test
