#include "editor/RestorePartial.h"

namespace MV::Ui {

RestoreWaveData::RestoreWaveData(const ZnLib::SharedRef<ZnPlug::Wave>& wave, Edit edit)
    : RestorePartial(*wave, WaveData{wave->samples(), wave->info()}, kKindWaveData, std::move(edit)) {}

void RestoreWaveData::swapValue(Editor& editor, ZnPlug::Wave& wave, WaveData& copy) {
    editor.engine().killVoices(&wave);
    std::swap(wave.samples(), copy.samples);
    std::swap(wave.info(), copy.info);
    wave.dropPeaks();
}

bool RestoreWaveData::sameValue(const ZnPlug::Wave& wave, const WaveData& copy) const {
    return wave.info() == copy.info && wave.samples() == copy.samples;
}

}  // namespace MV::Ui
