#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "SettingsTestFolder.h"
#include "persist/MVPeaksContext.h"

using MV::MVPeaksContext;

TEST(MVPeaksContextTest, CacheNamesBySettings) {
    MV::Test::TestFolder cache;
    const std::string wave = "/music/loop.wav";
    const std::string hashed = cache.path() + "/88/f46e613f4832bea5cc308fba27a5c687d5bbba.reapeaks";

    EXPECT_EQ(MVPeaksContext(MVPeaksContext::kNever, cache.path()).peakFile(wave, true), wave + ".reapeaks");

    const MVPeaksContext always(MVPeaksContext::kAlways, cache.path());
    EXPECT_EQ(always.peakFile(wave, true), hashed);
    // Reading falls back to the name beside the wave while the cache file isn't there.
    EXPECT_EQ(always.peakFile(wave, false), wave + ".reapeaks");
    ::mkdir((cache.path() + "/88").c_str(), 0755);
    std::ofstream(hashed) << "x";
    EXPECT_EQ(always.peakFile(wave, false), hashed);
    // Without an existing cache folder, everything stays beside the wave.
    EXPECT_EQ(MVPeaksContext(MVPeaksContext::kAlways, cache.path() + "/none").peakFile(wave, true),
              wave + ".reapeaks");
}

TEST(MVPeaksContextTest, WriteProtectedWaveFolderUsesTheCache) {
    MV::Test::TestFolder cache, waves;
    const MVPeaksContext context(MVPeaksContext::kIfWriteProtected, cache.path());
    const std::string wave = waves.path() + "/a.wav";
    EXPECT_EQ(context.peakFile(wave, true), wave + ".reapeaks");
    // A folder that can't be written into (a missing one: root may write anywhere else).
    const std::string locked = waves.path() + "/missing/a.wav";
    EXPECT_EQ(context.peakFile(locked, true).rfind(cache.path(), 0), 0u);
}
