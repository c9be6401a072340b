#include "runtime/Registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <limits>
#include <thread>

#include "runtime/files/FileStream.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr long kOpenFailed = 4294967295L;

/// A process whose registry has one key. A process loads the tree once, and each test has its own
/// process.
class Registry : public testing::Test {
  protected:
    Registry() {
        setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
        writeFile(directory.file("registry"),
                  "[HKEY_LOCAL_MACHINE]\n"
                  "[SOFTWARE]\nBytes=b=01 ff 7a \nExpand=es=%VT_HOME%/x%%y\nName=s=abc\n"
                  "Number=d=-5\n[Sub]\n\n[Tree/with/slashes]\n\n\n\n\n");
    }

    TemporaryDirectory directory;
};

TEST_F(Registry, OpensPathsWithEitherSeparator) {
    CRegistry key;
    EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
    EXPECT_NE(static_cast<CRegistryNode*>(key), nullptr);
    EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub", nullptr), 0);
    EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE/SOFTWARE/Sub", nullptr), 0);
    EXPECT_EQ(key.Open("SOFTWARE\\Sub\\", CRegistry::MLocalMachine), 0);
    // A slash separates only if no backslash follows.
    EXPECT_EQ(key.Open("SOFTWARE\\Tree/with/slashes\\", CRegistry::MLocalMachine), 0);
    EXPECT_EQ(key.Open("SOFTWARE\\Tree/with/slashes", CRegistry::MLocalMachine), kOpenFailed);
}

TEST_F(Registry, ANullOrEmptyPathIsTheRootItself) {
    CRegistry key;
    EXPECT_EQ(key.Open(nullptr, CRegistry::MLocalMachine), 0);
    EXPECT_EQ(static_cast<CRegistryNode*>(key), CRegistry::MLocalMachine);
    EXPECT_EQ(key.Open("", nullptr), 0);
    EXPECT_EQ(static_cast<CRegistryNode*>(key), &CRegistry::MRoot);
}

TEST_F(Registry, AFailedOpenClosesWhatWasOpen) {
    TraceCapture trace(2);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    for (const char* path : {"software", "SOFTWARE\\Name", "SOFTWARE\\\\Sub", "No\\Such"}) {
        EXPECT_EQ(key.Open(path, CRegistry::MLocalMachine), kOpenFailed) << path;
        EXPECT_EQ(key.Status(), kOpenFailed);
        EXPECT_EQ(static_cast<CRegistryNode*>(key), nullptr);
    }
    EXPECT_TRUE(trace.contains("CRegistry::Open \"software\", hKey = "));
}

TEST_F(Registry, CreatesWhatIsMissing) {
    TraceCapture trace(2);
    CRegistry key;
    CRegistry::MIsDirty = 0;
    EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE\\Sub"), 0);
    EXPECT_EQ(CRegistry::MIsDirty, 0);
    EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE\\New\\Deep\\"), 0);
    EXPECT_EQ(CRegistry::MIsDirty, 1);
    CRegistryNode* deep = key;
    EXPECT_EQ(key.Open("SOFTWARE/New/Deep", CRegistry::MLocalMachine), 0);
    EXPECT_EQ(static_cast<CRegistryNode*>(key), deep);
    EXPECT_EQ(key.CreateKey(nullptr, "below"), 0);
    EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE\\Name\\x"), -1);
    CRegistry none;
    EXPECT_EQ(none.CreateKey(nullptr, "x"), -1);
    EXPECT_TRUE(trace.contains("CRegistry::CreateKey \"SOFTWARE\\New\\Deep\\\""));
}

TEST_F(Registry, AKeyThatCannotBeCreatedLeavesTheCurrentOne) {
    CRegistry key("SOFTWARE\\Sub", CRegistry::MLocalMachine);
    CRegistryNode* const sub = key;
    CRegistry::MIsDirty = 0;
    for (const char* path : {"SOFTWARE\\Name", "SOFTWARE\\Name\\", "SOFTWARE/Number/x"}) {
        EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, path), -1) << path;
        EXPECT_EQ(static_cast<CRegistryNode*>(key), sub);
    }
    EXPECT_EQ(CRegistry::MIsDirty, 0);
    EXPECT_STREQ(CRegistry("SOFTWARE", CRegistry::MLocalMachine).GetValue("Name"), "abc");
}

