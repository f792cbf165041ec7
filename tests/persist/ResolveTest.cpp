#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include "persist/FileResolver.h"
#include "persist/FindMissing.h"
#include "persist/SettingsTestFolder.h"

using MV::resolve;
using MV::Test::TestFolder;
using ZnLib::FS::File;

namespace {

// Answers each question with the next path of its list, and counts the questions.
class ScriptedFind : public MV::FindMissing {
public:
    explicit ScriptedFind(std::vector<std::string> answers) : answers_(std::move(answers)) {}
    bool find(std::string& path) override {
        asked.push_back(path);
        if (asked.size() > answers_.size()) return false;
        path = answers_[asked.size() - 1];
        return true;
    }
    bool error(const std::string&) override { return false; }
    std::vector<std::string> asked;

private:
    std::vector<std::string> answers_;
};

std::string resolveError(std::vector<std::string>& places, const File& base, const std::string& path) {
    MV::FindNothing nothing;
    int placeIndex = 7;
    try {
        resolve(places, base, path, nothing, placeIndex);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "found";
}

}  // namespace

TEST(Resolve, AProgramMovedWithItsSamplesFolderFindsItsWaves) {
    TestFolder t;
    const File program(t.put("moved/Piano.mvprog"));
    const std::string wave = t.put("moved/Samples/Piano C3.wav", "0123456789");
    std::vector<std::string> places{t / "unrelated"};
    MV::FindNothing nothing;
    int placeIndex = 7;

    for (const char* written : {"Samples/Piano C3.wav", "Samples\\Piano C3.wav", "samples\\PIANO c3.WAV",
                                "./Samples/../Samples/Piano C3.wav"}) {
        const File found = resolve(places, program, written, nothing, placeIndex);
        EXPECT_EQ(found.path(), wave) << written;
        EXPECT_EQ(found.size(), 10u) << "time and size are read after the search";
        EXPECT_EQ(placeIndex, -1);
    }
    EXPECT_EQ(places.size(), 1u);

    // A base that is no file counts as the folder itself.
    EXPECT_EQ(resolve(places, File(t / "moved"), "Samples/Piano C3.wav", nothing, placeIndex).path(), wave);
    // An absolute path that exists is taken as it stands.
    EXPECT_EQ(resolve(places, File(), wave, nothing, placeIndex).path(), wave);
}

TEST(Resolve, AWindowsPathIsFoundThroughThePlacesByCuttingFromTheLeft) {
    TestFolder t;
    const File document(t.put("docs/Bank.mvbank"));
    std::vector<std::string> places{t / "first", t / "new/"};
    MV::FindNothing nothing;
    int placeIndex = -1;

    const std::string deepest = t.put("new/lib/a/b.wav");
    const std::string middle = t.put("new/a/b.wav");
    const std::string last = t.put("new/b.wav");
    EXPECT_EQ(resolve(places, document, "C:\\old\\lib\\a\\b.wav", nothing, placeIndex).path(), deepest);
    EXPECT_EQ(placeIndex, 1);
    std::filesystem::remove(deepest);
    EXPECT_EQ(resolve(places, document, "C:\\old\\lib\\a\\b.wav", nothing, placeIndex).path(), middle);
    std::filesystem::remove(middle);
    EXPECT_EQ(resolve(places, document, "C:\\old\\lib\\a\\b.wav", nothing, placeIndex).path(), last);
    EXPECT_EQ(placeIndex, 1);

    const std::string piano = t.put("first/Piano/a.wav");
    EXPECT_EQ(resolve(places, document, "C:\\Samples\\Piano\\a.wav", nothing, placeIndex).path(), piano);
    EXPECT_EQ(placeIndex, 0);

    // A relative path is tried behind each place before it is cut.
    const std::string strings = t.put("new/Strings/Samples/v.wav");
    t.put("first/Samples/v.wav");
    EXPECT_EQ(resolve(places, document, "Strings\\Samples\\v.wav", nothing, placeIndex).path(), strings);
    EXPECT_EQ(placeIndex, 1);

    // Nothing in the places: the tails are tried in the document's folder, then its file name.
    const std::string beside = t.put("docs/Kit/snare.wav");
    EXPECT_EQ(resolve(places, document, "D:\\Drums\\Kit\\snare.wav", nothing, placeIndex).path(), beside);
    EXPECT_EQ(placeIndex, -1);
    const std::string loose = t.put("docs/kick.wav");
    std::vector<std::string> none;
    EXPECT_EQ(resolve(none, document, "/gone/Drums/kick.wav", nothing, placeIndex).path(), loose);
}

TEST(Resolve, ALibraryMovedAsAWholeNeedsOneAnswer) {
    TestFolder t;
    const File bank(t.put("songs/Song.mvbank"));
    const std::string a = t.put("disk2/Lib/Piano/a.wav");
    const std::string b = t.put("disk2/Lib/Piano/b.wav");
    const std::string c = t.put("disk2/Lib/Strings/c.wav");
    std::vector<std::string> places{t / "elsewhere"};
    ScriptedFind user({a});
    int placeIndex = -1;

    EXPECT_EQ(resolve(places, bank, "E:\\Lib\\Piano\\a.wav", user, placeIndex).path(), a);
    ASSERT_EQ(user.asked, (std::vector<std::string>{t / "songs/a.wav"}));
    EXPECT_EQ(places, (std::vector<std::string>{t / "elsewhere", t / "disk2"}));
    EXPECT_EQ(placeIndex, 1);

    EXPECT_EQ(resolve(places, bank, "E:\\Lib\\Piano\\b.wav", user, placeIndex).path(), b);
    EXPECT_EQ(placeIndex, 1);
    EXPECT_EQ(resolve(places, bank, "/mnt/old/Lib/Strings/c.wav", user, placeIndex).path(), c);
    EXPECT_EQ(user.asked.size(), 1u) << "the learned root answers for the rest";

    // A file of another name teaches no root.
    const std::string other = t.put("picked/other.wav");
    ScriptedFind picked({other});
    EXPECT_EQ(resolve(places, bank, "E:\\Lost\\z.wav", picked, placeIndex).path(), other);
    EXPECT_EQ(places.size(), 2u);
    EXPECT_EQ(placeIndex, -1);
}

TEST(Resolve, FindNothingTurnsAMissingFileIntoAnError) {
    TestFolder t;
    const File bank(t.put("Bank.mvbank"));
    std::vector<std::string> places{t / "lib"};
    EXPECT_EQ(resolveError(places, bank, "Samples\\gone.wav"), "Could not find file " + (t / "Samples/gone.wav"));
    EXPECT_EQ(resolveError(places, bank, "C:\\gone.wav"), "Could not find file C:/gone.wav");
    EXPECT_EQ(places.size(), 1u);

    // A drive-letter path never names a file here, even when such a relative path exists.
    t.put("C:/Samples/x.wav");
    std::vector<std::string> none;
    EXPECT_EQ(resolveError(none, File(), "C:\\Samples\\x.wav"), "Could not find file C:/Samples/x.wav");
}
