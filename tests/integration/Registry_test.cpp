// varnockctl registry, and its effect on other processes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kSettingsKey = "HKLM\\SOFTWARE\\Debug\\CIM_Provider";

class Registry : public testing::Test {
  protected:
    ProcessResult registry(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "registry");
        return files_.varnockctl(arguments);
    }
    std::string text() const { return readFile(files_.file("registry")); }
    void setText(const std::string& text) const { writeFile(files_.file("registry"), text); }

    static rapidjson::Document json(const ProcessResult& result) {
        rapidjson::Document document;
        document.Parse(result.out.c_str());
        EXPECT_FALSE(document.HasParseError()) << result.out << result.err;
        return document;
    }

    LibraryFiles files_;
};

TEST_F(Registry, WhatOneProcessSetsAnotherOneReads) {
    const ProcessResult set = registry({"set", "HKLM/SOFTWARE/Product", "Name", "rack 7"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(set.out,
              "+ HKEY_LOCAL_MACHINE\\SOFTWARE\\Product\n"
              "+ HKEY_LOCAL_MACHINE\\SOFTWARE\\Product  Name  string  rack 7\n");
    const ProcessResult get = registry({"get", "HKEY_LOCAL_MACHINE\\SOFTWARE\\Product", "Name"});
    EXPECT_EQ(get.out, "rack 7\n");
    EXPECT_EQ(get.status, 0);
    EXPECT_EQ(text(), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Product]\nName=s=rack 7\n\n\n\n\n");
    EXPECT_EQ(readFile(files_.file("registry.old")), kSmallRegistry);
    EXPECT_FALSE(std::filesystem::exists(files_.file("registry.new")));
}

TEST_F(Registry, AValueKeepsItsTypeUnlessAnotherOneIsGiven) {
    const auto set = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"set", "HKLM/SOFTWARE"});
        EXPECT_EQ(registry(arguments).status, 0);
        return linesOf(text())[2];
    };
    EXPECT_EQ(set({"a", "12"}), "a=d=12");
    EXPECT_EQ(set({"a", "0xFFFFFFFF"}), "a=d=-1");
    EXPECT_EQ(set({"a", "-5"}), "a=d=-5");
    EXPECT_EQ(set({"a", "12", "--type", "string"}), "a=s=12");
    EXPECT_EQ(set({"a", "13"}), "a=s=13");
    EXPECT_EQ(set({"a", "%HOME%/x", "--type", "expand"}), "a=es=%HOME%/x");
    EXPECT_EQ(set({"a", "01 ff7a", "--type", "binary"}), "a=b=01 ff 7a ");
    EXPECT_EQ(set({"a", "", "--type", "string"}), "a=s=");
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE", "a", "x", "--type", "number"}).status, 2);
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE", "a", "x", "--type", "text"}).status, 2);
}

TEST_F(Registry, TheTraceLevelThatIsSetCountsAndTheEnvironmentWins) {
    EXPECT_EQ(registry({"set", kSettingsKey, "DebugLevel", "3"}).status, 0);
    files_.settings["QX_LOG_NOHDR_TOSDTERR"] = "0";
    EXPECT_THAT(files_.host({"load"}).err, HasSubstr("Trace Level                : 3\n"));
    files_.settings["QX_LOG_DEBUG_LEVEL"] = "1";
    EXPECT_THAT(files_.host({"load"}).err, HasSubstr("Trace Level                : 1\n"));
    files_.settings.erase("QX_LOG_DEBUG_LEVEL");
    EXPECT_EQ(registry({"delete", kSettingsKey, "DebugLevel"}).status, 0);
    EXPECT_THAT(files_.host({"load"}).err, HasSubstr("Trace Level                : 255\n"));
}

TEST_F(Registry, ProcessesThatChangeDifferentValuesKeepAllOfThem) {
    const auto environment = files_.environment();
    Subprocess first({LIBRARY_HOST_SHARED, "change", "First", "40"}, environment);
    Subprocess second({LIBRARY_HOST_STATIC, "change", "Second", "40"}, environment);
    for (int i = 0; i < 10; ++i) {
        const ProcessResult set =
            registry({"set", "HKLM/SOFTWARE/Product/Third", "n" + std::to_string(i), "1"});
        EXPECT_EQ(set.status, 0) << set.err;
    }
    EXPECT_EQ(first.wait().out, "changed\n") << first.wait().err;
    EXPECT_EQ(second.wait().out, "changed\n") << second.wait().err;
    for (const char* name : {"First", "Second"}) {
        const std::string key = std::string("HKLM/SOFTWARE/Product/") + name;
        EXPECT_EQ(registry({"get", key, "first"}).out, "40\n");
        EXPECT_EQ(registry({"get", key, "second"}).out, "40\n");
    }
    EXPECT_EQ(
        json(registry({"get", "HKLM/SOFTWARE/Product/Third", "-o", "json"}))["entries"].Size(),
        10U);
}