TEST_F(Registry, AnEmptyComponentEndsTheCreation) {
    CRegistry key;
    for (const char* path : {static_cast<const char*>(nullptr), "", "\\New", "/New"}) {
        EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, path), 0);
        EXPECT_EQ(static_cast<CRegistryNode*>(key), CRegistry::MLocalMachine);
    }
    EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE\\\\New"), 0);
    unsigned int count = 0;
    EXPECT_EQ(key.NoOfSubKeys(&count), 0);
    EXPECT_EQ(count, 2U) << "SOFTWARE, as it was";
}

TEST_F(Registry, AWalkThatRunsOutOfMemoryFailsAndSaysSo) {
    const TraceCapture trace(2);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    const std::string path = "A key with a long name\\" + std::string(40, 'k');
    std::size_t failures = 0;
    const auto failEach = [&](long failed, auto walk) {
        for (std::size_t n = 1;; ++n) {
            const FailingAllocation failure(n);
            const long result = walk();
            if (!failure.happened()) {
                break;
            }
            EXPECT_TRUE(result == 0 || result == failed);
            if (result == failed) {
                ++failures;
            }
        }
    };
    failEach(-1, [&] { return key.CreateKey(CRegistry::MLocalMachine, path.c_str()); });
    EXPECT_GT(failures, 3U);
    failEach(kOpenFailed, [&] { return key.Open(path.c_str(), CRegistry::MLocalMachine); });
    EXPECT_GT(failures, 5U);
    EXPECT_EQ(trace.count("CRegistry::Open ##ERROR while opening !!!"), failures);
    EXPECT_EQ(key.Open(path.c_str(), CRegistry::MLocalMachine), 0);
}

TEST_F(Registry, TracesItsOperationsAtLevelTwo) {
    const auto operate = [] {
        CRegistry key;
        const unsigned char bytes[] = {1, 2};
        key.Open("none", nullptr);
        key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE");
        key.SetValue("Data", bytes, 2, 3);
        key.DeleteValue("Data");
        key.DeleteKey(nullptr);
        key.OpenPointerKey("gone", "x");
    };
    TraceCapture trace(2);
    operate();
    EXPECT_THAT(
        trace.messages(),
        ElementsAre("CRegistry::Open \"none\", hKey = 0", "CRegistry::CreateKey \"SOFTWARE\"",
                    "CRegistry::SetValue \"Data\" 2 3", "CRegistry::DeleteValue \"Data\"",
                    "CRegistry::DeleteKey \"(null)\"", "CRegistry::OpenPointer \"gone\"",
                    "CRegistry::Open \"gone\", hKey = 0"));
    trace.clear();
    trace.setLevel(1);
    operate();
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(Registry, ReadsValuesByType) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    EXPECT_STREQ(key.GetValue("Name"), "abc");
    EXPECT_EQ(key.ValueSize(), 4U);
    EXPECT_EQ(key.ValueType(), 1U);
    EXPECT_EQ(key.GetValueSize("Name"), 4U);
    ASSERT_NE(key.GetValue("Bytes"), nullptr);
    EXPECT_EQ(key.ValueSize(), 3U);
    EXPECT_EQ(key.GetValueSize("Bytes"), 3U);
    int number = 0;
    memcpy(&number, key.GetValue("Number"), sizeof number);
    EXPECT_EQ(number, -5);
    EXPECT_EQ(key.ValueSize(), 4U);
    EXPECT_EQ(key.ValueType(), 4U);
    EXPECT_EQ(key.GetValueSize("Number"), 4U);
    EXPECT_EQ(key.GetValue("Sub"), nullptr);
    EXPECT_EQ(key.GetValue("missing"), nullptr);
    EXPECT_EQ(key.GetValue(nullptr), nullptr);
    EXPECT_EQ(key.GetValueSize("Sub"), 0U);
    EXPECT_EQ(key.GetValueSize("missing"), 0U);
    CRegistry closed;
    EXPECT_EQ(closed.GetValue("Name"), nullptr);
    EXPECT_STREQ(closed.GetValue("Name", key), "abc");
    EXPECT_EQ(closed.GetValueSize("Name", key), 4U);
    EXPECT_EQ(closed.GetValueSize("Name"), 0U);
}

