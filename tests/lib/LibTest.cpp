#include <gtest/gtest.h>
#include <locale.h>

#include <fstream>

#include "lib/ByteReader.h"
#include "lib/Error.h"
#include "lib/File.h"
#include "lib/MappedFile.h"
#include "lib/Path.h"
#include "lib/RefCounted.h"
#include "lib/TempFile.h"
#include "lib/Text.h"

using namespace ZnLib;

namespace {
struct Counted : RefCounted {
    explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
    ~Counted() override { --*alive_; }
    int* alive_;
};
struct Derived : Counted {
    using Counted::Counted;
};
}  // namespace

TEST(SharedRef, CountsCopiesMovesAndDestroysAtZero) {
    int alive = 0;
    {
        SharedRef<Counted> a = makeRef<Counted>(&alive);
        EXPECT_EQ(a->refCount(), 1);
        SharedRef<Counted> b = a;
        EXPECT_EQ(a->refCount(), 2);
        SharedRef<Counted> c = std::move(b);
        EXPECT_FALSE(b);
        EXPECT_EQ(a->refCount(), 2);
        SharedRef<Counted> shared(a.get());  // shares an existing object
        EXPECT_EQ(a->refCount(), 3);
        c.reset();
        shared = a;
        EXPECT_EQ(a->refCount(), 2);
        EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
}

TEST(SharedRef, ConvertsToBaseAndCastsBack) {
    int alive = 0;
    SharedRef<Counted> base = makeRef<Derived>(&alive);
    EXPECT_TRUE(refCast<Derived>(base));
    EXPECT_EQ(base->refCount(), 1);
    // A copied object has a count of its own.
    Counted copy(*base);
    EXPECT_EQ(copy.refCount(), 1);
}

TEST(ByteReader, ReadsBothEndiansAndRefusesToPassTheEnd) {
    const uint8_t bytes[] = {'R', 'I', 'F', 'F', 0x01, 0x02, 0x03, 0x04, 0xff};
    ByteReader r(bytes, sizeof bytes);
    EXPECT_EQ(r.fourcc(), fourcc("RIFF"));
    EXPECT_EQ(r.u16le(), 0x0201);
    EXPECT_EQ(r.u16be(), 0x0304);
    EXPECT_EQ(r.i8(), -1);
    EXPECT_TRUE(r.atEnd());
    EXPECT_THROW(r.u8(), OutOfBounds);
    try {
        r.seek(5);
        r.u32le();
        r.u8();
        FAIL();
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "Address out of bounds");
    }
    // A huge length from a lying header must not wrap around the bound test.
    r.seek(2);
    EXPECT_THROW(r.skip(SIZE_MAX), OutOfBounds);
    EXPECT_THROW(r.view(4, SIZE_MAX - 1), OutOfBounds);
    ByteReader sub = ByteReader(bytes, sizeof bytes).view(4, 4);
    EXPECT_EQ(sub.u32be(), 0x01020304u);
    EXPECT_THROW(sub.u8(), OutOfBounds);
}

TEST(Error, NestedCausesAreJoined) {
    try {
        try {
            try {
                throw OutOfBounds();
            } catch (...) {
                throwWrapped("Bad chunk");
            }
        } catch (...) {
            throwWrapped("Could not load /x/a.wav");
        }
    } catch (const std::exception& e) {
        EXPECT_EQ(describe(e), "Could not load /x/a.wav\n - Bad chunk\n - Address out of bounds");
    }
    try {
        throwWrapped("alone");
    } catch (...) {
        EXPECT_EQ(describeCurrent(), "alone");
    }
}