TEST_F(Registry, ReadersSeeWholeTreesWhileOthersSave) {
    files_.host({"change", "Busy", "1"});
    Subprocess writer({LIBRARY_HOST_SHARED, "change", "Busy", "100"}, files_.environment());
    for (int i = 0; i < 10; ++i) {
        const auto document = json(registry({"get", "HKLM/SOFTWARE/Product/Busy", "-o", "json"}));
        const auto& entries = document["entries"];
        ASSERT_EQ(entries.Size(), 2U);
        EXPECT_EQ(entries[0]["value"].GetInt(), entries[1]["value"].GetInt());
        EXPECT_EQ(registry({"check"}).status, 0);
    }
    EXPECT_EQ(writer.wait().out, "changed\n") << writer.wait().err;
}

TEST_F(Registry, ReadingWritesNothing) {
    std::filesystem::permissions(files_.path(), std::filesystem::perms(0500));
    const std::vector<std::vector<std::string>> readers{
        {"tree"}, {"get", "HKLM"}, {"find", "SOFT"}, {"export"}, {"check"}};
    for (const auto& arguments : readers) {
        EXPECT_EQ(registry(arguments).status, 0) << arguments[0];
    }
    files_.varnockctl({"--dry-run", "registry", "set", "HKLM/a", "b", "c"});
    files_.varnockctl({"list", "fan"});
    std::filesystem::permissions(files_.path(), std::filesystem::perms(0700));
    EXPECT_EQ(text(), kSmallRegistry);
    EXPECT_THAT(
        std::vector<std::filesystem::path>(std::filesystem::directory_iterator(files_.path()), {}),
        ElementsAre(files_.path() / "registry"));
}

TEST_F(Registry, AChangeWaitsForTheProcessThatSaves) {
    const int other = open(files_.file("registry.new").c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_EQ(registry({"tree"}).status, 0);
    const ProcessResult late =
        files_.varnockctl({"--timeout", "0.05", "registry", "set", "HKLM/SOFTWARE", "a", "1"});
    EXPECT_EQ(late.status, 5);
    EXPECT_THAT(late.err, HasSubstr("another process may be saving the registry"));
    EXPECT_EQ(text(), kSmallRegistry);

    Subprocess waiting(
        {VARNOCKCTL, "--timeout", "60", "registry", "set", "HKLM/SOFTWARE", "a", "1"},
        files_.environment());
    // The other process puts its tree in place, as the library does.
    const std::string saved = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nOther=d=2\n\n\n\n";
    ASSERT_EQ(write(other, saved.data(), saved.size()), static_cast<ssize_t>(saved.size()));
    ASSERT_EQ(rename(files_.file("registry.new").c_str(), files_.file("registry").c_str()), 0);
    close(other);
    EXPECT_EQ(waiting.wait().status, 0) << waiting.wait().err;
    EXPECT_EQ(text(), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nOther=d=2\na=d=1\n\n\n\n");
}

TEST_F(Registry, ALeftOverThatAnotherUserHasLockedDelaysNoStartAndNoChange) {
    const std::string newFile = files_.file("registry.new");
    const auto lockLeftOver = [&] {
        writeFile(newFile, "left over");
        ASSERT_EQ(chmod(newFile.c_str(), 0644), 0);
        const int stranger = open(newFile.c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(flock(stranger, LOCK_EX), 0);
    };
    lockLeftOver();
    const ProcessResult start = files_.host({"load"});
    EXPECT_EQ(start.status, 0);
    EXPECT_THAT(start.err, Not(HasSubstr("CRegistry: ERROR")));
    EXPECT_THAT(text(), HasSubstr("[CIM_Provider]"));
    EXPECT_FALSE(std::filesystem::exists(newFile));
    lockLeftOver();
    EXPECT_EQ(registry({"set", kSettingsKey, "DebugLevel", "3"}).status, 0);
    EXPECT_THAT(text(), HasSubstr("DebugLevel=d=3"));
}

TEST_F(Registry, ADryRunShowsTheDifferenceAndChangesNothing) {
    registry({"set", "HKLM/SOFTWARE", "a", "1"});
    const std::string before = text();
    const auto dry = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "--dry-run");
        return registry(arguments);
    };
    EXPECT_EQ(dry({"set", "HKLM/SOFTWARE", "a", "2"}).out,
              "- HKEY_LOCAL_MACHINE\\SOFTWARE  a  number  1\n"
              "+ HKEY_LOCAL_MACHINE\\SOFTWARE  a  number  2\n");
    const auto document = json(dry({"delete", "HKLM/SOFTWARE", "-o", "json"}));
    EXPECT_FALSE(document["saved"].GetBool());
    EXPECT_EQ(document["changes"].Size(), 2U);
    EXPECT_EQ(document["changes"][1]["change"], "-");
    EXPECT_EQ(document["changes"][1]["value"].GetInt(), 1);
    EXPECT_EQ(dry({"delete", "HKLM/SOFTWARE", "none"}).status, 3);
    EXPECT_EQ(text(), before);
    const ProcessResult same = registry({"set", "HKLM/SOFTWARE", "a", "1"});
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, "");
    EXPECT_THAT(same.err, HasSubstr("nothing to change"));
}

