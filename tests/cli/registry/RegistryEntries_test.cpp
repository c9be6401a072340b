#include "cli/registry/RegistryEntries.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kSmallTree =
    "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nBytes=b=01 ff 7a \nHome=es=%HOME%\nName=s=abc\nNumber=d=-5\n"
    "[Debug]\n\n\n[SYSTEM]\n\n\n\n";

class RegistryEntries : public testing::Test {
  protected:
    RegistryEntries() { parseRegistry(kSmallTree, root_); }

    RegistryEntry value(const std::string& name) {
        return *findRegistryValue(*findRegistryKey(root_, software_), software_, name);
    }
    static RegistryEntry entry(const std::string& name, unsigned int type,
                               const std::string& text) {
        return {"", name, type, parseRegistryData(type, text).value()};
    }
    static std::string lineOf(const RegistryEntry& entry) {
        return entry.key + "|" + entry.name.value_or("-") + "|" + entry.typeName() + "|" +
               entry.text();
    }

    const std::string software_ = "HKEY_LOCAL_MACHINE\\SOFTWARE";
    CRegistryNode root_;
};

TEST_F(RegistryEntries, ListsKeysAndValuesInTheOrderOfTheFile) {
    std::vector<std::string> lines;
    for (const RegistryEntry& entry : registryEntries(root_, "")) {
        lines.push_back(lineOf(entry));
    }
    EXPECT_THAT(lines,
                ElementsAre("HKEY_LOCAL_MACHINE|-|key|", software_ + "|-|key|",
                            software_ + "|Bytes|binary|01 ff 7a", software_ + "|Home|expand|%HOME%",
                            software_ + "|Name|string|abc", software_ + "|Number|number|-5",
                            software_ + "\\Debug|-|key|", "HKEY_LOCAL_MACHINE\\SYSTEM|-|key|"));
}

TEST_F(RegistryEntries, GivesNumbersAsNumbers) {
    JsonDocument document;
    EXPECT_EQ(
        toString(value("Number").toJson(document.GetAllocator()), false),
        R"({"key":"HKEY_LOCAL_MACHINE\\SOFTWARE","name":"Number","type":"number","value":-5})");
    EXPECT_EQ(toString(registryEntries(root_, "")[0].toJson(document.GetAllocator()), false),
              R"({"key":"HKEY_LOCAL_MACHINE","name":null,"type":"key","value":null})");
}