TEST(Path, NormalisesWindowsFormsAndEditsComponents) {
    EXPECT_EQ(FS::normalise("C:\\x\\old.mvprog"), "C:/x/old.mvprog");
    EXPECT_TRUE(FS::isAbsolute("C:\\x"));
    EXPECT_TRUE(FS::isAbsolute("/x"));
    EXPECT_FALSE(FS::isAbsolute("x/y"));
    EXPECT_EQ(FS::replaceFileName("C:\\x\\old.mvprog", "new"), "C:\\x\\new");
    EXPECT_EQ(FS::stem("/a/b.c/d.wav"), "d");
    EXPECT_EQ(FS::extension("/a/b.c/d"), "");
    EXPECT_EQ(FS::extension(".hidden"), "");
    EXPECT_EQ(FS::directory("name"), "");
    EXPECT_EQ(FS::join("/a/", "b"), "/a/b");
}

TEST(File, ReadsIdentityFromDiskAndNoticesChanges) {
    TempFile tmp("morvek-test", ".bin");
    {
        std::ofstream(tmp.path()) << "abc";
    }
    FS::File f(tmp.path());
    EXPECT_EQ(f.size(), 3u);
    EXPECT_NE(f.time(), 0u);
    EXPECT_FALSE(f.changedOnDisk());
    {
        std::ofstream(tmp.path(), std::ios::app) << "d";
    }
    EXPECT_TRUE(f.changedOnDisk());
    EXPECT_TRUE(FS::File().changedOnDisk());
    EXPECT_TRUE(FS::File("/no/such/file").changedOnDisk());

    MappedFile m(tmp.path());
    EXPECT_EQ(m.size(), 4u);
    EXPECT_EQ(m.reader().text(4), "abcd");
}

TEST(MappedFile, MissingFileNamesThePath) {
    try {
        MappedFile m("/no/such/file.wav");
        FAIL();
    } catch (const std::exception& e) {
        EXPECT_EQ(describe(e).rfind("Could not open file /no/such/file.wav\n - ", 0), 0u);
    }
}

TEST(TempFile, IsUniqueAndRemoved) {
    std::string path;
    {
        TempFile a("morvek-test"), b("morvek-test");
        EXPECT_NE(a.path(), b.path());
        path = a.path();
        EXPECT_TRUE(FS::exists(path));
    }
    EXPECT_FALSE(FS::exists(path));
}

TEST(Text, NumbersIgnoreTheProcessLocale) {
    // A host may run with a comma-decimal locale; files must still say "0.50".
    const char* previous = setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    setlocale(LC_NUMERIC, "de_DE.UTF-8");
    EXPECT_EQ(Text::format("%.2f Hz", 0.5), "0.50 Hz");
    float f = 0;
    char word[16] = {};
    EXPECT_EQ(Text::scan("2.5kHz", "%f%15s", &f, word), 2);
    EXPECT_FLOAT_EQ(f, 2.5f);
    EXPECT_STREQ(word, "kHz");
    setlocale(LC_NUMERIC, saved.c_str());

    double d = 0;
    EXPECT_TRUE(Text::parseDouble(" +1.25 ", d));
    EXPECT_DOUBLE_EQ(d, 1.25);
    EXPECT_FALSE(Text::parseDouble("1.25x", d));
    EXPECT_FALSE(Text::parseDouble("", d));
    EXPECT_TRUE(Text::iequals("kHz", "KHZ"));
    EXPECT_EQ(Text::format("%s", std::string(300, 'x').c_str()).size(), 300u);
}

TEST(Text, CutsFitWholeCharacters) {
    using ZnLib::Text::utf8Fit;
    const std::string name = "lo\xE9\xA1\xAF\xE9\xA2\x98\xC3\xA9";  // "lo", two CJK characters, "é": 10 bytes
    EXPECT_EQ(utf8Fit(name, 9), 8u);   // "é" would not fit whole
    EXPECT_EQ(utf8Fit(name, 6), 5u);   // nor the second CJK character
    EXPECT_EQ(utf8Fit(name, 10), 10u);
    EXPECT_EQ(utf8Fit("abcdefghijk", 9), 9u);
    EXPECT_EQ(utf8Fit("ab\x80\x80\x80\x80\x80", 6), 6u);  // not UTF-8: cut as bytes
}