TEST_F(Registry, DeletesValuesAndKeys) {
    setText("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\nb=d=2\n[Key]\n[Deep]\n\n\n\n\n\n");
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE", "a"}).status, 0);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE/Key"}).status, 0);
    EXPECT_EQ(text(), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nb=d=2\n\n\n\n");
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE", "a"}).status, 3);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE", "Key"}).status, 3);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE/b"}).status, 3);
    EXPECT_EQ(registry({"delete", "HKLM"}).status, 2);
    EXPECT_EQ(registry({"delete", ""}).status, 2);
}

TEST_F(Registry, ShowsKeysInEveryFormat) {
    setText("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=a,b\nNumber=d=-5\n[Key]\n\n\n\n\n");
    EXPECT_EQ(registry({"tree"}).out,
              "HKEY_LOCAL_MACHINE\n  SOFTWARE\n    Name  string  a,b\n    Number  number  -5\n"
              "    Key\n");
    EXPECT_EQ(registry({"tree", "HKLM/SOFTWARE/Key"}).out, "HKEY_LOCAL_MACHINE\\SOFTWARE\\Key\n");
    EXPECT_EQ(registry({"get", "HKLM/SOFTWARE", "-o", "csv"}).out,
              "key,name,type,value\n"
              "HKEY_LOCAL_MACHINE\\SOFTWARE,Name,string,\"a,b\"\n"
              "HKEY_LOCAL_MACHINE\\SOFTWARE,Number,number,-5\n"
              "HKEY_LOCAL_MACHINE\\SOFTWARE\\Key,,key,\n");
    EXPECT_EQ(registry({"get", "HKLM/SOFTWARE", "Number", "-o", "jsonl"}).out,
              R"({"key":"HKEY_LOCAL_MACHINE\\SOFTWARE","name":"Number","type":"number","value":-5})"
              "\n");
    EXPECT_EQ(json(registry({"get", "HKLM/SOFTWARE", "Number", "-o", "json"}))["value"].GetInt(),
              -5);
    EXPECT_EQ(linesOf(registry({"tree", "-o", "jsonl"}).out).size(), 5U);
    EXPECT_THAT(linesOf(registry({"find", "nam"}).out),
                ElementsAre(StartsWith("key"), HasSubstr("Name string a,b")));
    EXPECT_EQ(registry({"find", "A,B", "HKLM/SOFTWARE"}).status, 0);
    EXPECT_EQ(registry({"find", "A,B", "HKLM/SOFTWARE/Key"}).status, 3);
    EXPECT_EQ(registry({"find", "key", "HKLM/SOFTWARE", "-o", "csv"}).out,
              "key,name,type,value\nHKEY_LOCAL_MACHINE\\SOFTWARE\\Key,,key,\n");
}

