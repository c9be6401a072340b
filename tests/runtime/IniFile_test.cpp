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
    // Two halves of a list: no line is longer than a line may be, but the list outgrows 1024 bytes.
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

TEST_F(IniFile, GivesUpOnMoreThan64KiB) {
    std::string contents = "[s]\n";
    for (int i = 0; i < 7000; ++i) contents += "key" + std::to_string(i + 1000000) + "=1\n";
    writeFile(path, contents);
    EXPECT_STREQ(file.GetEnum("s"), "");
    EXPECT_STREQ(file.GetNextEnum(), "");
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
    writeFile(path, "[one]\na=1\nb=2\n[two]\n");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetEnum("one"), "a");
    EXPECT_STREQ(file.GetNextEnum(), "b");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetNextEnum(), "");
    EXPECT_STREQ(file.GetEnum(nullptr), "one");
    EXPECT_STREQ(file.GetNextEnum(), "two");
    EXPECT_STREQ(file.GetEnum("two"), "");
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
