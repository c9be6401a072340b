#include "cli/registry/RegistryEdit.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace varnockctl {
namespace {

using Change = std::function<void(CRegistryNode& root)>;

/// The text after a change, which means what the changed tree does.
std::string edited(const std::string& text, const Change& change) {
    CRegistryNode tree;
    parseRegistry(text, tree);
    const auto before = registryEntries(tree, "");
    change(tree);
    const auto after = registryEntries(tree, "");
    std::string result = editedRegistry(text, registryChanges(before, after), tree);
    CRegistryNode read;
    parseRegistry(result, read);
    EXPECT_EQ(registryEntries(read, ""), after) << text << "----\n" << result;
    return result;
}

Change set(const std::string& key, const std::string& name, const std::string& value) {
    return [=](CRegistryNode& root) {
        putRegistryValue(*createRegistryKey(root, key), {key, name, REGISTRY_STRING, value});
    };
}

TEST(RegistryEdit, PutsValuesAndKeysInOrder) {
    const std::string text = "[K]\nb=s=1\nd=s=1\n[m]\n\n\n\n";
    EXPECT_EQ(edited(text, set("K", "a", "x")), "[K]\na=s=x\nb=s=1\nd=s=1\n[m]\n\n\n\n");
    EXPECT_EQ(edited(text, set("K", "c", "x")), "[K]\nb=s=1\nc=s=x\nd=s=1\n[m]\n\n\n\n");
    EXPECT_EQ(edited(text, set("K\\z", "c", "x")), "[K]\nb=s=1\nd=s=1\n[m]\n\n[z]\nc=s=x\n\n\n\n");
    EXPECT_EQ(edited(text, set("K\\a\\b", "c", "x")),
              "[K]\nb=s=1\nd=s=1\n[a]\n[b]\nc=s=x\n\n\n[m]\n\n\n\n");
}

TEST(RegistryEdit, ChangesTheLastOfTwoAndDeletesBoth) {
    const std::string text = "[K]\na=s=1\n# x\na=s=2\n\n\n";
    EXPECT_EQ(edited(text, set("K", "a", "3")), "[K]\na=s=1\n# x\na=s=3\n\n\n");
    EXPECT_EQ(edited(text, [](CRegistryNode& root) { findRegistryKey(root, "K")->erase("a"); }),
              "[K]\n# x\n\n\n");
}

TEST(RegistryEdit, CompletesAFileThatEndsTooEarly) {
    EXPECT_EQ(edited("", set("K", "a", "1")), "[K]\na=s=1\n\n\n");
    EXPECT_EQ(edited("[K]\n[m]\nb=s=1", set("K\\m", "c", "2")), "[K]\n[m]\nb=s=1\nc=s=2\n");
    EXPECT_EQ(edited("[K]\n[m]\nb=s=1", set("K\\n", "c", "2")),
              "[K]\n[m]\nb=s=1\n\n[n]\nc=s=2\n\n");
    EXPECT_EQ(edited("[K]\n[m]\nb=s=1", set("N", "c", "2")), "[K]\n[m]\nb=s=1\n\n\n[N]\nc=s=2\n\n");
}

TEST(RegistryEdit, KeepsTheLinesThatTheChangeDoesNotName) {
    unsigned int random = 1;
    constexpr std::string_view lines[] = {"[k%]\n", "[k%]\n", "s%=s=x\n",   "n%=d=1\n", "\n",
                                          "\n",     "# c%\n", "b%=b=01 \n", "n%=d=x\n", "k%=s=\n"};
    const auto next = [&] { return (random = random * 1103515245 + 12345) >> 16; };
    for (int round = 0; round < 3000; ++round) {
        std::string text = "[K]\n";
        std::vector<std::string> comments;
        for (int i = 0; i < 12; ++i) {
            std::string line(lines[next() % std::size(lines)]);
            if (const auto place = line.find('%'); place != line.npos) {
                line.replace(place, 1,
                             std::to_string(line[0] == '#' ? i : static_cast<int>(next() % 3)));
            }
            if (line[0] == '#') {
                comments.push_back(line);
            }
            text += line;
        }
        const std::string value = "v" + std::to_string(next() % 3);
        const std::string result = edited(text, set("K\\new", value, "y"));
        for (const std::string& comment : comments) {
            EXPECT_NE(result.find(comment), result.npos) << text << "----\n" << result;
        }
    }
}

}  // namespace
}  // namespace varnockctl