TEST_F(Registry, ExpandsReferencesToTheEnvironment) {
    setenv("VT_HOME", "/root", 1);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    EXPECT_STREQ(key.GetValue("Expand"), "/root/x%y");
    EXPECT_EQ(key.ValueSize(), 10U);
    const auto expanded = [&](const char* text) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(text);
        key.SetValue("e", bytes, static_cast<unsigned int>(strlen(text)), 2U);
        return std::string(key.GetValue("e"));
    };
    EXPECT_EQ(expanded("%VT_UNSET%."), ".");
    EXPECT_EQ(expanded("open %VT_HOME"), "open VT_HOME");
    EXPECT_EQ(expanded("%"), "");
    EXPECT_EQ(expanded("%%%"), "%");
    EXPECT_EQ(expanded(""), "");
    EXPECT_EQ(expanded("%VT_HOME%%VT_HOME%"), "/root/root");
}

TEST_F(Registry, TakesTextsWithoutMemoryForEmptyOnes) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    CRegistryNode* node = key;
    for (const unsigned int type : {REGISTRY_STRING, REGISTRY_EXPAND}) {
        node->put("null", type, nullptr);
        std::string text = "before";
        EXPECT_EQ(key.QueryValue(text, "null"), 0);
        EXPECT_EQ(text, "");
        char room[4] = "xyz";
        EXPECT_EQ(key.QueryValue(room, "null", 4U), 0);
        EXPECT_STREQ(room, "");
        EXPECT_STREQ(key.GetValue("null"), "");
        EXPECT_EQ(key.ValueSize(), 0U);
        // Values are sorted by name, so this is the last one.
        unsigned char data[4] = {'x', 'y', 'z', 0};
        unsigned int length = sizeof data;
        EXPECT_EQ(key.EnumVal(nullptr, nullptr, 4, 0, data, &length), 0);
        EXPECT_STREQ(reinterpret_cast<char*>(data), "");
        EXPECT_EQ(length, 0U);
    }
}

TEST_F(Registry, QueriesTexts) {
    setenv("VT_HOME", "", 1);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    std::string text;
    EXPECT_EQ(key.QueryValue(text, "Name"), 0);
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(key.QueryValue(text, "Expand"), 0);
    EXPECT_EQ(text, "/x%y");
    EXPECT_EQ(key.ValueSize(), 5U);
    EXPECT_EQ(key.ValueType(), 2U);
    EXPECT_EQ(key.QueryValue(text, "Number"), 61);
    EXPECT_EQ(key.QueryValue(text, "missing"), 61);
    EXPECT_EQ(key.Status(), 61);
    CRegistry closed;
    EXPECT_EQ(closed.QueryValue(text, "Name"), 22);
    EXPECT_EQ(closed.Status(), 22);
    EXPECT_EQ(closed.QueryValue(text, "Name", key), 0);
    EXPECT_EQ(closed.Status(), 0);
}

TEST_F(Registry, QueriesTextsIntoABuffer) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    char buffer[8] = "#######";
    unsigned int size = sizeof buffer;
    EXPECT_EQ(key.QueryValue(buffer, "Name", &size), 0);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(size, 4U);
    size = 3;
    EXPECT_EQ(key.QueryValue(buffer, "Name", &size), 0);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(size, 3U);
    EXPECT_EQ(key.QueryValue(buffer, "Name", 0U), 22);
    EXPECT_EQ(key.Status(), 22);
    EXPECT_EQ(key.QueryValue(static_cast<char*>(nullptr), "Name", 8U), 22);
    EXPECT_EQ(key.QueryValue(buffer, "Name", static_cast<unsigned int*>(nullptr)), 22);
    EXPECT_EQ(key.QueryValue(buffer, "Bytes", 8U), 61);
}

