#include "lib/IniFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "lib/Path.h"
#include "lib/TempFile.h"

using namespace ZnLib;

namespace {

void put(const std::string& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string writeError(IniFile& ini, const std::string& section, const std::string& key, const std::string& value) {
    try {
        ini.write(section, key, value);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "no error";
}

}  // namespace

TEST(IniFile, FindsSectionsAndKeysWithoutCaseAndFallsBackToDefaults) {
    TempFile file("ini", ".ini");
    put(file.path(),
        "; a comment=not a key\n"
        "orphan=before any section\n"
        "[Global]\n"
        "  NumPaths =  3  \n"
        "Path0=\"/data/My Samples\"\n"
        "path0=second spelling loses\n"
        "# Skin=commented\n"
        "Skin=default.skin\n"
        "[global]\n"
        "Later=a second section of that name is never looked at\n"
        "[Other]\n"
        "Empty=\n");
    IniFile ini(file.path());

    EXPECT_EQ(ini.read("GLOBAL", "numpaths"), "3");
    EXPECT_EQ(ini.read("global", "PATH0"), "/data/My Samples");
    EXPECT_EQ(ini.read("Global", "Later", "dflt"), "dflt");
    EXPECT_EQ(ini.read("Global", "orphan", "dflt"), "dflt");
    EXPECT_EQ(ini.read("Missing", "Skin", "dflt"), "dflt");
    EXPECT_EQ(ini.read("Other", "Empty", "dflt"), "");
    EXPECT_TRUE(ini.contains("other", "empty"));
    EXPECT_FALSE(ini.contains("Global", "# Skin"));
    EXPECT_EQ(ini.keys("gLoBaL"), (std::vector<std::string>{"NumPaths", "Path0", "Skin"}));
    EXPECT_TRUE(ini.keys("Missing").empty());

    EXPECT_EQ(ini.readInt("Global", "NumPaths", -1), 3);
    EXPECT_EQ(ini.readInt("Global", "Skin", -1), -1);
    EXPECT_EQ(ini.readInt("Global", "Nothing", 7), 7);
    EXPECT_TRUE(ini.readBool("Global", "NumPaths", false));
    EXPECT_DOUBLE_EQ(ini.readDouble("Global", "Skin", 0.25), 0.25);

    IniFile missing(FS::join(TempFile::folder(), "morvek-no-such-file.ini"));
    EXPECT_EQ(missing.read("Global", "Skin", "dflt"), "dflt");
    EXPECT_TRUE(missing.keys("Global").empty());
}

TEST(IniFile, ReadsAtMost260Characters) {
    TempFile file("ini", ".ini");
    IniFile ini(file.path());
    const std::string longValue(300, 'x');
    ini.write("Global", "Path0", longValue);
    EXPECT_EQ(readAll(file.path()).find(longValue) != std::string::npos, true) << "the whole value is written";
    EXPECT_EQ(ini.read("Global", "Path0"), std::string(260, 'x'));
    EXPECT_EQ(ini.read("Global", "Nothing", longValue).size(), 260u);

    // Characters, not bytes: a two-byte letter counts once and is never split.
    std::string umlauts;
    for (int i = 0; i < 300; ++i) umlauts += "\xC3\xBC";
    ini.write("Global", "Path1", umlauts);
    EXPECT_EQ(ini.read("Global", "Path1"), umlauts.substr(0, 520));
}

TEST(IniFile, WriteChangesOneLineAndKeepsTheRest) {
    TempFile file("ini", ".ini");
    put(file.path(),
        "; Morvek settings\r\n"
        "[Global]\r\n"
        "COMPAT=2300\r\n"
        "; places follow\r\n"
        "NumPaths=0\r\n"
        "\r\n"
        "[Settings]\r\n"
        "Skin=old.skin\r\n");
    IniFile ini(file.path());

    ini.write("global", "compat", "2400");
    ini.write("GLOBAL", "Path0", "/data/lib");
    ini.write("Outputs", "Output0", "1");
    ini.writeBool("Settings", "UsePlaces", false);

    EXPECT_EQ(readAll(file.path()),
              "; Morvek settings\r\n"
              "[Global]\r\n"
              "COMPAT=2400\r\n"
              "; places follow\r\n"
              "NumPaths=0\r\n"
              "Path0=/data/lib\r\n"
              "\r\n"
              "[Settings]\r\n"
              "Skin=old.skin\r\n"
              "UsePlaces=0\r\n"
              "\r\n"
              "[Outputs]\r\n"
              "Output0=1\r\n");
    EXPECT_FALSE(ini.readBool("settings", "useplaces", true));
}

TEST(IniFile, CreatesTheFileAndRefusesWhatWouldBreakIt) {
    TempFile folder("ini-folder");
    const std::string path = folder.path() + ".ini";
    ::unlink(path.c_str());
    {
        IniFile ini(path);
        ini.writeInt("Global", "NumPaths", 2);
        EXPECT_EQ(readAll(path), "[Global]\nNumPaths=2\n");

        EXPECT_EQ(writeError(ini, "Global", "Path0", "two\nlines"), "Could not write settings value: {Path0, two\nlines}");
        EXPECT_EQ(writeError(ini, "Global", "a=b", "x"), "Could not write settings value: {a=b, x}");
        EXPECT_EQ(writeError(ini, "Global", " ", "x"), "Could not write settings value: { , x}");
        EXPECT_EQ(readAll(path), "[Global]\nNumPaths=2\n");
    }
    ::unlink(path.c_str());

    IniFile nowhere(FS::join(TempFile::folder(), "morvek-no-such-folder/settings.ini"));
    EXPECT_EQ(writeError(nowhere, "Global", "Compat", "2400"), "Could not write settings value: {Compat, 2400}");
}

TEST(IniFile, KeepsAUtf16FileInUtf16) {
    auto utf16 = [](const std::u16string& text) {
        std::string bytes = "\xFF\xFE";
        for (char16_t c : text) bytes += {char(c & 0xFF), char(c >> 8)};
        return bytes;
    };
    TempFile file("ini", ".ini");
    put(file.path(), utf16(u"[Global]\r\nName=B\u00e4ss\r\n"));
    IniFile ini(file.path());
    EXPECT_EQ(ini.read("global", "name"), "B\xC3\xA4ss");
    ini.write("Global", "Name", "Fl\xC3\xB6te");
    EXPECT_EQ(readAll(file.path()), utf16(u"[Global]\r\nName=Fl\u00f6te\r\n"));
}
