#include "model/Group.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "model/WaveMatrix.h"
#include "plug/Wave.h"

namespace MV {

using ZnLib::SharedRef;
using ZnPlug::Wave;

namespace {

int clampInt(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// A low bound moves to `value`; the fade low bound keeps its distance from it, pushing the fade
// high bound up when it passes it, and stays between the low bound and the fade high bound.
void moveLow(int8_t& low, int8_t& fadeLow, int8_t& fadeHigh, int high, int value) {
    const int distance = fadeLow - low;
    low = int8_t(value);
    const int newFadeLow = clampInt(value + distance, value, std::max(value, high));
    if (newFadeLow > fadeHigh) fadeHigh = int8_t(newFadeLow);
    fadeLow = int8_t(clampInt(newFadeLow, low, fadeHigh));
}

// The mirror image for a high bound.
void moveHigh(int8_t& high, int8_t& fadeHigh, int8_t& fadeLow, int low, int value) {
    const int distance = high - fadeHigh;
    high = int8_t(value);
    const int newFadeHigh = clampInt(value - distance, std::min(low, value), value);
    if (newFadeHigh < fadeLow) fadeLow = int8_t(newFadeHigh);
    fadeHigh = int8_t(clampInt(newFadeHigh, fadeLow, high));
}

// An offset fits when both bounds stay 0 to 127, tested as unsigned bytes.
bool offsetFits(int low, int high, int offset) {
    return uint8_t(low + offset) < 128 && uint8_t(high + offset) < 128;
}

void orderPair(int8_t& low, int8_t& high) {
    low = int8_t(clampInt(low, 0, 127));
    high = int8_t(clampInt(high, 0, 127));
    if (low > high) std::swap(low, high);
}

}  // namespace

Group::Group() : Group("New Group") {}

Group::Group(std::string name) : GroupRangeParams(std::move(name)), splits(1, Split(range.lowKey)) {}

Group::Group(const Group& o)
    : ModCounted(o),
      _RefCounted(),
      Soloable(o),
      GroupSoundParams(o),
      GroupRangeParams(o),
      MemUsage(o),
      RoundRobin(o),
      splits(o.splits) {
    if (o.switcher) switcher = ZnLib::makeRef<Switcher>(*o.switcher);
    if (o.insert) insert = o.insert->clone();
}

Group& Group::operator=(const Group& o) {
    if (this == &o) return *this;
    ModCounted::operator=(o);
    Soloable::operator=(o);
    GroupSoundParams::operator=(o);
    GroupRangeParams::operator=(o);
    RoundRobin::operator=(o);
    splits = o.splits;
    switcher = o.switcher ? ZnLib::makeRef<Switcher>(*o.switcher) : SharedRef<Switcher>();
    insert = o.insert ? o.insert->clone() : SharedRef<FX::Insert>();
    return *this;
}

bool Group::modified() const {
    if (ModCounted::modified()) return true;
    for (const Split& s : splits)
        if (s.sound && s.sound->modified()) return true;
    return false;
}

std::size_t Group::memUsage() const { return (name.size() + splits.size() * 8) * 2 + 788; }

void Group::setLowKey(int key) {
    const int upper = splits.size() <= 1 ? range.highKey : splits[1].key - 1;
    key = std::max(0, std::min(key, upper));
    moveLow(range.lowKey, fade.lowKey, fade.highKey, range.highKey, key);
    splits.front().key = range.lowKey;
}

void Group::setHighKey(int key) {
    key = std::max(std::min(key, 127), int(splits.back().key));
    moveHigh(range.highKey, fade.highKey, fade.lowKey, range.lowKey, key);
}

void Group::setLowVelocity(int velocity) {
    velocity = std::max(0, std::min(velocity, int(range.highVel)));
    moveLow(range.lowVel, fade.lowVel, fade.highVel, range.highVel, velocity);
}

void Group::setHighVelocity(int velocity) {
    velocity = std::max(std::min(velocity, 127), int(range.lowVel));
    moveHigh(range.highVel, fade.highVel, fade.lowVel, range.lowVel, velocity);
}

void Group::shift(int keyOffset, int velocityOffset) {
    if (offsetFits(range.lowKey, range.highKey, keyOffset)) {
        range.lowKey = int8_t(range.lowKey + keyOffset);
        range.highKey = int8_t(range.highKey + keyOffset);
        fade.lowKey = int8_t(fade.lowKey + keyOffset);
        fade.highKey = int8_t(fade.highKey + keyOffset);
        for (Split& s : splits) s.key = int8_t(s.key + keyOffset);
    }
    if (offsetFits(range.lowVel, range.highVel, velocityOffset)) {
        range.lowVel = int8_t(range.lowVel + velocityOffset);
        range.highVel = int8_t(range.highVel + velocityOffset);
        fade.lowVel = int8_t(fade.lowVel + velocityOffset);
        fade.highVel = int8_t(fade.highVel + velocityOffset);
    }
}

void Group::sortSplits() {
    std::stable_sort(splits.begin(), splits.end(), [](const Split& a, const Split& b) { return a.key < b.key; });
}

void Group::addSplit(const Split& split) {
    if (splits.size() == 1 && splits.front().isEmpty()) splits.clear();
    placeSplit(split);
}

void Group::placeSplit(const Split& split) {
    for (Split& s : splits)
        if (s.key == split.key) {
            s = split;
            return;
        }
    splits.push_back(split);
    sortSplits();
    // Of the splits at or below the low key only the last can ever play: it holds the low key.
    // The ones before it go, so that raising the first to the low key leaves no two splits on
    // one key, which a saved document could not bring back.
    std::size_t holder = 0;
    while (holder + 1 < splits.size() && splits[holder + 1].key <= range.lowKey) ++holder;
    splits.erase(splits.begin(), splits.begin() + std::ptrdiff_t(holder));
    splits.front().key = range.lowKey;
}

void Group::removeSplit(int key) {
    for (std::size_t i = splits.size(); i-- > 0;)
        if (splits[i].key <= key) {
            splits.erase(splits.begin() + std::ptrdiff_t(i));
            break;
        }
    if (splits.empty()) splits.emplace_back(int8_t(0));
    // The first split always starts at the low key, the empty one left behind too.
    splits.front().key = range.lowKey;
}

void Group::splitsFrom(int key) {
    key = clampInt(key, range.lowKey, range.highKey);
    std::size_t first = 0;
    for (std::size_t i = 0; i < splits.size(); ++i)
        if (splits[i].key <= key) first = i;
    splits.erase(splits.begin(), splits.begin() + std::ptrdiff_t(first));
    splits.front().key = int8_t(key);
    range.lowKey = int8_t(key);
    fade.lowKey = int8_t(std::max<int>(fade.lowKey, key));
    fade.highKey = int8_t(std::max(fade.highKey, fade.lowKey));
}

void Group::splitsTo(int key) {
    key = clampInt(key, range.lowKey, range.highKey);
    splits.erase(std::remove_if(splits.begin() + 1, splits.end(), [key](const Split& s) { return s.key > key; }),
                 splits.end());
    range.highKey = int8_t(key);
    fade.highKey = int8_t(std::min<int>(fade.highKey, key));
    fade.lowKey = int8_t(std::min(fade.lowKey, fade.highKey));
}

bool Group::placeWave(SharedRef<Wave> wave, int low, int high) {
    if (!wave) return false;
    low = clampInt(low, 0, 127);
    high = clampInt(high, 0, 127);
    if (low > high) std::swap(low, high);
    if (isEmpty()) {
        Split s{int8_t(low)};
        s.setWave(std::move(wave));
        splits.assign(1, s);
        range.lowKey = fade.lowKey = int8_t(low);
        range.highKey = fade.highKey = int8_t(high);
        return true;
    }
    const Split& last = splits.back();
    const int lastKey = last.key;
    int key = lastKey + 1;
    const uint8_t lastRoot = last.wave()->root;
    if (lastRoot < 255) {
        // Half way from the last root to the new one, so that each wave is played nearest its root.
        const int base = std::max<int>(lastRoot, lastKey);
        key = wave->root < 255 ? base + std::abs(wave->root - base) / 2 + 1 : base + 4;
    }
    key = std::min(key, high);
    if (key < lastKey + 1) return false;
    Split s{int8_t(key)};
    s.setWave(std::move(wave));
    splits.push_back(std::move(s));
    setHighKey(std::max<int>(high, range.highKey));
    return true;
}

const Split& Group::splitFor(int key) const noexcept {
    std::size_t found = 0;
    for (std::size_t i = 0; i < splits.size() && splits[i].key <= key; ++i) found = i;
    return splits[found];
}

bool Group::isEmpty() const noexcept {
    return std::all_of(splits.begin(), splits.end(), [](const Split& s) { return s.isEmpty(); });
}

void Group::normalise() {
    // One step of coarse is worth 50 cents here, not 100: older files were read that way.
    int f = fine, c = coarse;
    while (f < -50) {
        c -= 1;
        f += 50;
    }
    while (f > 50) {
        c += 1;
        f -= 50;
    }
    fine = int8_t(f);
    coarse = int8_t(clampInt(c, -127, 127));

    if (splits.empty()) splits.emplace_back(range.lowKey);
    sortSplits();
    orderPair(range.lowKey, range.highKey);
    orderPair(range.lowVel, range.highVel);
    orderPair(fade.lowKey, fade.highKey);
    orderPair(fade.lowVel, fade.highVel);
    setLowKey(range.lowKey);
    setHighKey(range.highKey);
    setLowVelocity(range.lowVel);
    setHighVelocity(range.highVel);

    // Branch-free clamps, as the voices compute them.
    amp = (std::fabs(amp) + 1 - std::fabs(amp - 1)) * 0.5f;
    pan = (std::fabs(pan + 1) - std::fabs(pan - 1)) * 0.5f;

    for (Split& s : splits) s.normalise();
    if (switcher && switcher->isDefault()) switcher.reset();
}

bool Group::operator==(const Group& o) const {
    return static_cast<const GroupSoundParams&>(*this) == static_cast<const GroupSoundParams&>(o) &&
           static_cast<const GroupRangeParams&>(*this) == static_cast<const GroupRangeParams&>(o) &&
           soloBits() == o.soloBits() && splits == o.splits && switcher == o.switcher && insert == o.insert;
}

}  // namespace MV