TEST_F(Registry, QueriesNumbers) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    unsigned int number = 0;
    EXPECT_EQ(key.QueryValue(&number, "Number"), 0);
    EXPECT_EQ(number, 0xFFFFFFFBU);
    EXPECT_EQ(key.QueryValue(&number, "Name"), 61);
    EXPECT_EQ(key.QueryValue(static_cast<unsigned int*>(nullptr), "Number"), 22);
    CRegistry closed;
    EXPECT_EQ(closed.QueryValue(&number, "Number"), 22);
}

TEST_F(Registry, SetsValuesOfEachType) {
    TraceCapture trace(2);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    EXPECT_EQ(key.SetValue("t", "text"), 0);
    EXPECT_STREQ(key.GetValue("t"), "text");
    EXPECT_TRUE(trace.contains("CRegistry::SetValue \"t\" 4 1"));
    EXPECT_EQ(key.SetValue("t", 7U), 0);
    unsigned int number = 0;
    EXPECT_EQ(key.QueryValue(&number, "t"), 0);
    EXPECT_EQ(number, 7U);
    const unsigned char bytes[] = {0, 1, 2, 3};
    EXPECT_EQ(key.SetValue("t", bytes, 4, 3), 1);
    EXPECT_EQ(key.GetValueSize("t"), 4U);
    EXPECT_EQ(key.SetValue("t", bytes, 4, 4), 1);
    EXPECT_EQ(key.QueryValue(&number, "t"), 0);
    EXPECT_EQ(number, 0x03020100U);
    EXPECT_EQ(key.SetValue("t", bytes + 1, 0, 1), 1);
    EXPECT_STREQ(key.GetValue("t"), "");
    EXPECT_EQ(key.SetValue("t", nullptr, 0, 3), 1);
    EXPECT_EQ(key.GetValueSize("t"), 0U);
    CRegistry other("SOFTWARE\\Sub", CRegistry::MLocalMachine);
    EXPECT_EQ(other.SetValue("t", bytes, 4, 3, key), 1);
    EXPECT_EQ(key.GetValueSize("t"), 4U);
    EXPECT_EQ(other.GetValueSize("t"), 0U);
}

TEST_F(Registry, RefusesWhatIsNoValue) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    CRegistry::MIsDirty = 0;
    const unsigned char bytes[8] = {};
    for (const unsigned int type : {0U, 5U, 666U}) {
        EXPECT_EQ(key.SetValue("x", bytes, 4, type), 0);
    }
    // A failed attempt also counts as a change.
    EXPECT_EQ(CRegistry::MIsDirty, 1);
    EXPECT_EQ(key.SetValue("x", bytes, 3, 4), 0);
    EXPECT_EQ(key.SetValue("x", bytes, 8, 4), 0);
    EXPECT_EQ(key.SetValue(nullptr, bytes, 4, 3), 0);
    EXPECT_EQ(key.SetValue("x", nullptr, 4, 3), 0);
    CRegistry::MIsDirty = 0;
    EXPECT_EQ(key.SetValue("x", static_cast<const char*>(nullptr)), 22);
    EXPECT_EQ(CRegistry::MIsDirty, 1);
    CRegistry closed;
    EXPECT_EQ(closed.SetValue("x", "text"), 22);
    EXPECT_EQ(closed.SetValue("x", 1U), 22);
    EXPECT_EQ(key.GetValueSize("x"), 0U);
}

