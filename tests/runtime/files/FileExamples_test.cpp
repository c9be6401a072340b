// The examples of the pages about the file formats: the library writes these bytes and reads them.
#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "runtime/ProfileFile.h"
#include "runtime/RegistryNode.h"
#include "runtime/files/FileStream.h"
#include "runtime/trace/RingBufferFile.h"
#include "tests/support/CodeBlocks.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

class FileExamples : public testing::Test {
  protected:
    static std::vector<std::string> examples(const std::string& page) {
        return codeBlocks(pageFrom(page, "## Example"), "text");
    }

    TemporaryDirectory directory_;
};

TEST_F(FileExamples, TheRegistryFileIsWhatTheLibraryWritesAndReads) {
    const std::string example = examples("registry-file.md").at(0) + "\n";
    const auto put = [](CRegistryNode& node, const char* name, unsigned int type, const void* data,
                        unsigned int size) {
        node.put(name, type, CRegistryNode::makeValue(type, data, size));
    };
    const auto putKey = [](CRegistryNode& node, const char* name) -> CRegistryNode& {
        auto key = std::make_unique<CRegistryNode>();
        node.put(name, REGISTRY_KEY, key.get());
        return *key.release();
    };
    CRegistryNode root;
    CRegistryNode& software = putKey(putKey(root, "HKEY_LOCAL_MACHINE"), "SOFTWARE");
    const int level = -5;
    put(software, "Name", REGISTRY_STRING, "a=b", 3);
    put(software, "Level", REGISTRY_NUMBER, &level, sizeof level);
    put(software, "Home", REGISTRY_EXPAND, "%HOME%/product", 14);
    putKey(software, "Debug");
    const auto dump = [&](CRegistryNode& node) {
        const std::string path = directory_.file("registry");
        node.dumpNode(FileStream(fopen(path.c_str(), "we")).get());
        return readFile(path);
    };
    EXPECT_EQ(dump(root), example);

    writeFile(directory_.file("example"), example);
    CRegistryNode read;
    read.restoreNode(FileStream(fopen(directory_.file("example").c_str(), "re")).get());
    EXPECT_EQ(dump(read), example);
}

TEST_F(FileExamples, TheProfileFileIsWhatTheLibraryWritesAndReads) {
    const auto blocks = examples("profile-file.md");
    const std::string path = directory_.file("file.ini");
    const auto set = [&](const char* section, const char* key, const char* value) {
        EXPECT_EQ(WritePrivateProfileString(section, key, value, path.c_str()), 1);
    };
    set("new", "key", "value");
    EXPECT_EQ(readFile(path), blocks.at(0) + "\n");
    set("new", "other", "1");
    set("new", "key", "changed");
    set("last", "name", "x");
    EXPECT_EQ(readFile(path), blocks.at(1) + "\n");
    char value[20];
    EXPECT_EQ(GetPrivateProfileString("new", "key", "", value, sizeof value, path.c_str()), 7U);
    EXPECT_STREQ(value, "changed");
}

TEST_F(FileExamples, TheTraceFileIsWhatTheLibraryWrites) {
    const std::string page = pageFrom("trace-file.md", "## Example");
    std::string header = codeBlocks(page, "text").at(0) + "\n";
    const std::string entries = codeBlocks(page, "text").at(1) + "\n";
    const std::size_t second = entries.find('\n') + 1;
    EXPECT_NE(page.find("two entries of " + std::to_string(second) + " and " +
                        std::to_string(entries.size() - second) + " bytes"),
              page.npos);

    // The path is that of this test.
    ASSERT_EQ(chdir(directory_.path().c_str()), 0);
    const std::string documented = "/var/log/qxmond/log.CIM_Provider_a";
    const std::string path = "log.CIM_Provider_a";
    header.replace(header.find(documented), documented.size(),
                   path + std::string(documented.size() - path.size(), ' '));
    const std::string filler = entries.substr(0, entries.find(": ") + 2);
    char failure[256];
    const auto file = RingBufferFile::open(path.c_str(), 10'485'760, "Tue Nov 14 22:13:20 2023\n",
                                           filler, failure, sizeof failure);
    ASSERT_NE(file, nullptr) << failure;
    file->append(entries.data(), second);
    file->append(entries.data() + second, entries.size() - second);

    const std::string bytes = readFile(path);
    EXPECT_EQ(bytes.substr(0, header.size()), header);
    EXPECT_EQ(bytes.substr(header.size(), 1024 - header.size()),
              std::string(1023 - header.size(), ' ') + "\n");
    EXPECT_EQ(bytes.substr(1024, entries.size()), entries);
    EXPECT_EQ(bytes.substr(1024 + entries.size(), 1024 - entries.size()),
              std::string(1023 - entries.size(), '_') + "\n");
}

}  // namespace
}  // namespace varnock::test
