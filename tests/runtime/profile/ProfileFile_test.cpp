#include "runtime/ProfileFile.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "runtime/files/FileStream.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/ForeignLocale.h"
#include "tests/support/Nobody.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProfileFile : public testing::Test {
  protected:
    void contents(const std::string& text) { writeFile(path, text); }
    std::string contents() const { return readFile(path); }

    /// Reads into a buffer of `size` bytes; the bytes behind it must stay untouched.
    std::string read(const char* section, const char* key, const char* byDefault = nullptr,
                     unsigned int size = 200) {
        std::string buffer(size + 8, '#');
        result =
            GetPrivateProfileString(section, key, byDefault, buffer.data(), size, path.c_str());
        EXPECT_EQ(buffer.substr(size), "########");
        raw = buffer.substr(0, size);
        return buffer.c_str();
    }
    std::string list(const char* section, unsigned int size = 200) {
        read(section, nullptr, nullptr, size);
        return raw.substr(0, result);
    }
    int write(const char* section, const char* key, const char* value) {
        return WritePrivateProfileString(section, key, value, path.c_str());
    }

    TemporaryDirectory directory;
    std::string path = directory.file("test.ini");
    unsigned int result = 0;
    std::string raw;
};

TEST_F(ProfileFile, ReadsAValueBetweenBlanksAndAComment) {
    contents("[other]\nkey=no\n[right]\n  key = value ; note\n");
    EXPECT_EQ(read("right", "key"), "value");
    EXPECT_EQ(result, 5U);
}

TEST_F(ProfileFile, TheLocaleChangesNoWhiteSpace) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ASSERT_TRUE(locale.use());
    contents("[s]\n \tk\xA0 =\t\xA0v\xA0 \n");
    EXPECT_EQ(read("s", "k\xA0"), "\xA0v\xA0");
    EXPECT_EQ(read("s", "k", "none"), "none");
    contents("[s]\nk\xA0 =v\n");
    EXPECT_EQ(write("s", "k", "new"), 1);
    EXPECT_EQ(write("s", "k\xA0", "\xA0w\xA0"), 1);
    EXPECT_EQ(contents(), "[s]\n\nk\xA0=\xA0w\xA0\nk=new\n");
}

TEST_F(ProfileFile, NamesAreCaseSensitive) {
    contents("[ABC]\nName=x\n");
    EXPECT_EQ(read("ABC", "name", "none"), "none");
    EXPECT_EQ(read("abc", "Name", "none"), "none");
    EXPECT_EQ(read("ABC", "Name", "none"), "x");
}

TEST_F(ProfileFile, ASectionEndsAtTheNextHeader) {
    contents("[a]\none=1\n[b]\ntwo=2\n[a]\nthree=3\n");
    EXPECT_EQ(read("a", "three", "none"), "none");
}

TEST_F(ProfileFile, AHeaderNeedsTheWholeNameAndItsBracket) {
    contents("[section two]\nk=wrong\n[section\nk=wrong\n[section]rest\nk=right\n");
    EXPECT_EQ(read("section", "k"), "right");
}

TEST_F(ProfileFile, AnEmptyValueIsFoundAndNotTheDefault) {
    contents("[s]\nkey=\n");
    EXPECT_EQ(read("s", "key", "default"), "");
    EXPECT_EQ(result, 0U);
}

TEST_F(ProfileFile, GivesTheDefaultForWhatIsMissing) {
    contents("[s]\nkey=v\n");
    EXPECT_EQ(read("s", "other", "default"), "default");
    EXPECT_EQ(result, 7U);
    EXPECT_EQ(read("s", "other"), "");
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(read("s", "other", "long default", 5), "long");
    EXPECT_EQ(result, 4U);
}

TEST_F(ProfileFile, CutsAValueToTheBuffer) {
    contents("[s]\nkey=12345678901234567890\n");
    EXPECT_EQ(read("s", "key", nullptr, 10), "123456789");
    EXPECT_EQ(result, 9U);
}