TEST_F(Registry, DeletesKeysAndValues) {
    TraceCapture trace(2);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    CRegistry::MIsDirty = 0;
    EXPECT_EQ(key.DeleteKey("Name"), 22);
    EXPECT_EQ(key.DeleteKey("Sub\\x"), 22);
    EXPECT_EQ(key.DeleteKey(nullptr), 22);
    EXPECT_EQ(key.DeleteValue("missing"), 22);
    EXPECT_EQ(key.DeleteValue(nullptr), 22);
    EXPECT_EQ(CRegistry::MIsDirty, 0);
    CRegistry handle("SOFTWARE\\Sub", CRegistry::MLocalMachine);
    EXPECT_EQ(key.DeleteKey("Sub"), 0);
    EXPECT_EQ(CRegistry::MIsDirty, 1);
    // An open handle stays usable.
    EXPECT_EQ(handle.SetValue("x", 1U), 0);
    EXPECT_EQ(key.DeleteValue("Name"), 0);
    EXPECT_EQ(key.GetValue("Name"), nullptr);
    EXPECT_EQ(key.DeleteValue("Tree/with/slashes"), 0);
    CRegistry closed;
    EXPECT_EQ(closed.DeleteKey("x"), 22);
    EXPECT_EQ(closed.DeleteValue("x"), 22);
    EXPECT_TRUE(trace.contains("CRegistry::DeleteKey \"Sub\""));
    EXPECT_TRUE(trace.contains("CRegistry::DeleteValue \"Name\""));
}

TEST_F(Registry, DeletingARootKeyForgetsItsPointer) {
    CRegistry root(nullptr, CRegistry::MLocalMachine);
    EXPECT_EQ(root.Open(nullptr, nullptr), 0);
    EXPECT_EQ(root.DeleteKey("HKEY_LOCAL_MACHINE"), 0);
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
}

TEST_F(Registry, AHandleMayBeMadeOnARootKeyThatIsBeingRemoved) {
    { CRegistry loadsTheTree; }
    std::thread other([] {
        CRegistry root;
        EXPECT_EQ(root.Open(nullptr, nullptr), 0);
        EXPECT_EQ(root.DeleteKey("HKEY_LOCAL_MACHINE"), 0);
    });
    CRegistry handle(CRegistry::MLocalMachine);
    const CRegistry path("SOFTWARE", CRegistry::MLocalMachine);
    other.join();
    EXPECT_EQ(handle.DeleteKey("missing"), 22) << "before or after, nothing is harmed";
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
}

TEST_F(Registry, AValueInPlaceOfARootKeyForgetsItsPointer) {
    CRegistry handle("SOFTWARE", CRegistry::MLocalMachine);
    CRegistry root;
    EXPECT_EQ(root.Open(nullptr, nullptr), 0);
    EXPECT_EQ(root.SetValue("HKEY_LOCAL_MACHINE", "no key"), 0);
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
    // The replaced key must not come back: it is freed with the removed keys.
    const CRegistry next;
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
    EXPECT_EQ(root.Open("HKEY_LOCAL_MACHINE\\SOFTWARE", nullptr), kOpenFailed);
    EXPECT_STREQ(handle.GetValue("Name"), "abc");
}

TEST_F(Registry, ARemovedKeyThatIsReadAndWrittenStaysAmongTheRemovedOnes) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    CRegistry sub("SOFTWARE\\Sub", CRegistry::MLocalMachine);
    EXPECT_EQ(key.DeleteKey("Tree/with/slashes"), 0);
    EXPECT_EQ(key.DeleteKey("Sub"), 0);
    char text[64] = "";
    CRegistryNode* const removed = sub;
    ASSERT_EQ(sub.SetValue("Number", 7U), 0);
    removed->dumpNode(FileStream(fmemopen(text, sizeof text, "w")).get());
    EXPECT_STREQ(text, "Number=d=7\n\n");
    removed->restoreNode(FileStream(fmemopen(text, sizeof text, "r")).get());
    // The leak check at the end of the process reports them if they are lost.
}

