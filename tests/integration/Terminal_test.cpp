// No control character of an agent, a file or an argument reaches a terminal through either tool.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>

#include "runtime/trace/TraceFileFormat.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

constexpr const char* kFormats[] = {"table", "json", "jsonl", "csv"};

/// All control characters but NUL: C0, DEL, and C1 as UTF-8 and as single bytes.
std::string controls(bool withNewline = true) {
    std::string all;
    for (char c = 1; c < 0x20; ++c) {
        if (withNewline || c != '\n') {
            all += c;
        }
    }
    all += '\x7F';
    for (int c1 = 0x80; c1 <= 0x9F; ++c1) {
        all += {'\xC2', static_cast<char>(c1)};
    }
    for (int c1 = 0x80; c1 <= 0x9F; ++c1) {
        all += static_cast<char>(c1);
    }
    return all;
}

/// The same as a JSON string, with NUL at the end, where the library cuts the text.
std::string controlsInJson() {
    std::string all = "\"";
    for (unsigned int c0 = 1; c0 < 0x20; ++c0) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\u%04x", c0);
        all += escape;
    }
    return all + controls().substr(0x1F) + "\\u0000\"";
}

std::vector<unsigned char> bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

/// Everything in these tests but the control characters is ASCII.
bool isHarmless(char c) {
    return (c >= ' ' && c <= '~') || c == '\n' || c == '\t';
}

void expectHarmless(const ProcessResult& result, const Words& words) {
    for (const std::string* text : {&result.out, &result.err}) {
        const auto bad = std::find_if_not(text->begin(), text->end(), isHarmless);
        EXPECT_EQ(bad, text->end()) << testing::PrintToString(words) << " at "
                                    << bad - text->begin() << ": " << testing::PrintToString(*text);
    }
}

class Terminal : public testing::Test {
  protected:
    Terminal() {
        agent_.handle([](const AgentRequest& request) {
            if (request.opcode == 0x0304) {
                return AgentReply::ok(bytesData(bytesOf(controls())));
            }
            return AgentReply::ok(controlsInJson());
        });
        const std::string inLine = controls(false);
        writeFile(files_.file("registry"), "[HKEY_LOCAL_MACHINE]\n[k" + inLine + "]\n" + inLine +
                                               "=s=" + inLine + "\njunk" + inLine + "\n\n\n\n");
    }

    ProcessResult run(const char* tool, Words words) const {
        words.insert(words.begin(), tool);
        ProcessResult result = runProcess(words, files_.environment());
        expectHarmless(result, words);
        return result;
    }
    /// Runs varnockctl in every format. Returns the table.
    ProcessResult runAll(const Words& words) const {
        ProcessResult table;
        for (const char* format : kFormats) {
            Words all{"-o", format};
            all.insert(all.end(), words.begin(), words.end());
            const ProcessResult result = run(VARNOCKCTL, all);
            EXPECT_LT(result.status, 10) << result.err;
            if (format == std::string_view("json")) {
                rapidjson::Document document;
                EXPECT_FALSE(document.Parse(result.out.c_str()).HasParseError()) << result.out;
            }
            if (table.out.empty()) {
                table = result;
            }
        }
        return table;
    }

    const std::string dirty_ = "x" + controls() + "y";
    ScriptedAgent agent_;
    LibraryFiles files_;
};

TEST_F(Terminal, GetsNoControlCharactersOfTheAgent) {
    const ProcessResult bytes = runAll({"call", "getFanDesignation", "--cabinet=0", "--object=0"});
    EXPECT_THAT(bytes.out, HasSubstr("\\x09\\x0A\\x0B"));
    EXPECT_THAT(bytes.out, HasSubstr("\\x1B"));
    EXPECT_THAT(bytes.out, HasSubstr("\\x7F\\xC2\\x80"));
    EXPECT_THAT(bytes.out, HasSubstr("\\xC2\\x9F\\x80\\x81"));
    EXPECT_EQ(linesOf(bytes.out).size(), 1U);
    runAll({"--wire", "-v", "call", "getConfSystemName"});
    runAll({"--wire", "raw", "0x0304", "--string", dirty_});
    runAll({"raw", "0x0300"});
    runAll({"--wire", "-v", "inventory"});
    runAll({"doctor"});
}

TEST_F(Terminal, GetsTheControlCharactersOfTheAgentEscapedAsJson) {
    const ProcessResult result = run(VARNOCKCTL, {"-o", "json", "call", "getConfSystemName"});
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    ASSERT_FALSE(document.HasParseError()) << result.out;
    const std::string utf8 = controls().substr(0, 31 + 1 + 64);
    EXPECT_EQ(std::string(document["value"].GetString()).substr(0, utf8.size()), utf8);
    EXPECT_THAT(result.out, HasSubstr("\\u001B"));
    EXPECT_THAT(result.out, HasSubstr("\\u007F\\u0080\\u0081"));
}

TEST(TerminalAlone, GetsNoControlCharactersOfEvents) {
    for (const char* format : kFormats) {
        ScriptedAgent agent;
        agent.pushEvent({.opcode = 0x0B11, .data = controlsInJson()});
        const Words command{VARNOCKCTL, "-o", format, "--wire", "watch", "--count", "1"};
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_NE(result.out, "");
        expectHarmless(result, command);
    }
}