TEST_F(Registry, WhatIsExportedCanBeImported) {
    const std::string whole =
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=b=01 ff \nb=es=%X%\n[Key]\nc=s=x\n\n\n\n\n";
    setText(whole);
    EXPECT_EQ(registry({"export"}).out, whole);
    const std::string key = registry({"export", "HKLM/SOFTWARE/Key"}).out;
    EXPECT_EQ(key, "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Key]\nc=s=x\n\n\n\n\n");
    writeFile(files_.file("key.reg"), key);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE/Key"}).status, 0);
    EXPECT_EQ(registry({"import", files_.file("key.reg")}).out,
              "+ HKEY_LOCAL_MACHINE\\SOFTWARE\\Key\n"
              "+ HKEY_LOCAL_MACHINE\\SOFTWARE\\Key  c  string  x\n");
    EXPECT_EQ(text(), whole);
    EXPECT_EQ(
        runProcess({"sh", "-c", "printf '[HKEY_USERS]\\nd=d=1\\n\\n\\n' | \"$0\" registry import -",
                    VARNOCKCTL},
                   files_.environment())
            .status,
        0);
    EXPECT_EQ(registry({"get", "HKU", "d"}).out, "1\n");
}

TEST_F(Registry, AnImportThatCannotBeTakenWholeIsRefused) {
    const auto import = [&](const std::string& text) {
        writeFile(files_.file("in"), text);
        return registry({"import", files_.file("in")});
    };
    const ProcessResult garbage = import("[HKEY_LOCAL_MACHINE]\nwhat\n\n\n");
    EXPECT_EQ(garbage.status, 9);
    EXPECT_THAT(garbage.err, HasSubstr("in:2: neither a key nor a value"));
    EXPECT_EQ(import("[SOFTWARE]\n\n\n").status, 2);
    EXPECT_EQ(import("a=d=1\n\n").status, 2);
    EXPECT_EQ(import("[HKEY_LOCAL_MACHINE]\nSOFTWARE=d=1\n\n\n").status, 2);
    EXPECT_EQ(registry({"import", files_.file("none")}).status, 3);
    EXPECT_EQ(registry({"import", files_.path()}).status, 9);
    EXPECT_EQ(text(), kSmallRegistry);
}

TEST_F(Registry, WhatIsNotMeantOrNotThereIsToldApart) {
    EXPECT_EQ(registry({}).status, 2);
    EXPECT_EQ(registry({"get"}).status, 2);
    EXPECT_EQ(registry({"get", "HKLM/none"}).status, 3);
    EXPECT_EQ(registry({"get", "HKLM/SOFTWARE", "none"}).status, 3);
    EXPECT_EQ(registry({"tree", "HKLM/none"}).status, 3);
    EXPECT_EQ(registry({"export", "HKLM/none"}).status, 3);
    EXPECT_EQ(registry({"find", "none"}).status, 3);
    const ProcessResult noRoot = registry({"set", "SOFTWARE", "a", "1"});
    EXPECT_EQ(noRoot.status, 2);
    EXPECT_THAT(noRoot.err, HasSubstr("\"SOFTWARE\" does not begin with a root key"));
    EXPECT_EQ(registry({"set", "HKLM", "SOFTWARE", "1"}).status, 2);
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE", "a=b", "1"}).status, 2);
    EXPECT_EQ(registry({"set", "HKLM//SOFTWARE", "a", "1"}).status, 2);
    const auto failure = json(registry({"get", "HKLM/none", "-o", "json"}));
    EXPECT_EQ(failure["error"]["status"].GetInt(), 3);
    EXPECT_EQ(failure["error"]["message"], "no key HKEY_LOCAL_MACHINE\\none");
    EXPECT_EQ(text(), kSmallRegistry);
}

