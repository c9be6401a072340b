#include "runtime/RegistryNode.h"

#include <gtest/gtest.h>
#include <string.h>

#include <cmath>
#include <cstdint>

#include "runtime/files/FileStream.h"
#include "tests/support/ForeignLocale.h"
#include "tests/support/TraceCapture.h"

namespace {

thread_local unsigned long comparisons = 0;

}  // namespace

/// The linker replaces the library's comparison of names by this function.
extern "C" int __real_strcmp(const char* left, const char* right);
extern "C" int __wrap_strcmp(const char* left, const char* right);
extern "C" int __wrap_strcmp(const char* left, const char* right) {
    ++comparisons;
    return __real_strcmp(left, right);
}

namespace varnock::test {
namespace {

void restore(CRegistryNode& node, std::string text) {
    text += '\0';  // fmemopen refuses an empty buffer
    const FileStream file(fmemopen(text.data(), text.size() - 1 > 0 ? text.size() - 1 : 1, "r"));
    node.restoreNode(file.get());
}

std::string dump(CRegistryNode& node) {
    char* text = nullptr;
    size_t size = 0;
    FILE* file = open_memstream(&text, &size);
    node.dumpNode(file);
    fclose(file);
    std::string out(text, size);
    free(text);
    return out;
}

std::string roundTrip(const std::string& text) {
    CRegistryNode node;
    restore(node, text);
    return dump(node);
}

CRegistryNode* subkey(CRegistryNode& node, const char* name) {
    void* value = nullptr;
    return node.find(name, value) == REGISTRY_KEY ? static_cast<CRegistryNode*>(value) : nullptr;
}

std::string bytesOf(CRegistryNode& node, const char* name) {
    void* value = nullptr;
    const unsigned int type = node.find(name, value);
    unsigned int number = 0;
    const void* data = CRegistryNode::valueData(type, value, number);
    return {static_cast<const char*>(data), CRegistryNode::valueSize(type, value)};
}

void set(CRegistryNode& node, const char* name, unsigned int type, const std::string& data) {
    node.put(name, type,
             CRegistryNode::makeValue(type, data.data(), static_cast<unsigned int>(data.size())));
}

TEST(RegistryNode, ReadsAndWritesTheSameLines) {
    const std::string file = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=abc\n\n\n\n";
    CRegistryNode root;
    restore(root, file);
    CRegistryNode* software = subkey(*subkey(root, "HKEY_LOCAL_MACHINE"), "SOFTWARE");
    ASSERT_NE(software, nullptr);
    void* value = nullptr;
    EXPECT_EQ(software->find("Name", value), static_cast<unsigned int>(REGISTRY_STRING));
    EXPECT_STREQ(static_cast<char*>(value), "abc");
    EXPECT_EQ(dump(root), file);
}

TEST(RegistryNode, WritesValuesThenKeysInByteOrder) {
    EXPECT_EQ(roundTrip("b=s=1\n[z]\n\n[Z]\n\na=s=2\nB=s=3\n\n"),
              "B=s=3\na=s=2\nb=s=1\n[Z]\n\n[z]\n\n\n");
}

TEST(RegistryNode, ReadsBytesWithAndWithoutTheLastBlank) {
    for (const char* line :
         {"Data=b=01 ff 7a \n\n", "Data=b=01 ff 7a\n\n", "Data=b=1 FF 7A x\n\n"}) {
        CRegistryNode node;
        restore(node, line);
        EXPECT_EQ(bytesOf(node, "Data"), std::string("\x01\xFF\x7A", 3));
        EXPECT_EQ(dump(node), "Data=b=01 ff 7a \n\n");
    }
    EXPECT_EQ(roundTrip("Empty=b=\n\n"), "Empty=b=\n\n");
}

TEST(RegistryNode, ReadsNumbersAsTheirLow32Bits) {
    EXPECT_EQ(roundTrip("a=d=-5\nb=d=4294967295\nc=d=0\nd=d=12 tail\ne=d=4294967301\n\n"),
              "a=d=-5\nb=d=-1\nc=d=0\nd=d=12\ne=d=5\n\n");
    EXPECT_EQ(roundTrip("a=d=none\nb=d=\n\n"), "\n");
    EXPECT_EQ(roundTrip("a=d=010\nb=d=0x10\nc=d= +7\n\n"), "a=d=10\nb=d=0\nc=d=7\n\n");
}

TEST(RegistryNode, TheLocaleChangesNoNumbersAndNoWhiteSpace) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    const std::string text =
        "b=b=01 \xA0"
        "02 \nn=d=\xA0"
        "5\nm=d= 1.234\nt=s=\xA0t\xA0\n[\xA0k\xA0]\n\n\n";
    const std::string before = roundTrip(text);
    ASSERT_TRUE(locale.use());
    EXPECT_EQ(roundTrip(text), before);
    EXPECT_EQ(before, "b=b=01 \nm=d=1\nt=s=\xA0t\xA0\n[\xA0k\xA0]\n\n\n");
}

TEST(RegistryNode, OnlyANameCannotHoldAnEqualsSign) {
    CRegistryNode node;
    restore(node, "P=s=a=b\nQ=es=%X%=s=\n=s=empty name\nno marker\nR=x=1\nS=1\n\n");
    EXPECT_EQ(bytesOf(node, "P"), std::string("a=b", 4));
    EXPECT_EQ(dump(node), "=s=empty name\nP=s=a=b\nQ=es=%X%=s=\n\n");
}

TEST(RegistryNode, AKeyNameRunsToTheLastBracket) {
    EXPECT_EQ(roundTrip("[a]b]\n\n[=s=x]\n\n[no bracket\n\n"), "[=s=x]\n\n[a]b]\n\n\n");
}

TEST(RegistryNode, OfDuplicateNamesTheLastWins) {
    CRegistryNode node;
    restore(node, "a=s=1\n[k]\nx=s=1\n\na=d=2\n[k]\ny=s=2\n\n[v]\n\nv=b=01\n\n");
    EXPECT_EQ(dump(node), "a=d=2\nv=b=01 \n[k]\ny=s=2\n\n\n");
}

TEST(RegistryNode, ReadingReplacesWhatIsThere) {
    CRegistryNode node;
    set(node, "a", REGISTRY_STRING, "old");
    set(node, "b", REGISTRY_STRING, "stays");
    restore(node, "a=d=1\n\n");
    EXPECT_EQ(dump(node), "a=d=1\nb=s=stays\n\n");
}

TEST(RegistryNode, WhatWasReadMayBeReplacedAndRemoved) {
    CRegistryNode node;
    restore(node, "a=s=old\nb=b=01 02 \nc=es=%X%\nd=d=1\ne=s=kept\n\n");
    set(node, "a", REGISTRY_STRING, "new");
    set(node, "b", REGISTRY_STRING, "text");
    set(node, "d", REGISTRY_BINARY, "z");
    EXPECT_TRUE(node.erase("c"));
    EXPECT_EQ(dump(node), "a=s=new\nb=s=text\nd=b=7a \ne=s=kept\n\n");
    restore(node, "a=b=03 \nc=d=7\n\n");
    set(node, "a", REGISTRY_EXPAND, "%Y%");
    EXPECT_TRUE(node.erase("e"));
    EXPECT_EQ(dump(node), "a=es=%Y%\nb=s=text\nc=d=7\nd=b=7a \n\n");
}

TEST(RegistryNode, TheEndOfTheFileEndsAllOpenKeys) {
    TraceCapture trace(1);
    EXPECT_EQ(roundTrip("[a]\n[b]\nx=s=1"), "[a]\n[b]\nx=s=1\n\n\n\n");
    EXPECT_EQ(trace.count("CRegistry: WARNING: the file ends inside a key"), 1U);
    EXPECT_EQ(roundTrip("x=s=1\n"), "x=s=1\n\n");
    EXPECT_EQ(trace.count("the file ends inside a key"), 1U);
}

TEST(RegistryNode, WhatFollowsTheEndOfTheKeyIsLeft) {
    EXPECT_EQ(roundTrip("a=s=1\n\nb=s=2\n\n"), "a=s=1\n\n");
}

TEST(RegistryNode, DeepNestingNeedsNoStack) {
    std::string file;
    for (int i = 0; i < 200'000; ++i) {
        file += "[a]\n";
    }
    CRegistryNode node;
    restore(node, file);
    EXPECT_EQ(dump(node), file + std::string(200'001, '\n'));
}

TEST(RegistryNode, ALongLineIsCutAndSaidToBe) {
    TraceCapture trace(1);
    CRegistryNode node;
    restore(node, "a=s=" + std::string(5000, 'x') + "\nb=s=2\n\n");
    EXPECT_EQ(bytesOf(node, "a").size(), 1023U - 4 + 1);
    EXPECT_EQ(bytesOf(node, "b"), std::string("2", 2));
    EXPECT_TRUE(trace.contains("CRegistry: WARNING: a line of the file is too long and was cut: "));
}

TEST(RegistryNode, AFileOfLongLinesCausesAHundredWarnings) {
    TraceCapture trace(1);
    std::string text;
    for (int i = 0; i < 150; ++i) {
        text += "v" + std::to_string(i) + "=s=" + std::string(5000, 'x') + "\n";
    }
    CRegistryNode node;
    restore(node, text);
    EXPECT_EQ(trace.count("CRegistry: WARNING"), 100U);
    EXPECT_EQ(node.entries(), 150U);
}

TEST(RegistryNode, AValueThatWillBeCutIsWrittenWholeAndNamed) {
    TraceCapture trace(1);
    CRegistryNode node;
    set(node, "long", REGISTRY_STRING, std::string(2000, 'x'));
    EXPECT_EQ(dump(node), "long=s=" + std::string(2000, 'x') + "\n\n");
    EXPECT_TRUE(trace.contains("will be cut when it is read again: \"long\""));
}

TEST(RegistryNode, AKeyWhoseLineWouldBeCutIsNotWritten) {
    TraceCapture trace(1);
    CRegistryNode node;
    const std::string longest(1021, 'k');
    for (const std::string& name : {longest, longest + "k"}) {
        auto* key = new CRegistryNode;
        set(*key, "inside", REGISTRY_STRING, "x");
        node.put(name.c_str(), REGISTRY_KEY, key);
    }
    node.put("sibling", REGISTRY_KEY, new CRegistryNode);
    const std::string text = dump(node);
    EXPECT_EQ(text, "[" + longest + "]\ninside=s=x\n\n[sibling]\n\n\n");
    EXPECT_EQ(roundTrip(text), text);
    EXPECT_EQ(trace.count("a key cannot be written to the file"), 1U);
}

TEST(RegistryNode, WhatWouldCorruptTheFileIsNotWritten) {
    TraceCapture trace(1);
    CRegistryNode node;
    set(node, "text", REGISTRY_STRING, "a\n[evil]");
    set(node, "na\nme", REGISTRY_STRING, "x");
    set(node, "na=me", REGISTRY_NUMBER, std::string(4, '\0'));
    set(node, "[key]", REGISTRY_STRING, "x");
    set(node, "[half", REGISTRY_STRING, "closed]");
    set(node, "[open", REGISTRY_STRING, "fine");
    node.put("key\nname", REGISTRY_KEY, new CRegistryNode);
    EXPECT_EQ(dump(node), "[open=s=fine\n\n");
    EXPECT_EQ(trace.count("a value cannot be written to the file"), 5U);
    EXPECT_EQ(trace.count("a key cannot be written to the file"), 1U);
}

TEST(RegistryNode, NullEntriesAreSkipped) {
    CRegistryNode node;
    node.put("key", REGISTRY_KEY, nullptr);
    node.put("text", REGISTRY_STRING, nullptr);
    node.put("zero", REGISTRY_NUMBER, nullptr);
    EXPECT_EQ(dump(node), "zero=d=0\n\n");
}

TEST(RegistryNode, EntriesOfNoTypeOfTheFileAreNotWritten) {
    CRegistryNode node;
    int memory = 0;
    for (const unsigned int type : {5U, 665U, 667U}) {
        node.put(std::to_string(type).c_str(), type, &memory);
    }
    EXPECT_EQ(dump(node), "\n");
}

TEST(RegistryNode, NothingButTheNewlineEndsALine) {
    CRegistryNode node;
    restore(node, "[key]\r\n\r\n \nvalue=s= text \r\n\nlast=s=x\n\n");
    CRegistryNode* key = subkey(node, "key");
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(bytesOf(*key, "value"), std::string(" text \r", 8));
    EXPECT_EQ(bytesOf(node, "last"), std::string("x", 2));
}

TEST(RegistryNode, TextsAreWrittenUpToTheirNul) {
    CRegistryNode node;
    set(node, "a", REGISTRY_STRING, std::string("x\0y", 3));
    EXPECT_EQ(dump(node), "a=s=x\n\n");
    EXPECT_EQ(bytesOf(node, "a").size(), 2U);
}

TEST(RegistryNode, ManyNamesInAnyOrderAreSortedOnce) {
    std::string file;
    for (int i = 0; i < 100'000; ++i) {
        file += "n" + std::to_string((i * 7919) % 100'000) + "=d=1\n";
    }
    CRegistryNode node;
    restore(node, file + "\n");
    EXPECT_EQ(node.entries(), 100'000U);
    const std::string written = dump(node);
    EXPECT_EQ(written.size(), file.size() + 1);
    CRegistryNode again;
    restore(again, written);
    EXPECT_EQ(dump(again), written);
}

// A file of the library is sorted, so loading only checks the order and the equality of names. Any
// other order costs one sort.
TEST(RegistryNode, ReadingAndWritingCostIsThatOfOneSortAtMost) {
    for (const unsigned long values : {1'000UL, 10'000UL, 100'000UL}) {
        std::string shuffled;
        for (unsigned long i = 0; i < values; ++i) {
            shuffled += "n" + std::to_string((i * 7919) % values) + "=s=text\n";
        }
        CRegistryNode node;
        comparisons = 0;
        restore(node, shuffled + "\n");
        const double perValue = static_cast<double>(comparisons) / static_cast<double>(values);
        EXPECT_LT(perValue, 1.2 * std::log2(static_cast<double>(values)) + 2);
        EXPECT_GT(comparisons, values);
        comparisons = 0;
        const std::string written = dump(node);
        EXPECT_EQ(comparisons, 0U);
        CRegistryNode again;
        restore(again, written);
        EXPECT_GE(comparisons, values);
        EXPECT_LE(comparisons, 2 * values);
        EXPECT_EQ(again.entries(), values);
    }
}

TEST(RegistryNode, AnyBytesAreReadWithoutHarm) {
    std::uint32_t state = 1;
    for (int round = 0; round < 300; ++round) {
        std::string file;
        for (int i = 0; i < 400; ++i) {
            state = state * 1664525U + 1013904223U;
            static constexpr char alphabet[] = "[]=sdeb\n\n\n0f %x\0\\/";
            file += alphabet[(state >> 16) % (sizeof alphabet)];
        }
        const std::string once = roundTrip(file);
        EXPECT_EQ(roundTrip(once), once);
    }
}

}  // namespace
}  // namespace varnock::test