TEST_F(Registry, EnumeratesSubkeys) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    unsigned int count = 99;
    EXPECT_EQ(key.NoOfSubKeys(&count), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(key.NoOfSubKeys(nullptr), 22);
    char name[8];
    char cls[4] = "###";
    unsigned int nameLength = sizeof name;
    unsigned int clsLength = sizeof cls;
    EXPECT_EQ(key.EnumKey(name, &nameLength, 0, cls, &clsLength), 0);
    EXPECT_STREQ(name, "Sub");
    EXPECT_EQ(nameLength, 3U);
    EXPECT_STREQ(cls, "");
    EXPECT_EQ(clsLength, 0U);
    EXPECT_EQ(key.EnumKey(name, sizeof name, 1, nullptr, 0U), 0);
    EXPECT_STREQ(name, "Tree/wi");
    EXPECT_EQ(key.EnumKey(name, sizeof name, 2, nullptr, 0U), 61);
    CRegistry closed;
    EXPECT_EQ(closed.EnumKey(name, sizeof name, 0, nullptr, 0U), 22);
    EXPECT_EQ(closed.NoOfSubKeys(&count), 22);
}

TEST_F(Registry, EnumeratesValues) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    char name[16];
    unsigned char data[16];
    unsigned int nameLength = sizeof name;
    unsigned int dataLength = 2;
    EXPECT_EQ(key.EnumVal(name, &nameLength, 0, 99, data, &dataLength), 0);
    EXPECT_STREQ(name, "Bytes");
    EXPECT_EQ(nameLength, 5U);
    EXPECT_EQ(dataLength, 3U);
    EXPECT_EQ(data[1], 0xFF);
    dataLength = 3;
    nameLength = sizeof name;
    EXPECT_EQ(key.EnumVal(name, &nameLength, 2, 0, data, &dataLength), 0);
    EXPECT_STREQ(name, "Name");
    EXPECT_STREQ(reinterpret_cast<char*>(data), "ab");
    EXPECT_EQ(dataLength, 4U);
    EXPECT_EQ(key.EnumVal(name, sizeof name, 1, 0, data, sizeof data), 0);
    EXPECT_STREQ(reinterpret_cast<char*>(data), "%VT_HOME%/x%%y");
    EXPECT_EQ(key.EnumVal(name, sizeof name, 3, 0, nullptr, 0U), 0);
    EXPECT_STREQ(name, "Number");
    data[0] = 99;
    dataLength = 0;
    EXPECT_EQ(key.EnumVal(nullptr, nullptr, 2, 0, data, &dataLength), 0);
    EXPECT_EQ(dataLength, 4U);
    EXPECT_EQ(data[0], 99);
    EXPECT_EQ(key.EnumVal(name, sizeof name, 4, 0, data, sizeof data), 61);
    CRegistry closed;
    EXPECT_EQ(closed.EnumVal(name, sizeof name, 0, 0, data, sizeof data), 22);
}

TEST_F(Registry, TheSizeOfAValueIsThatInTheGivenKeyOrInTheOpenOne) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    EXPECT_EQ(key.GetValueSize("Bytes"), 3U);
    CRegistryNode* software = static_cast<CRegistryNode*>(key);
    CRegistry sub("Sub", software);
    EXPECT_EQ(sub.GetValueSize("Bytes"), 0U);
    EXPECT_EQ(sub.GetValueSize("Bytes", software), 3U);
    EXPECT_EQ(sub.GetValueSize("Name", software), 4U);
    EXPECT_EQ(CRegistry().GetValueSize("Bytes"), 0U);
}

TEST_F(Registry, EntriesThatAreNoValuesAreNotEnumerated) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    int memory = 0;
    static_cast<CRegistryNode*>(key)->put("AAA", 0, &memory);
    static_cast<CRegistryNode*>(key)->put("ABC", REGISTRY_NUMBER + 1, &memory);
    char name[16];
    EXPECT_EQ(key.EnumVal(name, sizeof name, 0, 0, nullptr, 0U), 0);
    EXPECT_STREQ(name, "Bytes");
}