TEST_F(Registry, AMissingFileIsNotCreated) {
    ASSERT_EQ(unlink(files_.file("registry").c_str()), 0);
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"tree"},
                                               {"check"},
                                               {"set", "HKLM/SOFTWARE", "a", "1"},
                                               {"delete", "HKLM/SOFTWARE"}}) {
        const ProcessResult result = registry(arguments);
        EXPECT_EQ(result.status, 3) << arguments[0];
        EXPECT_THAT(result.err, HasSubstr("registry: not found; an installation provides it"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(files_.path()));
}

TEST_F(Registry, TheBackupStandsInForAMissingFile) {
    ASSERT_EQ(rename(files_.file("registry").c_str(), files_.file("registry.old").c_str()), 0);
    const ProcessResult tree = registry({"tree"});
    EXPECT_EQ(tree.out, "HKEY_LOCAL_MACHINE\n  SOFTWARE\n");
    EXPECT_THAT(tree.err, HasSubstr("registry: not found; reading "));
    EXPECT_EQ(registry({"check"}).status, 7);
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE", "a", "1"}).status, 0);
    EXPECT_THAT(text(), HasSubstr("a=d=1\n"));
}

TEST_F(Registry, FilesThatCannotBeReadOrWrittenAreNamed) {
    SKIP_IF_NOT_RUN_WITHOUT_PRIVILEGES(VARNOCKCTL);  // root may open every file
    const auto nobodys = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {VARNOCKCTL, "registry"});
        return runProcess(withoutPrivileges(arguments), files_.environment());
    };
    std::filesystem::permissions(files_.path(), std::filesystem::perms(0555));
    std::filesystem::permissions(files_.file("registry"), std::filesystem::perms(0444));
    ASSERT_EQ(nobodys({"tree"}).status, 0);
    const ProcessResult set = nobodys({"set", "HKLM/SOFTWARE", "a", "1"});
    EXPECT_EQ(set.status, 8);
    EXPECT_THAT(set.err,
                HasSubstr("cannot be saved: " + files_.file("registry") + ": Permission denied"));
    EXPECT_EQ(text(), kSmallRegistry);
    std::filesystem::permissions(files_.file("registry"), std::filesystem::perms(0));
    const ProcessResult tree = nobodys({"tree"});
    EXPECT_EQ(tree.status, 8);
    EXPECT_THAT(tree.err, HasSubstr(files_.file("registry") + ": Permission denied"));
    std::filesystem::permissions(files_.path(), std::filesystem::perms(0700));
}

TEST_F(Registry, AFileThatIsNoneIsSaidToBe) {
    ASSERT_EQ(unlink(files_.file("registry").c_str()), 0);
    ASSERT_EQ(mkfifo(files_.file("registry").c_str(), 0600), 0);
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"tree"}, {"check"}, {"set", "HKLM/SOFTWARE", "a", "1"}}) {
        const ProcessResult result = registry(arguments);
        EXPECT_EQ(result.status, 9) << arguments[0];
        EXPECT_THAT(result.err, HasSubstr("registry: not a regular file"));
    }
}