TEST_F(ProfileFile, ListsTheKeysOfASection) {
    contents("; comment\n[s]\nab=1\n\n;x=2\nc =2\nnot a key\n[t]\nz=1\n");
    EXPECT_EQ(list("s"), std::string("ab\0c\0", 5));
    EXPECT_EQ(result, 5U);
    EXPECT_EQ(raw[5], '\0');
}

TEST_F(ProfileFile, ListsTheSectionsOfAFile) {
    contents("[one]\na=1\n[broken\n  [two] ; note\n[three]]\n");
    EXPECT_EQ(list(nullptr), std::string("one\0two\0three\0", 14));
}

TEST_F(ProfileFile, AListThatIsCutKeepsItsTwoNuls) {
    contents("[s]\nabcdef=1\nghi=2\n");
    EXPECT_EQ(list("s", 8), std::string("abcdef"));
    EXPECT_EQ(result, 6U);
    EXPECT_EQ(raw, std::string("abcdef\0\0", 8));
    EXPECT_EQ(list("s", 10), std::string("abcdef\0g", 8));
    EXPECT_EQ(raw, std::string("abcdef\0g\0\0", 10));
}

TEST_F(ProfileFile, AnEmptyListIsTwoNuls) {
    contents("");
    EXPECT_EQ(list("s"), "");
    EXPECT_EQ(raw.substr(0, 2), std::string(2, '\0'));
}

TEST_F(ProfileFile, TinyBuffersAreLeftInOrder) {
    contents("[s]\nkey=value\n");
    EXPECT_EQ(read("s", "key", "default", 1), "");
    EXPECT_EQ(result, 0U);
    read("s", "key", "default", 0);
    EXPECT_EQ(result, 0U);
    read(nullptr, nullptr, nullptr, 2);
    EXPECT_EQ(raw, std::string(2, '\0'));
    // Nothing is read into a buffer that has room only for the end of a list.
    EXPECT_EQ(read("s", "key", "default", 2), "d");
    EXPECT_EQ(result, 1U);
    EXPECT_EQ(read("s", "key", "default", 3), "va");
    EXPECT_EQ(result, 2U);
}

TEST_F(ProfileFile, NullsAreTolerated) {
    char out[4];
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", nullptr, 4, path.c_str()), 0U);
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", out, 4, nullptr), 0U);
}

TEST_F(ProfileFile, AMissingFileGivesTheDefaultAndIsTraced) {
    TraceCapture trace(4);
    EXPECT_EQ(read("s", "key", "default"), "default");
    EXPECT_EQ(result, 7U);
    EXPECT_EQ(list("s"), "");
    EXPECT_EQ(raw.substr(0, 2), std::string(2, '\0'));
    EXPECT_TRUE(trace.contains("GetPrivateProfileString: Cannot open " + path));
}

TEST_F(ProfileFile, UsesTheFirst1023CharactersOfALongLine) {
    contents("[s]\nkey=" + std::string(2000, 'v') + "\nnext=1\n");
    EXPECT_EQ(read("s", "key", nullptr, 4000), std::string(1019, 'v'));
    EXPECT_EQ(read("s", "next"), "1");
}