TEST_F(Terminal, GetsNoControlCharactersOfTraceFiles) {
    files_.host({"write", "1", "10", "200"});
    std::string bytes = readFile(files_.traceFile());
    std::string text = controls(false);
    text.insert(text.begin(), '\0');
    bytes.replace(bytes.find("entry=3"), text.size(), text);
    bytes.replace(tracefile::offsetOfValue(tracefile::kFilePath), 10, text.substr(20, 10));
    writeFile(files_.traceFile(), bytes);
    EXPECT_THAT(runAll({"trace"}).out, HasSubstr("\\x00\\x01"));
    runAll({"trace", "--info"});
    runAll({"trace", "-f", "--timeout", "0.05"});
    writeFile(files_.traceFile('b'), bytes);
    runAll({"trace"});
    runAll({"trace", "--file", files_.file(dirty_)});
}

TEST_F(Terminal, GetsNoControlCharactersOfTheRegistry) {
    runAll({"registry", "tree"});
    runAll({"registry", "get", "HKLM/k" + controls(false)});
    EXPECT_EQ(linesOf(runAll({"registry", "get", "HKLM/k" + controls(false), controls(false)}).out)
                  .size(),
              1U);
    runAll({"registry", "find", "k"});
    runAll({"registry", "check"});
    runAll({"registry", "set", "HKLM/" + dirty_, dirty_, dirty_});
    runAll({"registry", "--dry-run", "set", "--force", "HKLM/SOFTWARE", controls(false),
            controls(false)});
    runAll({"registry", "delete", dirty_, dirty_});
    runAll({"registry", "import", files_.file("registry")});
    runAll({"registry", "import", dirty_});
}

/// What `command` writes to a terminal.
std::string onTerminal(const Words& command, const Subprocess::Environment& environment) {
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(terminal, 0);
    EXPECT_EQ(grantpt(terminal), 0);
    EXPECT_EQ(unlockpt(terminal), 0);
    termios mode{};
    EXPECT_EQ(tcgetattr(terminal, &mode), 0);
    cfmakeraw(&mode);
    EXPECT_EQ(tcsetattr(terminal, TCSANOW, &mode), 0);
    Words all{"sh", "-c", "exec \"$@\" >\"$0\"", ptsname(terminal)};
    all.insert(all.end(), command.begin(), command.end());
    EXPECT_EQ(runProcess(all, environment).status, 0);
    char text[4096];
    const ssize_t size = read(terminal, text, sizeof text);
    close(terminal);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

TEST_F(Terminal, GetsAnExportedKeyEscapedAndAFileGetsItExactly) {
    const Words command{VARNOCKCTL, "registry", "export", "HKLM/k" + controls(false)};
    const std::string shown = onTerminal(command, files_.environment());
    EXPECT_THAT(shown, HasSubstr("\\x1B"));
    EXPECT_TRUE(std::all_of(shown.begin(), shown.end(), isHarmless));
    EXPECT_THAT(runProcess(command, files_.environment()).out,
                HasSubstr("=s=" + controls(false) + "\n"));
}

TEST_F(Terminal, GetsNoControlCharactersOfArguments) {
    for (const Words& words : {Words{"list", dirty_},
                               {"describe", dirty_},
                               {"call", dirty_},
                               {"call", "getNumberCPUs", "--cabinet", dirty_},
                               {"call", "getNumberCPUs", "--cabinet=0", "--value", dirty_},
                               {"--dry-run", "call", "setConfServerAssetTag", "--value", dirty_},
                               {"raw", dirty_},
                               {"raw", "1", "--stream", dirty_},
                               {"raw", "1", "--dry-run", "--string", dirty_},
                               {"watch", "--count", dirty_},
                               {"trace", "--grep", "(" + dirty_},
                               {"trace", "--since", dirty_},
                               {"trace", "-n", dirty_},
                               {"--" + dirty_},
                               {"-" + dirty_},
                               {dirty_},
                               {"--timeout", dirty_, "list"},
                               {"list", "-o", dirty_},
                               {"registry", dirty_},
                               {"registry", "set", "--type", dirty_, "a", "b", "c"}}) {
        EXPECT_NE(run(VARNOCKCTL, words).status, 1);
        Words json{"-o", "json"};
        json.insert(json.end(), words.begin(), words.end());
        run(VARNOCKCTL, json);
    }
}

TEST_F(Terminal, GetsNoControlCharactersOfVariables) {
    for (const char* name : {"QX_LOG_DEBUG_LEVEL", "QX_LOG_RINGBUF_DIR", "QX_CPUINFO_FILE",
                             "QX_RAGD_SOCKET_DIR", "QX_SYSTEM_DIR"}) {
        files_.settings = {{name, dirty_}};
        runAll({"doctor"});
        runAll({"registry", "tree"});
        runAll({"inventory"});
    }
}

TEST_F(Terminal, GetsNoControlCharactersThroughTheDevelopmentAgent) {
    const std::string name = files_.file(dirty_.substr(0, 20));
    for (const Words& words : {Words{dirty_},
                               {"--" + dirty_},
                               {"serve", "--dir", name},
                               {"serve", "--mode", dirty_},
                               {"run", "--", dirty_},
                               {"run", "--dir", name, "--", "true"},
                               {"ctl", "--socket", name, "status"},
                               {"ctl", "--dir", name, "status"},
                               {"ctl", "--dir", name, "event", dirty_},
                               {"ctl", "--dir", name, "event", "1", dirty_}}) {
        const ProcessResult result = run(VARNOCK_AGENT, words);
        EXPECT_NE(result.status, 0) << testing::PrintToString(words);
        EXPECT_NE(result.err, "");
    }
}

}  // namespace
}  // namespace varnock::test
