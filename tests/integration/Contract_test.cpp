// The JSON documents of every subcommand against its own schema.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <set>
#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/ForeignLocale.h"

namespace varnock::test {
namespace {

using Words = std::vector<std::string>;

/// Forbids members that the schema does not describe: consumers may get later ones, but each member
/// of today has its description.
void forbidOthers(rapidjson::Value& schema, rapidjson::Document::AllocatorType& allocator) {
    if (schema.HasMember("properties")) {
        rapidjson::Value& properties = schema["properties"];
        auto member = properties.MemberBegin();
        for (rapidjson::SizeType left = properties.MemberCount(); left > 0; --left, ++member) {
            forbidOthers(member->value, allocator);
        }
        schema.AddMember("additionalProperties", false, allocator);
    }
    if (schema.HasMember("items")) {
        forbidOthers(schema["items"], allocator);
    }
}

rapidjson::Document schemaOf(const std::string& subcommand) {
    Words command{VARNOCKCTL, "--schema"};
    std::istringstream words(subcommand);
    for (std::string word; words >> word;) {
        command.push_back(word);
    }
    return documentOf(runProcess(command));
}

class Contract : public testing::Test {
  protected:
    Contract() {
        EXPECT_EQ(files_.host({"write", "1", "10", "10"}).status, 0);
        writeFile(files_.file("other"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=7\nt=s=x\n\n\n\n");
        writeFile(files_.file("batch"), "{\"call\":\"getNumberCPUs\",\"cabinet\":0}\n{}\n");
    }

    /// The document of a command, with an agent that simulates a machine whose time stands still.
    ProcessResult run(const Words& words) const {
        Words command{"sh",
                      "-c",
                      R"(agent=$0; ctl=$1; input=$2; shift 2;)"
                      R"( QX_D=$QX_SYSTEM_DIR QX_L=$QX_LOG_RINGBUF_DIR)"
                      R"( exec "$agent" run --machine degraded --clock virtual -- sh -c)"
                      R"( 'QX_SYSTEM_DIR=$QX_D QX_LOG_RINGBUF_DIR=$QX_L)"
                      R"( exec "$0" "$@"' "$ctl" -o json "$@" <"$input")",
                      VARNOCK_AGENT,
                      VARNOCKCTL,
                      files_.file("batch")};
        command.insert(command.end(), words.begin(), words.end());
        return runProcess(command, files_.environment());
    }

    void expectValid(const std::string& subcommand, const ProcessResult& result) const {
        rapidjson::Document schema = schemaOf(subcommand);
        forbidOthers(schema, schema.GetAllocator());
        const rapidjson::SchemaDocument compiled(schema);
        rapidjson::SchemaValidator validator(compiled);
        const rapidjson::Document document = documentOf(result);
        const bool isValid = document.Accept(validator);
        rapidjson::StringBuffer where;
        validator.GetInvalidDocumentPointer().StringifyUriFragment(where);
        EXPECT_TRUE(isValid) << where.GetString() << ": " << validator.GetInvalidSchemaKeyword()
                             << "\n"
                             << result.out;
        ASSERT_TRUE(document.IsObject());
        EXPECT_EQ(document["format_version"].GetInt(), 1);
        EXPECT_EQ(document.HasMember("error"), result.status != 0) << result.out;
        if (document.HasMember("error")) {
            EXPECT_EQ(document["error"]["status"].GetInt(), result.status);
        }
    }

    LibraryFiles files_;
};

/// A subcommand, and arguments of it.
struct Case {
    std::string subcommand;
    Words arguments;
    int status;
};

const std::vector<Case>& cases() {
    static const std::vector<Case> all = {
        {"call", {"call", "getCurrentFanSpeed", "--cabinet", "0", "--object", "0"}, 0},
        {"call", {"call", "getCurrentFanSpeed", "--cabinet", "0", "--object", "99"}, 3},
        {"call", {"call", "getCurrentFanSped"}, 2},
        {"call", {"call", "setConfServerAssetTag", "--value", "x", "--dry-run"}, 0},
        {"call", {"call", "setConfServerAssetTag", "--value", "x", "--yes"}, 0},
        {"list", {"list", "fan"}, 0},
        {"list", {"list", "nothing like it"}, 3},
        {"describe", {"describe", "getFanStatus"}, 0},
        {"describe", {"describe", "nothing"}, 2},
        {"raw", {"raw", "0x0300"}, 0},
        {"raw", {"raw", "0x0300", "--dry-run"}, 0},
        {"raw", {"raw", "0xFFFE"}, -1},
        {"batch", {"batch"}, 7},
        {"explain", {"explain", "19"}, 0},
        {"explain", {"explain", "nothing"}, 3},
        {"inventory", {"inventory"}, -1},
        {"sensors", {"sensors"}, -1},
        {"metrics", {"metrics"}, -1},
        {"metrics", {"metrics", "--file", "/nonexistent/file"}, -1},
        {"watch", {"watch", "--timeout", "0.01"}, 0},
        {"watch", {"watch", "--count", "1", "--timeout", "0.01"}, 5},
        {"trace", {"trace"}, 0},
        {"trace", {"trace", "--grep", "nothing like it"}, 3},
        {"trace", {"trace", "--info"}, 0},
        {"trace", {"trace", "--stats"}, 3},
        {"trace", {"trace", "--file", "/nonexistent"}, 3},
        {"registry tree", {"registry", "tree"}, 0},
        {"registry get", {"registry", "get", "HKLM"}, 0},
        {"registry get", {"registry", "get", "HKLM/none"}, 3},
        {"registry find", {"registry", "find", "software"}, 0},
        {"registry find", {"registry", "find", "nothing like it"}, 3},
        {"registry export", {"registry", "export"}, 0},
        {"registry check", {"registry", "check"}, 0},
        {"registry diff", {"registry", "diff", "HKLM", "HKCU"}, -1},
        {"registry set", {"registry", "set", "HKLM/SOFTWARE", "n", "1", "--dry-run"}, 0},
        {"registry set", {"registry", "set", "HKLM/SOFTWARE", "n", "1", "--yes"}, 0},
        {"registry get", {"registry", "get", "HKLM/SOFTWARE", "n"}, 0},
        {"registry delete", {"registry", "delete", "HKLM/none", "--yes"}, 3},
        {"registry import", {"registry", "import", "/nonexistent", "--yes"}, 3},
        {"doctor", {"doctor"}, -1},
    };
    return all;
}

TEST_F(Contract, EveryDocumentFollowsItsSchema) {
    for (const Case& each : cases()) {
        SCOPED_TRACE(testing::PrintToString(each.arguments));
        const ProcessResult result = run(each.arguments);
        EXPECT_TRUE(each.status == -1 || each.status == result.status) << result.err;
        expectValid(each.subcommand, result);
    }
}

TEST_F(Contract, EveryFailureFollowsItToo) {
    std::set<std::string> seen;
    for (const Case& each : cases()) {
        if (!seen.insert(each.subcommand).second) {
            continue;
        }
        SCOPED_TRACE(each.subcommand);
        Words words = each.arguments;
        words.emplace_back("--no-such-option");
        const ProcessResult result = run(words);
        EXPECT_EQ(result.status, 2);
        expectValid(each.subcommand, result);
    }
}

TEST_F(Contract, TheDocumentsAreTheSameBytesInEveryLocale) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    for (const char* part : {"sensors", "inventory", "list", "explain"}) {
        files_.settings = {{"LC_ALL", "C"}};
        const ProcessResult before = run({part});
        files_.settings = locale.environment();
        EXPECT_EQ(run({part}).out, before.out);
        files_.settings = {{"LC_ALL", "C.UTF-8"}};
        EXPECT_EQ(run({part}).out, before.out);
        EXPECT_EQ(runProcess({"sh", "-c", R"(printf %s "$0" | jq -s length)", before.out}).out,
                  "1\n");
    }
}

TEST_F(Contract, WithoutASubcommandTheSchemaIsThatOfAll) {
    const auto all = documentOf(runProcess({VARNOCKCTL, "--schema"}));
    EXPECT_EQ(all["anyOf"].Size(), 21U);
    EXPECT_STREQ(schemaOf("registry get")["title"].GetString(), "varnockctl registry get");
    EXPECT_EQ(runProcess({VARNOCKCTL, "call", "--schema"}).status, 0);
}

}  // namespace
}  // namespace varnock::test