TEST_F(RegistryEntries, FindsKeysAsTheLibraryDoes) {
    EXPECT_EQ(findRegistryKey(root_, ""), &root_);
    EXPECT_NE(findRegistryKey(root_, "HKEY_LOCAL_MACHINE/SOFTWARE/Debug"), nullptr);
    EXPECT_NE(findRegistryKey(root_, "HKEY_LOCAL_MACHINE\\SOFTWARE\\"), nullptr);
    EXPECT_EQ(findRegistryKey(root_, "HKEY_LOCAL_MACHINE\\software"), nullptr);
    EXPECT_EQ(findRegistryKey(root_, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Name"), nullptr);
    EXPECT_EQ(findRegistryKey(root_, "HKEY_LOCAL_MACHINE\\\\SOFTWARE"), nullptr);
    EXPECT_FALSE(findRegistryValue(*findRegistryKey(root_, software_), software_, "Debug"));
    EXPECT_FALSE(findRegistryValue(*findRegistryKey(root_, software_), software_, "none"));
}

TEST_F(RegistryEntries, KnowsShortNamesOfTheRoots) {
    EXPECT_EQ(normalRegistryPath("HKLM/SOFTWARE/Debug"), software_ + "\\Debug");
    EXPECT_EQ(normalRegistryPath("\\HKCU\\HKLM\\"), "HKEY_CURRENT_USER\\HKLM");
    EXPECT_EQ(normalRegistryPath("HKU"), "HKEY_USERS");
    EXPECT_EQ(normalRegistryPath("other\\key"), "other\\key");
    EXPECT_EQ(normalRegistryPath("/"), "");
    EXPECT_TRUE(isRegistryRoot("HKEY_CLASSES_ROOT"));
    EXPECT_FALSE(isRegistryRoot("HKCR"));
}

TEST_F(RegistryEntries, CreatesKeysButNotInPlaceOfValues) {
    EXPECT_NE(createRegistryKey(root_, "HKEY_USERS\\a\\b"), nullptr);
    EXPECT_NE(findRegistryKey(root_, "HKEY_USERS\\a\\b"), nullptr);
    EXPECT_EQ(createRegistryKey(root_, software_ + "\\Name\\below"), nullptr);
    EXPECT_EQ(createRegistryKey(root_, software_ + "\\\\below"), nullptr);
    EXPECT_THROW(static_cast<void>(createRegistryKey(root_, "a\nb")), Failure);
    EXPECT_THROW(static_cast<void>(createRegistryKey(root_, std::string(1022, 'k'))), Failure);
    EXPECT_NE(createRegistryKey(root_, std::string(1021, 'k')), nullptr);
}

TEST_F(RegistryEntries, ReadsValuesOfEveryType) {
    EXPECT_EQ(entry("n", REGISTRY_NUMBER, "0xFFFFFFFF").text(), "-1");
    EXPECT_EQ(entry("n", REGISTRY_NUMBER, "0X1f").text(), "31");
    EXPECT_EQ(entry("n", REGISTRY_NUMBER, "-2147483648").text(), "-2147483648");
    EXPECT_EQ(entry("n", REGISTRY_NUMBER, "4294967295").text(), "-1");
    EXPECT_EQ(entry("n", REGISTRY_BINARY, "1 fF7a").text(), "01 ff 7a");
    EXPECT_EQ(entry("n", REGISTRY_BINARY, "").text(), "");
    EXPECT_EQ(entry("n", REGISTRY_STRING, " x ").text(), " x ");
    for (const char* text : {"", "x", "1x", "-", "0x", "4294967296", "-2147483649", " 1"}) {
        EXPECT_FALSE(parseRegistryData(REGISTRY_NUMBER, text)) << text;
    }
    EXPECT_FALSE(parseRegistryData(REGISTRY_BINARY, "0g"));
    EXPECT_EQ(registryType("expand"), REGISTRY_EXPAND);
    EXPECT_EQ(registryType("key"), 0U);
    EXPECT_EQ(registryType("text"), 0U);
}

TEST_F(RegistryEntries, SetsOnlyWhatTheFileGivesBack) {
    CRegistryNode& node = *findRegistryKey(root_, software_);
    putRegistryValue(node, entry("New", REGISTRY_STRING, "a=b ]"));
    EXPECT_EQ(value("New").text(), "a=b ]");
    putRegistryValue(node, entry("", REGISTRY_STRING, "nameless"));
    EXPECT_THAT(registryText(root_), HasSubstr("\n=s=nameless\n"));
    const std::pair<std::string, std::string> refused[] = {
        {"a=b", "x"}, {"a\nb", "x"}, {"a", "x\ny"}, {"[a", "x]"}, {"a", std::string(1020, 'x')}};
    for (const auto& [name, text] : refused) {
        EXPECT_THROW(putRegistryValue(node, entry(name, REGISTRY_STRING, text)), Failure) << name;
    }
    EXPECT_THROW(putRegistryValue(node, entry("a", REGISTRY_BINARY, std::string(1000, 'f'))),
                 Failure);
    EXPECT_FALSE(findRegistryValue(node, software_, "a"));
}

TEST_F(RegistryEntries, WritesTheSameTextThatItReads) {
    EXPECT_EQ(registryText(root_), kSmallTree);
    CRegistryNode empty;
    parseRegistry("", empty);
    EXPECT_THAT(registryEntries(empty, ""), IsEmpty());
}

TEST_F(RegistryEntries, MergesWhatCanBeMerged) {
    CRegistryNode added;
    parseRegistry("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=d=1\nNew=s=x\n\n[k]\n\n\n\n", added);
    EXPECT_TRUE(mergeRegistry(root_, added));
    EXPECT_EQ(registryText(root_),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nBytes=b=01 ff 7a \nHome=es=%HOME%\nName=d=1\n"
              "New=s=x\nNumber=d=-5\n[Debug]\n\n\n[SYSTEM]\n\n[k]\n\n\n\n");
    CRegistryNode keyForValue;
    parseRegistry("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Name]\n\n\n\n\n", keyForValue);
    EXPECT_FALSE(mergeRegistry(root_, keyForValue));
    CRegistryNode valueForKey;
    parseRegistry("[HKEY_LOCAL_MACHINE]\nSOFTWARE=s=x\n\n\n", valueForKey);
    EXPECT_FALSE(mergeRegistry(root_, valueForKey));
}

TEST_F(RegistryEntries, TellsWhatChanged) {
    const auto before = registryEntries(root_, "");
    CRegistryNode& node = *findRegistryKey(root_, software_);
    node.erase("Debug");
    node.erase("Home");
    putRegistryValue(node, entry("Number", REGISTRY_STRING, "-5"));
    std::vector<std::string> changes;
    for (const RegistryChange& change : registryChanges(before, registryEntries(root_, ""))) {
        changes.push_back(change.sign + lineOf(change.entry));
    }
    EXPECT_THAT(
        changes,
        ElementsAre("-" + software_ + "|Home|expand|%HOME%", "-" + software_ + "|Number|number|-5",
                    "+" + software_ + "|Number|string|-5", "-" + software_ + "\\Debug|-|key|"));
    EXPECT_THAT(registryChanges(before, before), IsEmpty());
}

TEST_F(RegistryEntries, RefusesToListPathsThatFillTheMemory) {
    std::string deep;
    for (int i = 0; i < 20'000; ++i) {
        deep += "[k]\n";
    }
    CRegistryNode root;
    parseRegistry(deep, root);
    EXPECT_THROW(registryEntries(root, ""), Failure);
    parseRegistry(kSmallTree, root);
    EXPECT_THROW(registryEntries(root, ""), Failure);
}

}  // namespace
}  // namespace varnockctl
