#include <gtest/gtest.h>

#include "runtime/ProfileFile.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

class IniFile : public testing::Test {
  protected:
    TemporaryDirectory directory;
    std::string path = directory.file("test.ini");
    CIniFile file{path.c_str()};
};

TEST_F(IniFile, GrowsItsBufferToTheValue) {
    // The two halves of a list: each line is short enough, but the list is longer than 1024 bytes.
    std::string contents = "[s]\n";
    std::vector<std::string> names;
    for (int i = 0; i < 200; ++i) {
        names.push_back("key number " + std::to_string(i));
        contents += names.back() + "=" + std::string(1000, 'v') + "\n";
    }
    writeFile(path, contents);
    EXPECT_EQ(file.GetString("s", "key number 7", ""), std::string(1000, 'v'));
    std::vector<std::string> found{"old"};
    file.GetEnums(found, "s");
    EXPECT_EQ(found, names);
}

// Lines are cut at 1023 characters, so long results are lists and defaults.
TEST_F(IniFile, GrowsItsBufferToTheDefault) {
    const std::string byDefault(5000, 'd');
    EXPECT_EQ(file.GetString("s", "k", byDefault.c_str()), byDefault);
    EXPECT_STREQ(file.GetString("s", "k", "short"), "short");
    const std::string tooLong(70'000, 'd');
    EXPECT_EQ(file.GetString("s", "k", tooLong.c_str()), tooLong.c_str());
    EXPECT_STREQ(file.GetString("s", "k", "after"), "after");
    std::string out;
    EXPECT_EQ(file.GetString(out, "s", "k", tooLong.c_str()), 1);
    EXPECT_EQ(out, tooLong);
}

/// Names whose list has `size` characters, each name with its NUL, and a file with them as keys.
std::vector<std::string> namesOf(std::size_t listLength, std::string& contents) {
    constexpr std::size_t usual = 100;
    std::vector<std::string> names;
    contents = "[s]\n";
    while (listLength > 0) {
        const std::size_t taken = listLength < 2 * usual ? listLength : usual;
        names.push_back(std::to_string(names.size() + 1'000));
        names.back().resize(taken - 1, 'n');
        contents += names.back() + "=1\n";
        listLength -= taken;
    }
    return names;
}

// The buffer grows by 1024 bytes if the result fills it up to two characters.
TEST_F(IniFile, ListsOfEveryLengthAroundItsStepsAreWhole) {
    for (const std::size_t step : {1024UL, 2048UL, 3072UL, 63 * 1024UL}) {
        for (std::size_t length = step - 4; length <= step + 2; ++length) {
            SCOPED_TRACE(length);
            std::string contents;
            const std::vector<std::string> names = namesOf(length, contents);
            writeFile(path, contents);
            CIniFile fresh(path.c_str());
            std::vector<std::string> found;
            fresh.GetEnums(found, "s");
            const bool fits = length + 2 < 63 * 1024;
            EXPECT_EQ(found, fits ? names : std::vector<std::string>());
            file.GetEnums(found, "s");
            EXPECT_EQ(found, fits ? names : std::vector<std::string>());
        }
    }
}

TEST_F(IniFile, GivesUpOnMoreThan64KiB) {
    std::string contents = "[s]\n";
    for (int i = 0; i < 7000; ++i) {
        contents += "key" + std::to_string(i + 1000000) + "=1\n";
    }
    writeFile(path, contents);
    EXPECT_STREQ(file.GetEnum("s"), "");
    EXPECT_STREQ(file.GetNextEnum(), "");
    std::string out = "old";
    EXPECT_EQ(file.GetString(out, "s", nullptr, nullptr), 1);
    EXPECT_EQ(out, "");
    EXPECT_STREQ(file.GetString("s", "key1000001", "d"), "1");
}

TEST_F(IniFile, ReturnsTheDefaultItWasGiven) {
    const char* byDefault = "default";
    EXPECT_STREQ(file.GetString("s", "k", byDefault), byDefault);
    EXPECT_STREQ(file.GetString("s", "k", nullptr), "");
    std::string out;
    EXPECT_EQ(file.GetString(out, "s", "k", byDefault), 1);
    EXPECT_EQ(out, "default");
    EXPECT_EQ(file.GetString(out, "s", "k", nullptr), 1);
    EXPECT_EQ(out, "");
}

TEST_F(IniFile, WalksAList) {
    writeFile(path, "[one]\na=1\nb=2\n[two]\n[three]\nc=3\n");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetEnum("one"), "a");
    EXPECT_STREQ(file.GetNextEnum(), "b");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetEnum(nullptr), "one");
    EXPECT_STREQ(file.GetNextEnum(), "two");
    EXPECT_STREQ(file.GetEnum("two"), "");
    EXPECT_STREQ(file.GetEnum("three"), "c");
    // Remains of the previous lists are behind the end.
    for (int i = 0; i < 10; ++i) {
        EXPECT_STREQ(file.GetNextEnum(), "");
    }
}

TEST_F(IniFile, SetsAndDeletes) {
    EXPECT_EQ(file.SetString("s", "k", "v"), 1);
    EXPECT_STREQ(file.GetString("s", "k", ""), "v");
    EXPECT_EQ(file.SetString("s", "k", nullptr), 1);
    EXPECT_STREQ(file.GetString("s", "k", "gone"), "gone");
    EXPECT_EQ(file.SetString(nullptr, "k", "v"), 0);
}

TEST_F(IniFile, CopiesASection) {
    writeFile(path, "[from]\na=1\nb=two\n[to]\nb=old\n");
    EXPECT_EQ(file.CopySection("from", "to"), 1);
    EXPECT_STREQ(file.GetString("to", "a", ""), "1");
    EXPECT_STREQ(file.GetString("to", "b", ""), "two");
    EXPECT_EQ(file.CopySection("to", "to"), 1);
    EXPECT_STREQ(file.GetString("to", "b", ""), "two");
}

TEST_F(IniFile, CopyingNoSectionCopiesNothing) {
    const std::string before = "[one]\na=1\n[two]\nb=2\n";
    writeFile(path, before);
    EXPECT_EQ(file.CopySection(nullptr, "two"), 1);
    EXPECT_EQ(file.CopySection("missing", "two"), 1);
    EXPECT_EQ(file.CopySection("one", nullptr), 1);
    EXPECT_EQ(readFile(path), before);
}

TEST_F(IniFile, AnObjectWithoutAFileDoesNothing) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        CIniFile none(name);
        std::string out = "kept";
        std::vector<std::string> list{"dropped"};
        const char* byDefault = "default";
        EXPECT_EQ(none.GetString("s", "k", byDefault), byDefault);
        EXPECT_EQ(none.GetString(out, "s", "k", "d"), 0);
        EXPECT_EQ(out, "kept");
        EXPECT_STREQ(none.GetEnum("s"), "");
        EXPECT_STREQ(none.GetNextEnum(), "");
        none.GetEnums(list, "s");
        EXPECT_TRUE(list.empty());
        EXPECT_EQ(none.SetString("s", "k", "v"), 0);
        EXPECT_EQ(none.CopySection("s", "t"), 0);
    }
}

TEST_F(IniFile, KeepsItsOwnCopyOfTheName) {
    std::string name = path;
    CIniFile copy(name.c_str());
    name.assign(name.size(), '!');
    EXPECT_EQ(copy.SetString("s", "k", "v"), 1);
    EXPECT_EQ(readFile(path), "\n[s]\n\nk=v\n");
}

}  // namespace
}  // namespace varnock::test