TEST_F(Registry, NullsAreTolerated) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    std::string text = "kept";
    unsigned int number = 7;
    EXPECT_EQ(key.GetValueSize(nullptr), 0U);
    EXPECT_EQ(key.QueryValue(text, nullptr), 61);
    EXPECT_EQ(key.QueryValue(&number, nullptr), 61);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(number, 7U);
    EXPECT_EQ(key.SetValue(nullptr, "text"), 22);
    EXPECT_EQ(key.SetValue(nullptr, 1U), 22);
    EXPECT_EQ(key.EnumKey(nullptr, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(key.EnumVal(nullptr, nullptr, 0, 0, nullptr, nullptr), 0);
    char name[] = "name";
    char cls[] = "class";
    unsigned int none = 0;
    EXPECT_EQ(key.EnumKey(name, nullptr, 0, cls, nullptr), 0);
    EXPECT_EQ(key.EnumKey(name, &none, 0, cls, &none), 0);
    EXPECT_EQ(key.EnumVal(name, nullptr, 0, 0, nullptr, nullptr), 0);
    EXPECT_EQ(key.EnumVal(name, &none, 0, 0, nullptr, nullptr), 0);
    EXPECT_STREQ(name, "name");
    EXPECT_STREQ(cls, "class");
    EXPECT_EQ(none, 0U);
    EXPECT_FALSE(CRegistry::GetProductRegistryRoot(text, nullptr));
    EXPECT_EQ(key.OpenUUIDPointer(nullptr), -1);
    EXPECT_EQ(key.OpenPointerKey(nullptr, nullptr), kOpenFailed);
    EXPECT_EQ(static_cast<CRegistryNode*>(key), nullptr);
}

TEST_F(Registry, HandsItsKeyOver) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    CRegistryNode* node = key.KeepKeyHandle();
    EXPECT_NE(node, nullptr);
    EXPECT_EQ(key.Close(), 0);
    CRegistry handle(node);
    EXPECT_STREQ(handle.GetValue("Name"), "abc");
    CRegistry copy(handle);
    EXPECT_STREQ(copy.GetValue("Name"), "abc");
    CRegistry assigned;
    assigned = copy;
    CRegistry& itself = assigned;
    assigned = itself;
    EXPECT_STREQ(assigned.GetValue("Name"), "abc");
    EXPECT_EQ(assigned.Close(), 1);
}

TEST_F(Registry, FollowsPointersWhoseRootIsInSmallLetters) {
    TraceCapture trace(2);
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    key.SetValue("Pointer", "hkey_local_machine\\SOFTWARE\\Sub");
    key.SetValue("Slashes", "hkey_Local_Machine/SOFTWARE/Sub");
    key.SetValue("NoPath", "nothing");
    key.SetValue("Gone", "HKEY_LOCAL_MACHINE\\Gone");
    key.SetValue("Number2", 5U);
    CRegistry pointer;
    EXPECT_EQ(pointer.OpenPointerKey("SOFTWARE", "Pointer", CRegistry::MLocalMachine), 0);
    EXPECT_NE(static_cast<CRegistryNode*>(pointer), nullptr);
    EXPECT_EQ(pointer.OpenPointerKey("SOFTWARE", "Slashes", CRegistry::MLocalMachine), 0);
    EXPECT_EQ(pointer.OpenPointerKey("Missing", "Pointer", CRegistry::MLocalMachine), -1);
    for (const char* name : {"NoPath", "Gone", "Number2", "missing", "Bytes"}) {
        EXPECT_EQ(pointer.OpenPointerKey("SOFTWARE", name, CRegistry::MLocalMachine), kOpenFailed)
            << name;
    }
    EXPECT_TRUE(trace.contains("CRegistry::OpenPointer \"SOFTWARE\""));
}