TEST_F(Registry, ACorruptFileIsShownAndKeepsItsOtherBytesWhenItIsChanged) {
    const std::string corrupt =
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=s=\x1b[2J\xff\nwhat is this\n\n\n\n";
    setText(corrupt);
    EXPECT_THAT(registry({"tree"}).out, HasSubstr("    a  string  \\x1B[2J\\xFF\n"));
    EXPECT_EQ(json(registry({"tree", "-o", "json"}))["entries"].Size(), 3U);
    const ProcessResult check = registry({"check"});
    EXPECT_EQ(check.status, 7);
    EXPECT_EQ(check.out,
              files_.file("registry") +
                  ":4: neither a key nor a value: the line is skipped: \"what is this\"\n");
    const auto problems = json(registry({"check", "-o", "json"}));
    EXPECT_EQ(problems["problems"][0]["line"].GetInt(), 4);
    const ProcessResult set = registry({"set", "HKLM/SOFTWARE", "b", "1"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(text(),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=s=\x1b[2J\xff\nb=d=1\nwhat is this\n\n\n\n");
    EXPECT_EQ(readFile(files_.file("registry.old")), corrupt);
}

TEST_F(Registry, CommentsSurviveEveryEdit) {
    const std::string commented =
        "# The settings of this machine.\n[HKEY_LOCAL_MACHINE]\n# Programs.\n[SOFTWARE]\n"
        "# The level.\nLevel=d=007\nzone=s=x\n[Old]\n# Unused.\n\n# Behind all.\n\n\n\n"
        "# The end.\n";
    setText(commented);
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE", "Level", "3"}).status, 0);
    EXPECT_EQ(registry({"set", "HKLM/SOFTWARE/New", "Name", "text"}).status, 0);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE/Old"}).status, 0);
    EXPECT_EQ(registry({"delete", "HKLM/SOFTWARE", "zone"}).status, 0);
    EXPECT_EQ(text(),
              "# The settings of this machine.\n[HKEY_LOCAL_MACHINE]\n# Programs.\n[SOFTWARE]\n"
              "# The level.\nLevel=d=3\n[New]\nName=s=text\n\n# Behind all.\n\n\n\n"
              "# The end.\n");
}

TEST_F(Registry, AFileThatCannotBeEditedInPlaceIsWrittenWholeIfForced) {
    // Two keys have the same path; only the first one can be reached.
    setText("[HKEY_LOCAL_MACHINE]\n[a]\n[b]\nm=d=2\n\n\n[a\\b]\nn=d=1\n\n\n\n");
    const std::string before = text();
    const ProcessResult set = registry({"set", "HKLM/a/b", "m", "3"});
    EXPECT_EQ(set.status, 9);
    EXPECT_THAT(set.err, HasSubstr("cannot be changed in place"));
    EXPECT_EQ(text(), before);
    EXPECT_EQ(registry({"set", "--force", "HKLM/a/b", "m", "3"}).status, 0);
    EXPECT_THAT(text(), HasSubstr("[b]\nm=d=3\n"));
}

TEST_F(Registry, SeveralFilesAreImportedAllOrNone) {
    writeFile(files_.file("one"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\n\n\n\n");
    writeFile(files_.file("two"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nb=d=2\n\n\n\n");
    writeFile(files_.file("bad"), "[HKEY_LOCAL_MACHINE]\nSOFTWARE=d=2\n\n\n");
    EXPECT_EQ(registry({"import", files_.file("one"), files_.file("bad")}).status, 2);
    EXPECT_EQ(text(), kSmallRegistry);
    EXPECT_EQ(registry({"import", files_.file("one"), files_.file("two")}).status, 0);
    EXPECT_EQ(text(), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\nb=d=2\n\n\n\n");
    EXPECT_EQ(readFile(files_.file("registry.old")), kSmallRegistry);
}

TEST_F(Registry, FilesAndKeysAreCompared) {
    setText("[HKEY_LOCAL_MACHINE]\n[A]\nx=d=1\n\n[B]\nx=d=2\ny=s=t\n\n\n\n");
    writeFile(files_.file("old"), "[HKEY_LOCAL_MACHINE]\n[A]\nx=d=1\n\n\n\n");
    EXPECT_EQ(registry({"diff", files_.file("old")}).out,
              "+ HKEY_LOCAL_MACHINE\\B\n+ HKEY_LOCAL_MACHINE\\B  x  number  2\n"
              "+ HKEY_LOCAL_MACHINE\\B  y  string  t\n");
    EXPECT_EQ(registry({"diff", "HKLM/A", files_.file("old")}).out, "");
    EXPECT_EQ(registry({"diff", "HKLM/A", "HKLM/B"}).out,
              "-   x  number  1\n+   x  number  2\n+   y  string  t\n");
    const auto document =
        json(registry({"diff", files_.file("old"), files_.file("registry"), "-o", "json"}));
    EXPECT_EQ(document["from"], files_.file("old").c_str());
    EXPECT_EQ(document["changes"].Size(), 3U);
    EXPECT_EQ(registry({"diff", files_.file("none")}).status, 3);
    EXPECT_EQ(registry({"diff", "HKLM/none"}).status, 3);
}

TEST_F(Registry, RootKeysThatNoProgramLooksForAreNamed) {
    setText("[HKEY_LOCAL_MACHINE]\n[a\\b]\n\n\n[hkey_users]\n\n\n");
    EXPECT_EQ(registry({"check"}).status, 7);
    EXPECT_THAT(linesOf(registry({"check"}).out),
                ElementsAre(HasSubstr(":2: a backslash separates keys"),
                            HasSubstr(":5: not one of the five root keys")));
}

TEST_F(Registry, AnEmptyFileCanBeFilled) {
    setText("");
    EXPECT_EQ(registry({"tree"}).out, "");
    EXPECT_EQ(registry({"check"}).status, 7);
    EXPECT_EQ(registry({"set", kSettingsKey, "DebugLevel", "3"}).status, 0);
    EXPECT_EQ(registry({"check"}).out, files_.file("registry") + ": no problem\n");
}

TEST_F(Registry, WhatKilledProcessesLeaveIsSound) {
    for (int seed = 0; seed < 5; ++seed) {
        ASSERT_EQ(files_.host({"die", std::to_string(seed)}).status, 128 + SIGKILL);
        const ProcessResult check = registry({"check"});
        EXPECT_EQ(check.status, 0) << check.out;
        EXPECT_EQ(registry({"set", "HKLM/SOFTWARE/After", "n", std::to_string(seed)}).status, 0);
        EXPECT_EQ(registry({"get", "HKLM/SOFTWARE/After", "n"}).out, std::to_string(seed) + "\n");
    }
}

}  // namespace
}  // namespace varnock::test
