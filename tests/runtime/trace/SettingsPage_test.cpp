// docs/settings.md names everything that the code reads from the environment and the registry, with
// the defaults.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "runtime/Debug.h"
#include "runtime/files/PlatformPaths.h"
#include "runtime/trace/DebugSettings.h"
#include "runtime/trace/TraceSettings.h"
#include "tests/support/CodeBlocks.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

namespace fs = std::filesystem;
using Names = std::set<std::string>;

const fs::path kRoot = fs::path(VARNOCK_TEST_DATA_DIR) / "../..";

std::map<std::string, std::string> sources() {
    std::map<std::string, std::string> texts;
    for (const char* room :
         {"util", "runtime", "transport", "hardware", "CIM", "cimple", "agent", "cli"}) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot / room)) {
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
                texts[entry.path().lexically_relative(kRoot)] = readFile(entry.path());
            }
        }
    }
    return texts;
}

Names matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    Names names;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

Names documented() {
    return matches(readFile(kRoot / "docs/settings.md"), "`(\\w+)`");
}

TEST(SettingsPage, NamesEveryVariableThatTheCodeNames) {
    Names named;
    for (const auto& [file, text] : sources()) {
        named.merge(matches(text, "\"((?:QX|ZUL|VARNOCK)_[A-Z0-9_]*[A-Z0-9])\""));
        named.merge(matches(text, "getenv\\(\"(\\w+)\"\\)"));
    }
    for (const CDebug::TokVal* table : {CDebug::m_TokValTabEnv, CDebug::m_TokValTabCfg}) {
        for (; table->name != nullptr; ++table) {
            named.insert(table->name);
        }
    }
    named.insert(perApplicationWeight().name);
    EXPECT_THAT(named, IsSupersetOf({"QX_SYSTEM_DIR", "QX_LOG_RINGBUF_DIR", "TraceFileLimit",
                                     "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER"}));
    const Names page = documented();
    for (const std::string& name : named) {
        EXPECT_THAT(page, Contains(name));
    }
    // The page names no other variable.
    for (const std::string& name : page) {
        const bool isVariable = name.starts_with("QX_") || name.starts_with("ZUL_");
        EXPECT_TRUE(!isVariable || named.count(name) == 1) << name;
    }
}

TEST(SettingsPage, KnowsEveryFileThatReadsTheEnvironment) {
    Names readers;
    for (const auto& [file, text] : sources()) {
        if (!matches(text, "\\b((?:secure_)?getenv)\\(").empty()) {
            readers.insert(file);
        }
    }
    EXPECT_THAT(readers,
                ElementsAre("agent/CommandLine.cpp", "cimple/log.cpp", "cli/output/Screen.cpp",
                            "runtime/files/PlatformPaths.cpp", "runtime/registry/Registry.cpp",
                            "runtime/trace/DebugSettings.cpp"));
}

TEST(SettingsPage, NamesEveryValueOfTheRegistry) {
    const Names page = documented();
    std::size_t declared = 0;
    for (const char* name :
         {REGVAL_DBG_LEVEL, REGVAL_RINGBUF_DIR, REGVAL_RINGBUF_FACTOR, REGVAL_RINGBUF_WEIGHT,
          REGVAL_NO_HDR_TO_STDERR, REGVAL_RINGBUF_PER_PROCESS}) {
        EXPECT_THAT(page, Contains(name));
        ++declared;
    }
    EXPECT_EQ(matches(readFile(kRoot / "runtime/Debug.h"), "\\b(REGVAL_\\w+);").size(), declared);
}

/// The defaults in the tables, without their backticks.
std::map<std::string, std::string> documentedDefaults() {
    std::map<std::string, std::string> defaults;
    const std::string page = readFile(kRoot / "docs/settings.md");
    const std::regex row("\\| `(\\w+)` \\|(?: `\\w+`, \\w+ \\|)? `([^`]+)` \\|");
    for (std::sregex_iterator match(page.begin(), page.end(), row), end; match != end; ++match) {
        defaults[(*match)[1]] = (*match)[2];
    }
    return defaults;
}

TEST(SettingsPage, GivesTheDefaultsOfTheCode) {
    const auto defaults = documentedDefaults();
    for (const auto& [name, byDefault] : defaults) {
        unsetenv(name.c_str());
    }
    unsetenv("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER");
    const TraceSettings settings = resolveSettings({-1, -1, -1, -1, "", -1});
    const std::map<std::string, std::string> expected{
        {"QX_LOG_RINGBUF_DIR", settings.directory},
        {"QX_LOG_DEBUG_LEVEL", std::to_string(settings.level)},
        {"TraceFileLimit", std::to_string(settings.factor)},
        {"QX_LOG_RINGBUF_WEIGHT", std::to_string(settings.weight)},
        {"QX_LOG_NOHDR_TOSDTERR", std::to_string(settings.noHeaderToStderr)},
        {"QX_LOG_RINGBUF_PER_PROCESS", std::to_string(settings.perProcess)},
        {"QX_RAGD_SOCKET_DIR", agentSocketDirectory()},
        {"QX_SYSTEM_DIR", systemDirectory()},
        {"QX_CPUINFO_FILE", cpuInfoFile()},
        {"QX_MEMORY_DEVICE", memoryDevice()}};
    EXPECT_EQ(defaults, expected);
    EXPECT_EQ(settings.ringBufferSize, 10'485'760);
}

}  // namespace
}  // namespace varnock::test