TEST_F(Registry, APointerThatLeadsNowhereLeavesNoKeyOpen) {
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    const std::string path = "HKEY_LOCAL_MACHINE\\SOFTWARE";
    const auto set = [&](const char* name, unsigned int type, const std::string& data) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
        ASSERT_EQ(key.SetValue(name, bytes, static_cast<unsigned int>(data.size()), type), 1);
    };
    set("NoText", REGISTRY_BINARY, path);
    set("Empty", REGISTRY_STRING, "");
    set("SmallLetters", REGISTRY_STRING, "HKEY_LOCAL_MACHINE\\software");
    CRegistry pointer("SOFTWARE", CRegistry::MLocalMachine);
    for (const char* name : {"NoText", "Empty", "SmallLetters", "Sub"}) {
        EXPECT_EQ(pointer.OpenPointerKey("SOFTWARE", name, CRegistry::MLocalMachine), kOpenFailed);
        EXPECT_EQ(pointer.Status(), kOpenFailed) << name;
        EXPECT_EQ(pointer.Close(), 0) << name;
    }
    EXPECT_EQ(pointer.OpenPointerKey("Missing", "Name", CRegistry::MLocalMachine), -1);
    EXPECT_EQ(pointer.Status(), kOpenFailed);
    EXPECT_EQ(pointer.Close(), 0);
}

TEST_F(Registry, APointersRootEndsAtItsFirstBackslashAndMayBeExpanded) {
    CRegistry key;
    ASSERT_EQ(key.CreateKey(&CRegistry::MRoot, "HKEY/OWN\\Sub"), 0);
    setenv("VT_ROOT", "hkey/own", 1);
    ASSERT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
    const std::string text = "%VT_ROOT%\\Sub";
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    key.SetValue("Pointer", bytes, static_cast<unsigned int>(text.size()), REGISTRY_EXPAND);
    EXPECT_EQ(key.OpenPointerKey("SOFTWARE", "Pointer", CRegistry::MLocalMachine), 0);
}

TEST_F(Registry, LooksForAProductOnceMoreAndNoOftener) {
    { CRegistry loadsTheTree; }
    TraceCapture trace(2);
    std::string root;
    EXPECT_FALSE(CRegistry::GetProductRegistryRoot(root, "Product"));
    constexpr const char* opening = "CRegistry::Open \"SYSTEM\\CurrentControlSet\\Control\\UUID";
    EXPECT_EQ(trace.count(opening), 2U);
    CRegistry key;
    key.CreateKey(CRegistry::MLocalMachine,
                  "SYSTEM\\CurrentControlSet\\Control\\UUID\\C3681B60-0D26-11D3-8319-00A0C9B61E25");
    key.SetValue("Product", "x");
    trace.clear();
    EXPECT_TRUE(CRegistry::GetProductRegistryRoot(root, "Product"));
    EXPECT_EQ(trace.count(opening), 1U);
}

TEST_F(Registry, FindsProductsByTheirPointer) {
    constexpr const char* uuid =
        "SYSTEM\\CurrentControlSet\\Control\\UUID\\C3681B60-0D26-11D3-8319-00A0C9B61E25";
    std::string root = "kept";
    EXPECT_FALSE(CRegistry::GetProductRegistryRoot(root, "Product"));
    EXPECT_EQ(root, "kept");
    CRegistry key;
    ASSERT_EQ(key.CreateKey(CRegistry::MLocalMachine, uuid), 0);
    key.SetValue("Product", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub");
    EXPECT_TRUE(CRegistry::GetProductRegistryRoot(root, "Product"));
    EXPECT_EQ(root, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Sub");
    CRegistry pointer;
    EXPECT_EQ(pointer.OpenUUIDPointer("Product", CRegistry::MLocalMachine), 0);
}

TEST_F(Registry, ThreadsMayChangeAndReadAtOnce) {
    { CRegistry loadsTheTree; }
    CRegistry::MIsSetup = 0;  // nothing is saved meanwhile
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            CRegistry key;
            for (int i = 0; i < 300; ++i) {
                key.CreateKey(CRegistry::MLocalMachine, ("T\\K" + std::to_string(i % 7)).c_str());
                key.SetValue(("v" + std::to_string((i + t) % 11)).c_str(), "text");
                key.GetValue("v3");
                char name[8];
                key.EnumVal(name, sizeof name, 2, 0, nullptr, 0U);
                key.DeleteValue("v5");
                key.Open("T", CRegistry::MLocalMachine);
                key.DeleteKey("K2");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace varnock::test
