#include "model/Split.h"

#include <algorithm>

#include "model/WaveMatrix.h"
#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

// What a fresh choice of wave plays: its first loop, or none when it has none.
int32_t firstLoopOf(const Wave& wave) { return wave.loops.empty() ? -1 : 0; }

// The last valid loop index of `wave`, -1 when it has no loops.
int32_t cutLoop(int32_t index, const Wave& wave) {
    const int32_t last = int32_t(wave.loops.size()) - 1;
    return index > last ? last : index;
}

}  // namespace

Split::Split() : sound(Wave::none()) {}

Split::Split(int8_t key) : key(key), sound(Wave::none()) {}

Wave* Split::wave() const noexcept {
    if ((flags & kSoundMask) == kSoundWave && sound) return static_cast<Wave*>(sound.get());
    return Wave::none();
}

WaveMatrix* Split::matrix() const noexcept {
    if ((flags & kSoundMask) == kSoundMatrix && sound) return static_cast<WaveMatrix*>(sound.get());
    return WaveMatrix::none();
}

bool Split::isEmpty() const noexcept { return isMatrix() ? matrix()->isNone() : wave()->isNone(); }

void Split::setWave(SharedRef<Wave> w) {
    if (!w) w = SharedRef<Wave>(Wave::none());
    if (isMatrix() || sound.get() != w.get()) loop = release = firstLoopOf(*w);
    sound = SharedRef<ZnPlug::SoundItem>(std::move(w));
    flags = uint8_t((flags & ~kSoundMask) | kSoundWave);
}

void Split::setMatrix(SharedRef<WaveMatrix> m) {
    if (!m) m = SharedRef<WaveMatrix>(WaveMatrix::none());
    loop = release = -1;
    sound = SharedRef<ZnPlug::SoundItem>(std::move(m));
    flags = uint8_t((flags & ~kSoundMask) | kSoundMatrix);
}

uint8_t Split::root() const noexcept {
    if (hasOverride()) return rootOverride;
    return isMatrix() ? matrix()->rootOfSelection() : wave()->root;
}

int8_t Split::fine() const noexcept {
    if (hasOverride()) return fineOverride;
    return isMatrix() ? matrix()->fineOfSelection() : wave()->fine;
}

void Split::setRoot(uint8_t value) {
    if (!hasOverride()) fineOverride = fine();
    rootOverride = value;
    setOverrideFlag(true);
    testOverride();
}

void Split::setFine(int8_t value) {
    if (!hasOverride()) rootOverride = root();
    fineOverride = value;
    setOverrideFlag(true);
    testOverride();
}

void Split::setOverride(uint8_t r, int8_t f) {
    rootOverride = r;
    fineOverride = f;
    setOverrideFlag(true);
}

void Split::clearOverride() noexcept {
    rootOverride = 255;
    fineOverride = 0;
    setOverrideFlag(false);
}

void Split::setOverrideFlag(bool on) noexcept {
    flags = uint8_t((flags & ~(3 << kOverrideShift)) | (on ? 1 << kOverrideShift : 0));
}

void Split::testOverride() noexcept {
    if (isMatrix()) return;
    const Wave* w = wave();
    if (rootOverride == w->root && fineOverride == w->fine) setOverrideFlag(false);
}

std::string Split::displayName() const {
    std::string text = sound ? sound->name() : std::string();
    if (isMatrix() || loop < 0) return text;
    const Wave* w = wave();
    if (std::size_t(loop) < w->loops.size() && w->loops[std::size_t(loop)].isSlice())
        text += " #" + w->loops[std::size_t(loop)].nameText();
    return text;
}

void Split::normalise() {
    const Wave& w = *wave();
    loop = cutLoop(loop, w);
    release = cutLoop(release, w);
    // Whole hundreds of cents move into the root, counted from 50 cents on: 60 cents become -40
    // cents one key higher. The pairing of 50 and 100 is how older files were read; keep it.
    const int q = fineOverride / 50;
    int r = rootOverride;
    if (r < 255) r = std::clamp(r + q, 0, 127);
    rootOverride = uint8_t(r);
    fineOverride = int8_t(fineOverride - q * 100);
    if (hasOverride()) testOverride();
}

bool Split::operator==(const Split& o) const noexcept {
    return loop == o.loop && release == o.release && key == o.key && flags == o.flags &&
           rootOverride == o.rootOverride && fineOverride == o.fineOverride && sound == o.sound;
}

}  // namespace MV