TEST_F(ProfileFile, WritesANewFile) {
    umask(077);
    EXPECT_EQ(write("new", "key", "value"), 1);
    EXPECT_EQ(contents(), "\n[new]\n\nkey=value\n");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

TEST_F(ProfileFile, ReplacesTheFirstKeyAndKeepsTheBlankLine) {
    contents("\n[s]\n\nkey=old\nnext=1\n");
    EXPECT_EQ(write("s", "key", "new"), 1);
    EXPECT_EQ(contents(), "\n[s]\n\nkey=new\nnext=1\n");
}

TEST_F(ProfileFile, ReplacesALaterKeyWithTheCommentsBeforeIt) {
    contents("[s]\n\na=1\n; about b\nb=old\nc=3\n");
    EXPECT_EQ(write("s", "b", "longer than before"), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nb=longer than before\nc=3\n");
    EXPECT_EQ(write("s", "b", ""), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nb=\nc=3\n");
}

TEST_F(ProfileFile, DeletesAKey) {
    contents("[s]\n\na=1\nb=2\n[t]\n\nb=3\n");
    EXPECT_EQ(write("s", "b", nullptr), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\n[t]\n\nb=3\n");
    EXPECT_EQ(write("s", "a", nullptr), 1);
    EXPECT_EQ(contents(), "[s]\n\n[t]\n\nb=3\n");
}

TEST_F(ProfileFile, DeletingAKeyThatIsNotThereChangesNothing) {
    const std::string before = "[s]\na=1\n\n; note\n[t]\nb=1\n";
    contents(before);
    EXPECT_EQ(write("s", "b", nullptr), 1);
    EXPECT_EQ(write("t", "a", nullptr), 1);
    EXPECT_EQ(write("u", "a", nullptr), 1);
    EXPECT_EQ(write("u", nullptr, nullptr), 1);
    EXPECT_EQ(contents(), before);
}

TEST_F(ProfileFile, DeletingInAMissingFileCreatesNone) {
    EXPECT_EQ(write("s", "key", nullptr), 1);
    EXPECT_EQ(write("s", nullptr, nullptr), 1);
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(ProfileFile, InsertsANewKeyBeforeTheNextHeaderAndItsComments) {
    contents("[s]\n\na=1\n\n; about t\n[t]\n\nb=2\n");
    EXPECT_EQ(write("s", "new", "x"), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nnew=x\n\n; about t\n[t]\n\nb=2\n");
}

TEST_F(ProfileFile, AppendsANewKeyToTheLastSection) {
    contents("[s]\n\na=1\n");
    EXPECT_EQ(write("s", "b", "2"), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nb=2\n");
}

TEST_F(ProfileFile, AppendingFinishesALineThatHasNoNewline) {
    contents("[s]\na=1\nb=2");
    EXPECT_EQ(write("s", "c", "3"), 1);
    EXPECT_EQ(contents(), "[s]\na=1\nb=2\nc=3\n");
}

TEST_F(ProfileFile, AppendsANewSection) {
    contents("[s]\na=1\n");
    EXPECT_EQ(write("t", "b", "2"), 1);
    EXPECT_EQ(contents(), "[s]\na=1\n\n[t]\n\nb=2\n");
}

TEST_F(ProfileFile, DeletesASectionUpToTheNextOne) {
    contents("[a]\nx=1\n; about b\n[b]\nx=2\n\n[c]\nx=3\n");
    EXPECT_EQ(write("b", nullptr, nullptr), 1);
    EXPECT_EQ(contents(), "[a]\nx=1\n\n[c]\nx=3\n");
    EXPECT_EQ(write("c", nullptr, nullptr), 1);
    EXPECT_EQ(contents(), "[a]\nx=1\n");
}

TEST_F(ProfileFile, ALastLineWithoutNewlineLosesItsLastCharacterInComparisons) {
    contents("[s]\nMode=1");
    EXPECT_EQ(write("s", "Mode", "2"), 1);
    EXPECT_EQ(contents(), "[s]\n\nMode=2\n");
    contents("[s]\nMode");
    EXPECT_EQ(write("s", "Mode", nullptr), 1);
    EXPECT_EQ(contents(), "[s]\nMode");
    // The header itself is not found, so the section is added again.
    contents("[ABC]");
    EXPECT_EQ(write("ABC", "k", "v"), 1);
    EXPECT_EQ(contents(), "[ABC]\n[ABC]\n\nk=v\n");
}

TEST_F(ProfileFile, TheWriterDoesNotSkipLeadingBlanks) {
    contents("[s]\n\n  key=1\n");
    EXPECT_EQ(write("s", "key", "2"), 1);
    EXPECT_EQ(contents(), "[s]\n\n  key=1\nkey=2\n");
}

TEST_F(ProfileFile, ReplacesALongLineWhole) {
    contents("[s]\n\na=1\nkey=" + std::string(5000, 'x') + "\nb=2\n");
    EXPECT_EQ(write("s", "key", "short"), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nkey=short\nb=2\n");
}

TEST_F(ProfileFile, TheWriterDistinguishesCaseAndNamesThatGoOn) {
    contents("[Sec]\n\nName=1\n[Section two]\n");
    EXPECT_EQ(write("Sec", "name", "2"), 1);
    EXPECT_EQ(write("Sec", "Nam", "3"), 1);
    EXPECT_EQ(contents(), "[Sec]\n\nName=1\nname=2\nNam=3\n[Section two]\n");
    EXPECT_EQ(write("sec", nullptr, nullptr), 1);
    EXPECT_EQ(write("Section", nullptr, nullptr), 1);
    EXPECT_EQ(contents(), "[Sec]\n\nName=1\nname=2\nNam=3\n[Section two]\n");
}

TEST_F(ProfileFile, TheWriterSkipsTheBlanksBeforeTheEqualsSign) {
    contents("[s]\n\na=1\nkey \t = old\n");
    EXPECT_EQ(write("s", "key", "new"), 1);
    EXPECT_EQ(contents(), "[s]\n\na=1\nkey=new\n");
}

TEST_F(ProfileFile, ANullKeyDeletesTheSectionWhateverTheValueIs) {
    contents("[s]\na=1\n[t]\n");
    EXPECT_EQ(write("s", nullptr, "value"), 1);
    EXPECT_EQ(contents(), "[t]\n");
}

TEST_F(ProfileFile, LinesMayEndAsOnWindows) {
    contents("[s]\r\n\r\na = 1\r\nb=2\r\n");
    EXPECT_EQ(read("s", "a"), "1");
    EXPECT_EQ(read("s", "b"), "2");
    EXPECT_EQ(list("s"), std::string("a\0b\0", 4));
    EXPECT_EQ(list(nullptr), std::string("s\0", 2));
    EXPECT_EQ(write("s", "b", "3"), 1);
    EXPECT_EQ(contents(), "[s]\r\n\r\na = 1\r\nb=3\n");
}

TEST_F(ProfileFile, RefusesNewlines) {
    contents("[s]\na=1\n");
    TraceCapture trace(4);
    EXPECT_EQ(write("s\n", "k", "v"), 0);
    EXPECT_EQ(write("s", "k\n", "v"), 0);
    EXPECT_EQ(write("s", "k", "v\n[evil]"), 0);
    EXPECT_EQ(contents(), "[s]\na=1\n");
    EXPECT_TRUE(trace.contains("a name or value holds a newline"));
    EXPECT_TRUE(trace.contains("WritePrivateProfileString rc=0x0000"));
}

TEST_F(ProfileFile, TracesWhatItIsAskedTo) {
    TraceCapture trace(4);
    EXPECT_EQ(WritePrivateProfileString(nullptr, "k", "v", path.c_str()), 0);
    EXPECT_TRUE(
        trace.contains("WritePrivateProfileString: ## WARNING: invalid pointer to AppName"));
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", nullptr), 0);
    EXPECT_TRUE(
        trace.contains("WritePrivateProfileString: ## WARNING: invalid pointer to FileName"));
    EXPECT_EQ(write("s", nullptr, nullptr), 1);
    EXPECT_TRUE(trace.contains("WritePrivateProfileString(s, <nil>, <nil>, " + path + ")"));
    EXPECT_EQ(write("s", "k", "v"), 1);
    EXPECT_TRUE(trace.contains("WritePrivateProfileString rc=0x0001"));
}

TEST_F(ProfileFile, TracesAtLevelFour) {
    TraceCapture trace(4);
    const auto use = [&] {
        write("s", "k", nullptr);
        WritePrivateProfileString("s", nullptr, nullptr, nullptr);
        read("s", "k");
    };
    use();
    EXPECT_THAT(trace.messages(),
                ElementsAre("WritePrivateProfileString(s, k, <nil>, " + path + ")",
                            "WritePrivateProfileString rc=0x0001",
                            "WritePrivateProfileString: ## WARNING: invalid pointer to FileName",
                            "GetPrivateProfileString: Cannot open " + path));
    trace.clear();
    trace.setLevel(3);
    use();
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(ProfileFile, WhatIsNoFileIsLeftAndTracedAtLevelOne) {
    TraceCapture trace(1);
    const std::string noFile = directory.file("directory");
    ASSERT_EQ(mkdir(noFile.c_str(), 0700), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", noFile.c_str()), 0);
    EXPECT_THAT(
        trace.messages(),
        ElementsAre("WritePrivateProfileString: ## WARNING: append open error: Is a directory"));
    EXPECT_EQ(WritePrivateProfileString("s", "k", nullptr, noFile.c_str()), 1);
    trace.clear();
    trace.setLevel(0);
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", noFile.c_str()), 0);
    EXPECT_THAT(trace.messages(), IsEmpty());
}

TEST_F(ProfileFile, AFileThatCannotBeCreatedIsTraced) {
    TraceCapture trace(1);
    const std::string nowhere = directory.file("missing/test.ini");
    EXPECT_EQ(WritePrivateProfileString("s", "k", "v", nowhere.c_str()), 0);
    EXPECT_TRUE(trace.contains("WritePrivateProfileString: ## WARNING: append open error: "));
}

TEST_F(ProfileFile, AChangeKeepsTheModeAndLeavesNothingBehind) {
    contents("[s]\na=1\n");
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(write("s", "a", "2"), 1);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    const std::filesystem::directory_iterator files(directory.path());
    EXPECT_EQ(std::distance(files, {}), 1);
}

TEST_F(ProfileFile, ACancelledThreadMakesAChangeWhole) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    contents("[s]\na=1\nb=2\n");
    int written = 0;
    PosixThread thread([&] {
        pthread_cancel(pthread_self());
        written = write("s", "a", "changed");
        pthread_testcancel();
        written = 0;
    });
    EXPECT_TRUE(thread.join());
    EXPECT_EQ(written, 1);
    EXPECT_EQ(read("s", "a"), "changed");
    EXPECT_EQ(read("s", "b"), "2");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
}

TEST_F(ProfileFile, ACancelledThreadLeavesNoFileOpen) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    contents("[s]\na=1\n");
    const auto openFiles = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = openFiles();
    PosixThread thread([&] {
        pthread_cancel(pthread_self());
        read("s", "a");
        pthread_testcancel();
    });
    EXPECT_TRUE(thread.join());
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(read("s", "a"), "1");
}

TEST_F(ProfileFile, AChangeFollowsASymbolicLink) {
    contents("[s]\na=1\n");
    const std::string link = directory.file("link.ini");
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    EXPECT_EQ(WritePrivateProfileString("s", "a", "2", link.c_str()), 1);
    EXPECT_EQ(contents(), "[s]\n\na=2\n");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
}

/// One change of a file through an open stream.
class WriteLines : public ProfileFile {
  protected:
    int change(unsigned int from, unsigned int to, const char* key, const char* value,
               int leadingNewline) {
        const FileStream file(fopen(path.c_str(), "r+"));
        return CSysBase::WriteLines(file.get(), from, to, key, value, leadingNewline);
    }
};

TEST_F(WriteLines, ReplacesARange) {
    contents("0123456789");
    EXPECT_EQ(change(2, 4, "k", "v", 0), 1);
    EXPECT_EQ(contents(), "01k=v\n456789");
    EXPECT_EQ(change(2, 6, nullptr, nullptr, 1), 1);
    EXPECT_EQ(contents(), "01\n456789");
    EXPECT_EQ(change(0, 9, "k", nullptr, 0), 1);
    EXPECT_EQ(contents(), "");
}

TEST_F(WriteLines, RefusesOffsetsOutsideTheFile) {
    contents("0123456789");
    EXPECT_EQ(change(5, 4, "k", "v", 0), 0);
    EXPECT_EQ(change(0, 11, "k", "v", 0), 0);
    EXPECT_EQ(CSysBase::WriteLines(nullptr, 0, 0, "k", "v", 0), 0);
    EXPECT_EQ(contents(), "0123456789");
}

TEST_F(WriteLines, RefusesAFileBeyondTheOffsets) {
    contents("x");
    ASSERT_EQ(truncate(path.c_str(), 0x100000000LL), 0);
    EXPECT_EQ(change(0, 1, "k", "v", 0), 0);
}

TEST_F(WriteLines, AFileThatCannotBeWrittenStays) {
    contents("0123456789");
    const FileStream file(fopen(path.c_str(), "r"));
    EXPECT_EQ(CSysBase::WriteLines(file.get(), 0, 10, nullptr, nullptr, 0), 0);
    EXPECT_EQ(contents(), "0123456789");
}

TEST(SysBase, GivesTheSystemDirectory) {
    char buffer[32];
    unsetenv("QX_SYSTEM_DIR");
    EXPECT_EQ(GetSystemDirectory(buffer, sizeof buffer), 1);
    EXPECT_STREQ(buffer, "/etc/qxmond");
    EXPECT_EQ(GetSystemDirectory(buffer, 5), 1);
    EXPECT_STREQ(buffer, "/etc");
    EXPECT_EQ(GetSystemDirectory(buffer, 0), 0);
    EXPECT_STREQ(buffer, "/etc");
    EXPECT_EQ(GetSystemDirectory(nullptr, 5), 0);
}

TEST(SysBase, CapitalisesPlainLettersAlone) {
    char text[] = "az AZ 09 \xE4_";
    EXPECT_EQ(_strupr(text), text);
    EXPECT_STREQ(text, "AZ AZ 09 \xE4_");
    EXPECT_EQ(_strupr(nullptr), nullptr);
}

/// Compiles a locale with its own upper case, and makes it that of the process.
bool useTurkish(const TemporaryDirectory& directory) {
    const ProcessResult compiled = runProcess(
        {"localedef", "--no-archive", "-i", "tr_TR", "-f", "ISO-8859-9", directory.file("tr_TR")});
    setenv("LOCPATH", directory.path().c_str(), 1);
    return setlocale(LC_ALL, "tr_TR") != nullptr && toupper('i') != 'I';
}

TEST(SysBase, TheLocaleChangesNoCapitals) {
    const TemporaryDirectory directory;
    if (!useTurkish(directory)) {
        GTEST_SKIP() << "there is no localedef, or it has no Turkish locale";
    }
    char word[] = "title \xFD";
    EXPECT_STREQ(_strupr(word), "TITLE \xFD");
    setlocale(LC_ALL, "C");
}

TEST(SysBase, SleepsThroughTheClock) {
    const FakeClock clock;
    const auto before = Clock::instance().monotonicTime();
    Sleep(1500);
    EXPECT_EQ(Clock::instance().monotonicTime() - before, std::chrono::milliseconds(1500));
}

TEST(SysBase, ReportsAndClosesAsWindowsDoes) {
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(CloseHandle(descriptor), 1);
    EXPECT_EQ(CloseHandle(descriptor), 0);
    EXPECT_EQ(GetLastError(), static_cast<unsigned int>(EBADF));
}

TEST_F(ProfileFile, OtherHardLinksKeepTheOldText) {
    contents("[s]\n\nk=old\n");
    const std::string second = directory.file("second");
    ASSERT_EQ(link(path.c_str(), second.c_str()), 0);
    EXPECT_EQ(write("s", "k", "new"), 1);
    EXPECT_EQ(contents(), "[s]\n\nk=new\n");
    EXPECT_EQ(readFile(second), "[s]\n\nk=old\n");
}

TEST_F(ProfileFile, AChangeKeepsOwnerAndGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    contents("[s]\n\nk=old\n");
    constexpr gid_t kGroup = 65533;
    ASSERT_EQ(chown(path.c_str(), kNobody, kGroup), 0);
    EXPECT_EQ(write("s", "k", "new"), 1);
    EXPECT_EQ(contents(), "[s]\n\nk=new\n");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody);
    EXPECT_EQ(status.st_gid, kGroup);
}

TEST_F(ProfileFile, AMissingFileHasNoDefaultForAList) {
    for (const char* section : {"s", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(read(section, section == nullptr ? "k" : nullptr, "default"), "");
        EXPECT_EQ(result, 0U);
    }
}

// For each length the buffer of the stream is full at another part of the text.
TEST_F(ProfileFile, AFullDiskLeavesTheFileWhereverTheTextIsCut) {
    const std::string before = "[s]\n\nk=1\n";
    for (std::size_t length = 4085; length < 4100; ++length) {
        SCOPED_TRACE(length);
        const std::string filler(length, 'f');
        const FileSizeLimit limit(static_cast<std::int64_t>(before.size()));
        contents(before);
        EXPECT_EQ(write(filler.c_str(), "key", "value"), 0);
        EXPECT_EQ(write("s", filler.c_str(), "value"), 0);
        EXPECT_EQ(write("s", "k", filler.c_str()), 0);
        EXPECT_EQ(contents(), before);
    }
}

TEST_F(ProfileFile, AFullDiskLeavesNoNewFileWhoseNameIsLong) {
    // The temporary name would be too long, so the file is written in place.
    path = directory.file(std::string(250, 'n').c_str());
    {
        const FileSizeLimit none(0);
        EXPECT_EQ(write("s", "k", "v"), 0);
        EXPECT_EQ(contents(), "");
    }
    EXPECT_EQ(write("s", "k", "v"), 1);
    EXPECT_EQ(contents(), "\n[s]\n\nk=v\n");
}

TEST_F(ProfileFile, EverySystemCallOfAChangeMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::string absent = "absent";
    const std::string appended = "\n[s]\n\nk=new\n";
    for (const auto& [before, after] :
         {std::pair(std::string("[s]\n\nk=old\n[t]\n"), std::string("[s]\n\nk=new\n[t]\n")),
          std::pair(std::string("[t]\n\nx=1\n"), "[t]\n\nx=1\n" + appended),
          std::pair(absent, appended)}) {
        SCOPED_TRACE(before);
        const std::size_t faults = forEveryFaultOf([&, &before = before, &after = after](
                                                       const TracedPart& part, const Fault& fault) {
            for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
                std::filesystem::remove(entry);
            }
            if (before != absent) {
                contents(before);
            }
            part.begin();
            const int done = write("s", "k", "new");
            part.end();
            EXPECT_TRUE(done == 1 || !fault.isHarmless());
            const std::string found = access(path.c_str(), F_OK) == 0 ? contents() : absent;
            EXPECT_TRUE(found == after || (found == before && done == 0)) << found;
            const std::filesystem::directory_iterator entries(directory.path());
            EXPECT_TRUE(fault.call.name == "unlink" ||
                        std::distance(begin(entries), end(entries)) == (found == absent ? 0 : 1));
            EXPECT_EQ(write("s", "k", "new"), 1);
            EXPECT_EQ(contents(), after);
        });
        EXPECT_GT(faults, 20u);
    }
}

TEST_F(ProfileFile, EverySystemCallOfAReadMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    contents("[s]\nk=" + std::string(100, 'v') + "\n" + std::string(9000, ';') + "\n[t]\nlast=1\n");
    const std::size_t faults = forEveryFaultOf([this](const TracedPart& part, const Fault& fault) {
        part.begin();
        const std::string found = read("t", "last", "default");
        part.end();
        EXPECT_TRUE(found == "1" || (found == "default" && !fault.isHarmless())) << found;
        EXPECT_EQ(read("t", "last", "default"), "1");
    });
    EXPECT_GT(faults, 4u);
}

}  // namespace
}  // namespace varnock::test
