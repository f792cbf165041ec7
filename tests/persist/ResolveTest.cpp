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

// Where `written` is found from `base`, and the index of the place it was found in.
std::pair<std::string, int> found(std::vector<std::string>& places, const File& base, const std::string& written,
                                  MV::FindMissing& find) {
    int placeIndex = 7;
    return {resolve(places, base, written, find, placeIndex).path(), placeIndex};
}

std::string resolveError(std::vector<std::string>& places, const File& base, const std::string& path) {
    MV::FindNothing nothing;
    try {
        found(places, base, path, nothing);
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
        const File file = resolve(places, program, written, nothing, placeIndex);
        EXPECT_EQ(file.path(), wave) << written;
        EXPECT_EQ(file.size(), 10u) << "time and size are read after the search";
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
    const auto find = [&](const std::string& written) { return found(places, document, written, nothing); };

    const std::string deepest = t.put("new/lib/a/b.wav");
    const std::string middle = t.put("new/a/b.wav");
    const std::string last = t.put("new/b.wav");
    EXPECT_EQ(find("C:\\old\\lib\\a\\b.wav"), std::pair(deepest, 1));
    std::filesystem::remove(deepest);
    EXPECT_EQ(find("C:\\old\\lib\\a\\b.wav"), std::pair(middle, 1));
    std::filesystem::remove(middle);
    EXPECT_EQ(find("C:\\old\\lib\\a\\b.wav"), std::pair(last, 1));
    EXPECT_EQ(find("C:\\Samples\\Piano\\a.wav"), std::pair(t.put("first/Piano/a.wav"), 0));

    // A relative path is tried behind each place before it is cut.
    const std::string strings = t.put("new/Strings/Samples/v.wav");
    t.put("first/Samples/v.wav");
    EXPECT_EQ(find("Strings\\Samples\\v.wav"), std::pair(strings, 1));

    // Nothing in the places: the tails are tried in the document's folder, then its file name.
    EXPECT_EQ(find("D:\\Drums\\Kit\\snare.wav"), std::pair(t.put("docs/Kit/snare.wav"), -1));
    const std::string loose = t.put("docs/kick.wav");
    std::vector<std::string> none;
    EXPECT_EQ(found(none, document, "/gone/Drums/kick.wav", nothing).first, loose);
}

TEST(Resolve, ALibraryMovedAsAWholeNeedsOneAnswer) {
    TestFolder t;
    const File bank(t.put("songs/Song.mvbank"));
    const std::string a = t.put("disk2/Lib/Piano/a.wav");
    const std::string b = t.put("disk2/Lib/Piano/b.wav");
    const std::string c = t.put("disk2/Lib/Strings/c.wav");
    std::vector<std::string> places{t / "elsewhere"};
    ScriptedFind user({a});

    EXPECT_EQ(found(places, bank, "E:\\Lib\\Piano\\a.wav", user), std::pair(a, 1));
    ASSERT_EQ(user.asked, (std::vector<std::string>{t / "songs/a.wav"}));
    EXPECT_EQ(places, (std::vector<std::string>{t / "elsewhere", t / "disk2"}));
    EXPECT_EQ(found(places, bank, "E:\\Lib\\Piano\\b.wav", user), std::pair(b, 1));
    EXPECT_EQ(found(places, bank, "/mnt/old/Lib/Strings/c.wav", user).first, c);
    EXPECT_EQ(user.asked.size(), 1u) << "the learned root answers for the rest";

    // A file of another name teaches no root.
    const std::string other = t.put("picked/other.wav");
    ScriptedFind picked({other});
    EXPECT_EQ(found(places, bank, "E:\\Lost\\z.wav", picked), std::pair(other, -1));
    EXPECT_EQ(places.size(), 2u);
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
