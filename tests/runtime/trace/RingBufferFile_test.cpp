#include "runtime/trace/RingBufferFile.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "runtime/process/Clock.h"
#include "tests/support/EventfulClock.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/Nobody.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TraceFile.h"

// Replacements of the calls that the tests cannot make fail in another way.
namespace {

/// A handler returns the result of the call, or nothing to make the real call.
template <typename... Arguments>
using Replacement = std::function<std::optional<long>(Arguments...)>;

Replacement<std::size_t, off_t> onWrite;
Replacement<off_t, off_t> onAllocate;
Replacement<off_t> onTruncate;
Replacement<std::size_t> onMap;

}  // namespace

extern "C" {
ssize_t __real_pwrite(int file, const void* data, std::size_t length, off_t offset);
int __real_posix_fallocate(int file, off_t offset, off_t length);
int __real_ftruncate(int file, off_t length);
void* __real_mmap(void* address, std::size_t length, int protection, int flags, int file,
                  off_t offset);

ssize_t __wrap_pwrite(int file, const void* data, std::size_t length, off_t offset) {
    if (onWrite) {
        if (const auto result = onWrite(length, offset)) {
            // A positive result is the number of bytes to write.
            return *result <= 0
                       ? *result
                       : __real_pwrite(file, data, static_cast<std::size_t>(*result), offset);
        }
    }
    return __real_pwrite(file, data, length, offset);
}

int __wrap_posix_fallocate(int file, off_t offset, off_t length) {
    if (onAllocate) {
        if (const auto result = onAllocate(offset, length)) {
            return static_cast<int>(*result);
        }
    }
    return __real_posix_fallocate(file, offset, length);
}

int __wrap_ftruncate(int file, off_t length) {
    if (onTruncate) {
        if (const auto result = onTruncate(length)) {
            return static_cast<int>(*result);
        }
    }
    return __real_ftruncate(file, length);
}

void* __wrap_mmap(void* address, std::size_t length, int protection, int flags, int file,
                  off_t offset) {
    if (onMap && file >= 0 && onMap(length)) {
        return MAP_FAILED;
    }
    return __real_mmap(address, length, protection, flags, file, offset);
}
}

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::int64_t kSize = 128 * 1024;
constexpr const char* kStart = "Tue Nov 14 22:13:20 2023\n";
constexpr const char* kLaterStart = "Wed Nov 15 08:00:00 2023\n";
constexpr const char* kFiller = "Nov 14 22:13:20 host App[0000000000000001]: ";

class RingBufferFiles : public testing::Test {
  protected:
    ~RingBufferFiles() override {
        onWrite = nullptr;
        onAllocate = nullptr;
        onTruncate = nullptr;
        onMap = nullptr;
    }

    std::unique_ptr<RingBufferFile> open(const std::string& path, std::int64_t size = kSize,
                                         const char* start = kStart) {
        failure_[0] = '\0';
        return RingBufferFile::open(path.c_str(), size, start, kFiller, failure_, sizeof failure_);
    }
    std::unique_ptr<RingBufferFile> open() { return open(path_); }
    std::unique_ptr<RingBufferFile> openAlone() {
        failure_[0] = '\0';
        return RingBufferFile::openAlone(path_.c_str(), kSize, kLaterStart, kFiller, isInUse_,
                                         failure_, sizeof failure_);
    }
    std::unique_ptr<RingBufferFile> reopen(std::int64_t size = kSize) {
        return open(path_, size, kLaterStart);
    }

    /// Expects the open to fail, and returns the reason with the path replaced by "PATH".
    std::string failToOpen(const std::string& path, std::int64_t size = kSize) {
        EXPECT_EQ(open(path, size), nullptr);
        std::string text = failure_;
        if (const auto at = text.find(path); !path.empty() && at != text.npos) {
            text.replace(at, path.size(), "PATH");
        }
        return text;
    }

    bool exists() const { return std::filesystem::exists(path_); }
    void putFile(const std::string& bytes) { std::ofstream(path_, std::ios::binary) << bytes; }
    void putNumber(int field, const std::string& digits) {
        patchFile(path_, field * 80 + 35, digits);
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.file("log");
    char failure_[256];
    bool isInUse_ = false;
};

void append(RingBufferFile& file, const std::string& entry) {
    ASSERT_TRUE(file.fits(entry.size()));
    file.append(entry.data(), entry.size());
}

// --- New files

TEST_F(RingBufferFiles, BeginsWithAHeaderBlockOfText) {
    const auto file = open();
    ASSERT_NE(file, nullptr) << failure_;
    const TraceFile seen(path_);
    const auto line = [](const std::string& label, std::string value) {
        value.resize(43, ' ');
        return label + ": " + value + "|\n";
    };
    std::string path = path_;
    path.resize(std::min<std::size_t>(path.size(), 43));
    const std::string expected =
        line("FilePath                         ", path) +
        line("FirstOpen                        ", "Tue Nov 14 22:13:20 2023") +
        line("LastOpen                         ", "Tue Nov 14 22:13:20 2023") +
        line("NumberOpens    (decimal)         ", "0000000000000001") +
        line("WrapCount      (decimal)         ", "0000000000000000") +
        line("RingBufferSize (decimal)         ", "0000000000131072") +
        line("CurrentWritePosition (dec bytes) ", "0000000000000000") + std::string(78, '-') +
        "+\n" + std::string(383, ' ') + "\n";
    ASSERT_EQ(expected.size(), 1024U);
    EXPECT_EQ(seen.bytes().substr(0, 1024), expected);
    EXPECT_EQ(file->opens(), 1);
    EXPECT_EQ(file->wraps(), 0);
    EXPECT_EQ(file->size(), kSize);
    EXPECT_EQ(file->position(), 1024);
    EXPECT_FALSE(file->resumes());
}

TEST_F(RingBufferFiles, FillsTheRestWithRecords) {
    ASSERT_NE(open(), nullptr);
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), kSize);
    std::string record = kFiller;
    record.resize(1023, '_');
    record += '\n';
    for (std::int64_t at = 1024; at < kSize; at += 1024) {
        ASSERT_EQ(seen.bytes().substr(static_cast<std::size_t>(at), 1024), record) << at;
    }
}

TEST_F(RingBufferFiles, OfTheDefaultSizeHolds10239Records) {
    ASSERT_NE(open(path_, 10'485'760), nullptr);
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), 10'485'760);
    const auto lines = seen.lines(1024, seen.size());
    EXPECT_EQ(lines.size(), 10'239U);
    EXPECT_THAT(lines, Each(AllOf(StartsWith(kFiller), EndsWith("___"))));
}

TEST_F(RingBufferFiles, RoundsAnOddSizeUpToWholeRecords) {
    const auto file = open(path_, 5000);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(TraceFile(path_).size(), 5120);
    EXPECT_EQ(file->size(), 5000);
    EXPECT_TRUE(file->fits(3976));
    EXPECT_FALSE(file->fits(3977));
}

TEST_F(RingBufferFiles, TakesNoSpaceOnTheDiskLater) {
    ASSERT_NE(open(), nullptr);
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, kSize);
}

TEST_F(RingBufferFiles, LetsALongPathCoverTheBarOfItsLine) {
    const std::string longPath = directory_.file(std::string(80, 'p'));
    ASSERT_NE(open(longPath), nullptr) << failure_;
    const std::string line = TraceFile(longPath).bytes().substr(0, 80);
    EXPECT_EQ(line.substr(35), longPath.substr(0, 44) + "\n");
}

TEST_F(RingBufferFiles, BelongsToItsOwnerAlone) {
    umask(022);
    const auto file = open();
    struct stat status {};
    ASSERT_EQ(fstat(file->descriptor(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0700));
    EXPECT_EQ(fcntl(file->descriptor(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

// --- Writing

TEST_F(RingBufferFiles, AppendsEntriesAndStoresThePosition) {
    const auto file = open();
    append(*file, "one\n");
    append(*file, "two\n");
    const TraceFile seen(path_);
    EXPECT_THAT(seen.messages(), ElementsAre("one", "two"));
    EXPECT_EQ(seen.position(), 1032);
    EXPECT_EQ(seen.headerLine(6),
              "CurrentWritePosition (dec bytes) : 0000000000001032" + std::string(27, ' ') + "|");
}

TEST_F(RingBufferFiles, FitsUpToTheLastByte) {
    const auto file = open();
    const auto space = static_cast<std::size_t>(file->freeBytes());
    EXPECT_TRUE(file->fits(space));
    EXPECT_FALSE(file->fits(space + 1));
    append(*file, std::string(space - 1, 'x') + "\n");
    EXPECT_EQ(TraceFile(path_).position(), kSize);
    EXPECT_EQ(TraceFile(path_).size(), kSize);
    EXPECT_TRUE(file->fits(0));
    EXPECT_FALSE(file->fits(1));
}

TEST_F(RingBufferFiles, LeavesAGapUpToARecordBoundary) {
    const auto file = open();
    file->skipGap();
    EXPECT_EQ(file->position(), 3072);
    append(*file, "x");
    file->skipGap();
    EXPECT_EQ(file->position(), 5120);
    append(*file, std::string(1023, 'x'));
    file->skipGap();
    EXPECT_EQ(file->position(), 7168);
}

TEST_F(RingBufferFiles, WrapsBehindItsHeader) {
    const auto file = open();
    append(*file, std::string(50'000, 'x'));
    {
        RingBufferFile::Wrap wrap(*file);
        EXPECT_TRUE(file->isWrapping());
        EXPECT_EQ(file->position(), 1024);
        append(*file, "header\n");
    }
    EXPECT_FALSE(file->isWrapping());
    EXPECT_EQ(file->wraps(), 1);
    EXPECT_EQ(TraceFile(path_).wraps(), 1);
    EXPECT_EQ(file->position(), 3072);
}

TEST_F(RingBufferFiles, StoresThePositionOfANewRoundBeforeItsFirstEntry) {
    const auto file = open();
    append(*file, std::string(50'000, 'x'));
    RingBufferFile::Wrap wrap(*file);
    EXPECT_EQ(TraceFile(path_).wraps(), 1);
    EXPECT_EQ(TraceFile(path_).position(), 1024);
}

TEST_F(RingBufferFiles, RulesOffWhatRemainsOfOlderRounds) {
    const auto file = open();
    for (const std::string letter : {"a", "b"}) {
        while (file->fits(1000)) {
            append(*file, std::string(999, letter[0]) + "\n");
        }
        RingBufferFile::Wrap wrap(*file);
    }
    append(*file, "last\n");
    while (file->fits(700)) {
        append(*file, std::string(699, 'c') + "\n");
    }
    const std::int64_t end = file->position();
    ASSERT_LT(end, kSize - 1);
    { RingBufferFile::Wrap wrap(*file); }
    const std::string rest = TraceFile(path_).bytes().substr(static_cast<std::size_t>(end));
    EXPECT_EQ(rest, std::string(rest.size() - 1, '_') + "\n");
    EXPECT_EQ(static_cast<std::int64_t>(rest.size()), kSize - end);
}

TEST_F(RingBufferFiles, WrapsBehindWhatItKeeps) {
    const auto file = open();
    append(*file, "initialisation\n");
    file->keepWhatIsThere();
    append(*file, std::string(50'000, 'x'));
    { RingBufferFile::Wrap wrap(*file); }
    EXPECT_EQ(file->position(), 1024 + 15);
    EXPECT_THAT(TraceFile(path_).messages(1024, 1039), ElementsAre("initialisation"));
}

// --- Existing files

TEST_F(RingBufferFiles, CountsAReopenAndGoesOnWhereItStopped) {
    append(*open(), "one\n");
    const auto file = reopen();
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_TRUE(file->resumes());
    EXPECT_EQ(file->opens(), 2);
    EXPECT_EQ(file->position(), 1028);
    const TraceFile seen(path_);
    EXPECT_EQ(seen.value(1), "Tue Nov 14 22:13:20 2023");
    EXPECT_EQ(seen.value(2), "Wed Nov 15 08:00:00 2023");
    EXPECT_EQ(seen.opens(), 2);
    append(*file, "two\n");
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one", "two"));
}

TEST_F(RingBufferFiles, ChangesNothingElseWhenReopened) {
    append(*open(), "one\n");
    std::string before = TraceFile(path_).bytes();
    ASSERT_NE(reopen(), nullptr);
    std::string after = TraceFile(path_).bytes();
    for (const std::size_t field : {2U, 3U}) {
        before.erase(field * 80 + 35 - (field - 2) * 43, 43);
        after.erase(field * 80 + 35 - (field - 2) * 43, 43);
    }
    EXPECT_EQ(after, before);
}

TEST_F(RingBufferFiles, CountsWrapsOnAcrossProcesses) {
    {
        const auto file = open();
        { RingBufferFile::Wrap wrap(*file); }
        { RingBufferFile::Wrap wrap(*file); }
        append(*file, "x\n");
    }
    const auto file = reopen();
    EXPECT_EQ(file->wraps(), 2);
    { RingBufferFile::Wrap wrap(*file); }
    EXPECT_EQ(TraceFile(path_).wraps(), 3);
}

TEST_F(RingBufferFiles, StartsAfreshWhereThePositionMeansNothing) {
    for (const char* position : {"0000000000001023", "0000000000131073", "-000000000000001",
                                 "9999999999999999", "                ", "garbage!garbage!"}) {
        std::filesystem::remove(path_);
        append(*open(), "one\n");
        putNumber(6, position);
        const auto file = reopen();
        ASSERT_NE(file, nullptr) << position;
        EXPECT_FALSE(file->resumes()) << position;
        EXPECT_EQ(file->position(), 1024) << position;
        EXPECT_EQ(file->opens(), 2) << position;
        EXPECT_EQ(TraceFile(path_).value(1), "Tue Nov 14 22:13:20 2023");
    }
}

TEST_F(RingBufferFiles, GoesOnAtBothEndsOfTheRange) {
    for (const std::int64_t position : {std::int64_t{1024}, kSize}) {
        std::filesystem::remove(path_);
        ASSERT_NE(open(), nullptr);
        char digits[24];
        snprintf(digits, sizeof digits, "%016d", static_cast<int>(position));
        putNumber(6, digits);
        const auto file = reopen();
        EXPECT_TRUE(file->resumes());
        EXPECT_EQ(file->position(), position);
    }
}

TEST_F(RingBufferFiles, CountsFromZeroWhereCountersMeanNothing) {
    for (const char* count : {"-000000000000005", "garbage!garbage!", "9999999999999999"}) {
        std::filesystem::remove(path_);
        append(*open(), "one\n");
        putNumber(3, count);
        putNumber(4, count);
        const auto file = reopen();
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(file->opens(), 1) << count;
        EXPECT_EQ(file->wraps(), 0) << count;
        EXPECT_TRUE(file->resumes());
    }
}

TEST_F(RingBufferFiles, CountsOnAfterTheLargestNumber) {
    append(*open(), "one\n");
    putNumber(3, "0000002147483647");
    putNumber(4, "0000002147483647");
    const auto file = reopen();
    EXPECT_EQ(file->opens(), 1);
    { RingBufferFile::Wrap wrap(*file); }
    EXPECT_EQ(file->wraps(), 0);
}

TEST_F(RingBufferFiles, PrintsNumbersWith16Digits) {
    ASSERT_NE(open(), nullptr);
    const auto expectCount = [this](int before) {
        char digits[24];
        snprintf(digits, sizeof digits, "%016d", before);
        putNumber(3, digits);
        ASSERT_NE(reopen(), nullptr);
        snprintf(digits, sizeof digits, "%016d ", before + 1);
        ASSERT_EQ(TraceFile(path_).bytes().substr(275, 17), digits);
    };
    for (int power = 1; power <= 1'000'000'000; power *= 10) {
        for (const int factor : {1, 2}) {
            expectCount(factor * power - 2 < 0 ? 0 : factor * power - 2);
            expectCount(factor * power - 1);
            expectCount(factor * power);
        }
        if (power == 1'000'000'000) {
            break;
        }
    }
    for (const int number : {1'234'567'890, 98'765'432, 10'099'999, 2'147'483'646}) {
        expectCount(number);
    }
}

TEST_F(RingBufferFiles, ReadsAHeaderWithoutAnyBlank) {
    putFile(std::string(kSize, '7'));
    const auto file = open();
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_FALSE(file->resumes());
    EXPECT_EQ(file->opens(), 1);
}

TEST_F(RingBufferFiles, TakesAFileWithoutAWholeHeaderForNew) {
    for (const std::size_t length : {0U, 1U, 1023U}) {
        putFile(std::string(length, 'x'));
        const auto file = open();
        ASSERT_NE(file, nullptr) << failure_;
        EXPECT_FALSE(file->resumes());
        EXPECT_EQ(file->opens(), 1);
        EXPECT_EQ(TraceFile(path_).size(), kSize);
        EXPECT_THAT(TraceFile(path_).bytes(), StartsWith("FilePath  "));
    }
}

// The state of a file whose creator has died, or whose machine has died before the bytes were on
// the disk.
TEST_F(RingBufferFiles, MakesAFileAnewWhoseMakerDied) {
    append(*open(), "one\n");
    const std::string whole = TraceFile(path_).bytes();
    for (const std::size_t written : {0U, 80U, 1024U, 100'000U}) {
        SCOPED_TRACE(written);
        std::string half = std::string(80, '\0') + whole.substr(80);
        putFile(half.substr(0, written) + std::string(kSize - written, '\0'));
        const auto file = reopen();
        ASSERT_NE(file, nullptr) << failure_;
        EXPECT_FALSE(file->resumes());
        EXPECT_EQ(file->opens(), 1);
        const TraceFile seen(path_);
        EXPECT_EQ(seen.size(), kSize);
        EXPECT_EQ(seen.value(1), "Wed Nov 15 08:00:00 2023");
        EXPECT_EQ(seen.bytes().find('\0'), std::string::npos);
        EXPECT_THAT(seen.bytes(), StartsWith("FilePath  "));
    }
}

TEST_F(RingBufferFiles, SaysThatItIsWholeWithItsLastWrite) {
    off_t last = -1;
    onWrite = [&](std::size_t length, off_t at) -> std::optional<long> {
        // The file has its full length and no first line yet.
        EXPECT_EQ(TraceFile(path_).bytes().substr(0, 80), std::string(80, '\0'));
        EXPECT_EQ(TraceFile(path_).size(), kSize);
        last = at;
        EXPECT_TRUE(at != 0 || length == 640 || length == 80) << length;
        return std::nullopt;
    };
    ASSERT_NE(open(), nullptr) << failure_;
    EXPECT_EQ(last, 0);
    EXPECT_THAT(TraceFile(path_).bytes(), StartsWith("FilePath  "));
}

TEST_F(RingBufferFiles, CutsNothingFromAFileThatAnotherHasFinishedMeanwhile) {
    const FakeClock clock;  // the second open waits for the first, but not for ever
    putFile("");
    std::unique_ptr<RingBufferFile> other;
    bool begun = false;
    onAllocate = [&](off_t, off_t) -> std::optional<long> {
        if (std::exchange(begun, true)) {
            return std::nullopt;
        }
        other = open();
        return ENOSPC;
    };
    EXPECT_THAT(failToOpen(path_), StartsWith("Error 28 writing"));
    ASSERT_NE(other, nullptr);
    append(*other, "one\n");
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

TEST_F(RingBufferFiles, ExtendsAShorterFileWithRecords) {
    append(*open(), "one\n");
    const auto file = reopen(2 * kSize);
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_EQ(file->size(), 2 * kSize);
    EXPECT_EQ(file->position(), 1028);
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), 2 * kSize);
    EXPECT_EQ(seen.ringBufferSize(), 2 * kSize);
    const auto added = seen.lines(kSize, 2 * kSize);
    EXPECT_EQ(added.size(), static_cast<std::size_t>(kSize / 1024));
    EXPECT_THAT(added, Each(AllOf(StartsWith(kFiller), EndsWith("___"))));
}

TEST_F(RingBufferFiles, ExtendsFromTheMiddleOfARecord) {
    ASSERT_NE(open(), nullptr);
    std::filesystem::resize_file(path_, 70'000);
    const auto file = reopen();
    ASSERT_NE(file, nullptr) << failure_;
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), kSize);
    const auto added = seen.lines(70'000, kSize);
    EXPECT_EQ(added[0], std::string(1024 - 70'000 % 1024 - 1, '_'));
    EXPECT_EQ(added[1].substr(0, 5), "Nov 1");
}

TEST_F(RingBufferFiles, UsesTheOldLengthWhereThereIsNoSpaceToExtend) {
    append(*open(), "one\n");
    onAllocate = [](off_t, off_t) { return ENOSPC; };
    const auto file = reopen(2 * kSize);
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_EQ(file->size(), kSize);
    EXPECT_EQ(TraceFile(path_).size(), kSize);
    EXPECT_EQ(TraceFile(path_).ringBufferSize(), kSize);
    EXPECT_TRUE(file->resumes());
}

TEST_F(RingBufferFiles, PutsTheOldLengthBackWhenExtendingFailsHalfWay) {
    append(*open(), "one\n");
    onWrite = [](std::size_t, off_t) {
        errno = EIO;
        return -1;
    };
    ASSERT_NE(reopen(2 * kSize), nullptr) << failure_;
    EXPECT_EQ(TraceFile(path_).size(), kSize);
}

TEST_F(RingBufferFiles, RefusesASmallFileThatCannotBeExtended) {
    ASSERT_NE(open(path_, 63 * 1024), nullptr);
    onAllocate = [](off_t, off_t) { return ENOSPC; };
    EXPECT_EQ(failToOpen(path_),
              "Error 28 mmap'ing to log file PATH (131072), try logging to stderr.\n");
    EXPECT_EQ(TraceFile(path_).size(), 63 * 1024);
}

TEST_F(RingBufferFiles, UsesALongerFileAsFarAsTheSizeGoes) {
    append(*open(path_, 2 * kSize), "one\n");
    const auto file = reopen();
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->size(), kSize);
    EXPECT_TRUE(file->resumes());
    EXPECT_EQ(TraceFile(path_).size(), 2 * kSize);
    EXPECT_EQ(TraceFile(path_).ringBufferSize(), kSize);
    EXPECT_FALSE(file->fits(kSize));
}

TEST_F(RingBufferFiles, FillsTheHolesOfAnExistingFile) {
    ASSERT_NE(open(), nullptr);
    std::filesystem::resize_file(path_, 2048);
    std::filesystem::resize_file(path_, kSize);
    ASSERT_NE(reopen(), nullptr) << failure_;
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_GE(status.st_blocks * 512, kSize);
}

TEST_F(RingBufferFiles, RefusesHolesThatCannotBeFilled) {
    ASSERT_NE(open(), nullptr);
    std::filesystem::resize_file(path_, 2048);
    std::filesystem::resize_file(path_, kSize);
    onAllocate = [](off_t, off_t) { return ENOSPC; };
    EXPECT_EQ(failToOpen(path_),
              "Error 28 mmap'ing to log file PATH (131072), try logging to stderr.\n");
}

// --- Other users of the file

/// A lock that another process could hold.
class OtherLock {
  public:
    OtherLock(const std::string& path, short type) : file_(::open(path.c_str(), O_RDWR)) {
        struct flock whole {};
        whole.l_type = type;
        isHeld_ = fcntl(file_.get(), F_OFD_SETLK, &whole) == 0;
    }
    bool isHeld() const { return isHeld_; }

  private:
    FileDescriptor file_;
    bool isHeld_ = false;
};

TEST_F(RingBufferFiles, IsNotHadAloneWhileItIsUsed) {
    auto user = open();
    append(*user, "one\n");
    const std::string before = TraceFile(path_).bytes();
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_TRUE(isInUse_);
    EXPECT_EQ(TraceFile(path_).bytes(), before);
    user.reset();
    auto own = openAlone();
    ASSERT_NE(own, nullptr) << failure_;
    EXPECT_FALSE(isInUse_);
    EXPECT_EQ(own->opens(), 2);
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_TRUE(isInUse_);
}

TEST_F(RingBufferFiles, IsSharedWithWhoDoesNotWantItAlone) {
    const auto own = openAlone();
    const auto other = reopen();
    ASSERT_NE(other, nullptr) << failure_;
    EXPECT_EQ(other->opens(), 2);
}

TEST_F(RingBufferFiles, TellsAFileInUseFromOneThatIsOfNoUse) {
    std::filesystem::create_directory(path_);
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_FALSE(isInUse_);
    EXPECT_STRNE(failure_, "");
}

TEST_F(RingBufferFiles, StaysInUseWhenTheHostClosesDescriptorsThatItDoesNotKnow) {
    const auto own = openAlone();
    close(::open(path_.c_str(), O_RDONLY));
    EXPECT_EQ(openAlone(), nullptr);
    close(own->descriptor());
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_TRUE(isInUse_);
}

TEST_F(RingBufferFiles, IsLeftToWhoeverWasFasterToLockIt) {
    std::unique_ptr<RingBufferFile> other;
    bool begun = false;
    onAllocate = [&](off_t, off_t) -> std::optional<long> {
        if (!std::exchange(begun, true)) {
            EXPECT_EQ(openAlone(), nullptr);
            EXPECT_TRUE(isInUse_);
        }
        return std::nullopt;
    };
    const auto own = RingBufferFile::openAlone(path_.c_str(), kSize, kStart, kFiller, isInUse_,
                                               failure_, sizeof failure_);
    ASSERT_NE(own, nullptr) << failure_;
    EXPECT_TRUE(begun);
    append(*own, "one\n");
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

TEST_F(RingBufferFiles, IsTakenAsItIsOnceItsMakerIsReady) {
    putFile("");
    std::optional<OtherLock> maker(std::in_place, path_, F_WRLCK);
    ASSERT_TRUE(maker->isHeld());
    int pauses = 0;
    const EventfulClock clock([&] {
        if (++pauses == 3) {
            maker.reset();
            append(*open(), "made\n");
        }
    });
    const auto file = reopen();
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_EQ(pauses, 3);
    EXPECT_TRUE(file->resumes());
    EXPECT_EQ(file->opens(), 2);
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("made"));
}

TEST_F(RingBufferFiles, IsNotWaitedForForEver) {
    append(*open(), "one\n");
    const OtherLock stopped(path_, F_WRLCK);
    ASSERT_TRUE(stopped.isHeld());
    int pauses = 0;
    const EventfulClock clock([&] { ++pauses; });
    EXPECT_NE(reopen(), nullptr) << failure_;
    EXPECT_EQ(pauses, 2000);
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_EQ(pauses, 2000) << "who wants a file alone goes to the next one at once";
}

TEST_F(RingBufferFiles, IsOpenedAnewWhenItsMakerHasRemovedIt) {
    putFile("");
    std::optional<OtherLock> maker(std::in_place, path_, F_WRLCK);
    const EventfulClock clock([&] {
        unlink(path_.c_str());
        maker.reset();
    });
    const auto file = open();
    ASSERT_NE(file, nullptr) << failure_;
    append(*file, "one\n");
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

/// Runs a part of a test in a forked child, which continues on a signal of the test.
template <typename Part>
class ForkedChild {
  public:
    explicit ForkedChild(Part part) {
        EXPECT_EQ(pipe(go_), 0);
        EXPECT_EQ(pipe(ready_), 0);
        pid_ = fork();
        if (pid_ == 0) {
            tell(ready_);
            hear(go_);
            _exit(part() ? 0 : 1);
        }
        hear(ready_);
    }
    ~ForkedChild() { EXPECT_EQ(finish(), 0); }
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;

    int finish() {
        if (pid_ > 0) {
            tell(go_);
            waitpid(std::exchange(pid_, -1), &status_, 0);
            for (const int end : {go_[0], go_[1], ready_[0], ready_[1]}) {
                close(end);
            }
        }
        return status_;
    }

  private:
    static void tell(const int (&ends)[2]) { EXPECT_EQ(write(ends[1], "!", 1), 1); }
    static void hear(const int (&ends)[2]) {
        char c = 0;
        EXPECT_EQ(read(ends[0], &c, 1), 1);
    }

    pid_t pid_ = -1;
    int status_ = -1;
    int go_[2];
    int ready_[2];
};

TEST_F(RingBufferFiles, IsFreeWhenTheProcessEndsWhateverItsChildrenDo) {
    auto own = openAlone();
    own->leaveWhenForked();
    const int number = own->descriptor();
    const ForkedChild child(
        [&] { return own->isLeft() && own->descriptor() == -1 && fcntl(number, F_GETFD) == -1; });
    EXPECT_FALSE(own->isLeft());
    EXPECT_EQ(openAlone(), nullptr);
    own.reset();
    EXPECT_NE(openAlone(), nullptr) << failure_;
}

TEST_F(RingBufferFiles, StaysInUseWhileAChildSharesIt) {
    auto shared = open();
    ForkedChild child([&] { return !shared->isLeft(); });
    shared.reset();
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_EQ(child.finish(), 0);
    EXPECT_NE(openAlone(), nullptr) << failure_;
}

TEST_F(RingBufferFiles, AChildClosesNothingThatTheHostHasUnderItsNumber) {
    const auto own = openAlone();
    own->leaveWhenForked();
    const int hosts = ::open("/dev/null", O_RDONLY);
    ASSERT_EQ(dup2(hosts, own->descriptor()), own->descriptor());
    const int number = own->descriptor();
    const ForkedChild child([&] { return own->isLeft() && fcntl(number, F_GETFD) != -1; });
}

TEST_F(RingBufferFiles, AnyOfSeveralMayEndFirst) {
    std::unique_ptr<RingBufferFile> files[3];
    for (auto& file : files) {
        file = open(directory_.file(std::to_string(&file - files)));
        file->leaveWhenForked();
    }
    files[1].reset();
    const ForkedChild child([&] { return files[0]->isLeft() && files[2]->isLeft(); });
    files[2].reset();
    files[0].reset();
}

// --- Sizes out of the ordinary

TEST_F(RingBufferFiles, ToleratesSizesTooSmallForAnything) {
    for (const std::int64_t size : {1, 100, 1023, 1024, 1025}) {
        std::filesystem::remove(path_);
        const auto file = open(path_, size);
        ASSERT_NE(file, nullptr) << size << failure_;
        EXPECT_EQ(file->fits(1), size > 1024) << size;
        { RingBufferFile::Wrap wrap(*file); }
        EXPECT_FALSE(file->fits(1)) << size;
        EXPECT_EQ(TraceFile(path_).wraps(), 1) << size;
    }
}

TEST_F(RingBufferFiles, RefusesNoSize) {
    EXPECT_EQ(failToOpen(path_, 0),
              "Error 22 mmap'ing to log file PATH (0), try logging to stderr.\n");
    EXPECT_EQ(failToOpen(path_, -5),
              "Error 22 mmap'ing to log file PATH (-5), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, RefusesPositionsBeyond32BitsBeforeAnythingIsMade) {
    EXPECT_EQ(failToOpen(path_, 0x8000'0000),
              "Error 27 opening PATH (-2147483648), try logging to stderr.\n");
    EXPECT_EQ(failToOpen(path_, 0xF'FFFF'FFFF'0000),
              "Error 27 opening PATH (-65536), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

// --- Failures

TEST_F(RingBufferFiles, RefusesAMissingDirectory) {
    EXPECT_EQ(failToOpen(directory_.file("missing/log")),
              "Error 2 opening PATH (131072), try logging to stderr.\n");
    EXPECT_EQ(failToOpen(""), "Error 2 opening  (131072), try logging to stderr.\n");
}

TEST_F(RingBufferFiles, RefusesWhatIsNoRegularFile) {
    EXPECT_EQ(failToOpen(directory_.path()),
              "Error 21 opening PATH (131072), try logging to stderr.\n");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(failToOpen(path_), "Error 22 opening PATH (131072), try logging to stderr.\n");
    EXPECT_TRUE(exists());
    EXPECT_EQ(failToOpen("/dev/null"), "Error 22 opening PATH (131072), try logging to stderr.\n");
}

TEST_F(RingBufferFiles, DoesNotFollowALink) {
    const std::string target = directory_.file("target");
    std::filesystem::create_symlink(target, path_);
    EXPECT_EQ(failToOpen(path_), "Error 40 opening PATH (131072), try logging to stderr.\n");
    std::ofstream(target) << "precious";
    EXPECT_EQ(failToOpen(path_), "Error 40 opening PATH (131072), try logging to stderr.\n");
    EXPECT_EQ(std::filesystem::file_size(target), 8U);
}

TEST_F(RingBufferFiles, RefusesAFileWithASecondName) {
    const std::string victim = directory_.file("victim");
    std::ofstream(victim) << "precious";
    std::filesystem::create_hard_link(victim, path_);
    EXPECT_EQ(failToOpen(path_), "Error 1 opening PATH (131072), try logging to stderr.\n");
    EXPECT_EQ(std::filesystem::file_size(victim), 8U);
    EXPECT_TRUE(exists());
}

TEST_F(RingBufferFiles, RefusesAFileThatEverybodyMayWrite) {
    append(*open(), "one\n");
    ASSERT_EQ(chmod(path_.c_str(), 0702), 0);
    EXPECT_EQ(failToOpen(path_), "Error 1 opening PATH (131072), try logging to stderr.\n");
    ASSERT_EQ(chmod(path_.c_str(), 0770), 0);
    EXPECT_NE(reopen(), nullptr) << failure_;
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

TEST_F(RingBufferFiles, RefusesAFileOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    append(*open(), "one\n");
    ASSERT_EQ(chown(path_.c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(failToOpen(path_), "Error 1 opening PATH (131072), try logging to stderr.\n");
    EXPECT_EQ(openAlone(), nullptr);
    EXPECT_FALSE(isInUse_);
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

TEST_F(RingBufferFiles, RefusesAPathThatIsTooLong) {
    std::string path = directory_.path();
    while (path.size() < 259) {
        path += "/.";
    }
    path = path.substr(0, 255) + "/log";
    ASSERT_EQ(path.size(), 259U);
    EXPECT_NE(open(path), nullptr) << failure_;
    EXPECT_THAT(failToOpen(path + "g"), StartsWith("Error 36 opening " + path.substr(0, 200)));
}

TEST_F(RingBufferFiles, CutsTheReasonToItsRoom) {
    const std::string path = "/missing/" + std::string(240, 'p');
    EXPECT_EQ(open(path), nullptr);
    EXPECT_EQ(std::string(failure_), ("Error 2 opening " + path).substr(0, 255));
}

/// Fails the writes that reach `offset`.
auto failWritesBehind(off_t offset, int error) {
    return [offset, error](std::size_t length, off_t at) -> std::optional<long> {
        if (at + static_cast<off_t>(length) <= offset) {
            return std::nullopt;
        }
        errno = error;
        return error == 0 ? 0 : -1;
    };
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWhenTheHeaderCannotBeWritten) {
    onWrite = failWritesBehind(0, EIO);
    EXPECT_EQ(failToOpen(path_), "(0) Error 5 writing PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWhenTheBlankLineCannotBeWritten) {
    onWrite = failWritesBehind(640, EIO);
    EXPECT_EQ(failToOpen(path_), "(1) Error 5 writing PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWhenItCannotBeFilled) {
    onWrite = failWritesBehind(100'000, ENOSPC);
    EXPECT_EQ(failToOpen(path_), "Error 28 writing PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
    onWrite = failWritesBehind(100'000, 0);
    EXPECT_EQ(failToOpen(path_), "Error 28 writing PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWhenThereIsNoSpace) {
    onAllocate = [](off_t, off_t) { return ENOSPC; };
    EXPECT_EQ(failToOpen(path_), "Error 28 writing PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, OutlivesALimitOnTheLengthOfFiles) {
    {
        const FileSizeLimit limit(kSize - 1);
        EXPECT_EQ(failToOpen(path_), "Error 27 writing PATH (131072), try logging to stderr.\n");
        EXPECT_FALSE(exists());
    }
    const FileSizeLimit limit(kSize);
    const auto file = open();
    ASSERT_NE(file, nullptr) << failure_;
    append(*file, std::string(kSize - 1024, 'x'));
}

TEST_F(RingBufferFiles, UsesTheOldLengthWhereALimitForbidsMore) {
    append(*open(), "one\n");
    const FileSizeLimit limit(kSize);
    const auto file = reopen(2 * kSize);
    ASSERT_NE(file, nullptr) << failure_;
    EXPECT_EQ(file->size(), kSize);
    EXPECT_EQ(TraceFile(path_).size(), kSize);
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWhenItCannotBeMapped) {
    onMap = [](std::size_t) {
        errno = ENOMEM;
        return 1;
    };
    EXPECT_EQ(failToOpen(path_),
              "Error 12 mmap'ing to log file PATH (131072), try logging to stderr.\n");
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, LeavesNoFileBehindWithoutMemory) {
    const std::string reason = [&] {
        const FailingAllocation failure(1);
        EXPECT_EQ(
            RingBufferFile::open(path_.c_str(), kSize, kStart, kFiller, failure_, sizeof failure_),
            nullptr);
        EXPECT_TRUE(failure.happened());
        return failure_;
    }();
    EXPECT_THAT(reason, StartsWith("Error 12 mmap'ing to log file "));
    EXPECT_FALSE(exists());
}

TEST_F(RingBufferFiles, KeepsAnExistingFileThatCannotBeMapped) {
    append(*open(), "one\n");
    onMap = [](std::size_t) {
        errno = ENOMEM;
        return 1;
    };
    EXPECT_THAT(failToOpen(path_), StartsWith("Error 12 mmap'ing"));
    EXPECT_THAT(TraceFile(path_).messages(), ElementsAre("one"));
}

TEST_F(RingBufferFiles, EmptiesAFileOfOthersThatItCouldNotFill) {
    putFile("short");
    onWrite = failWritesBehind(100'000, ENOSPC);
    EXPECT_THAT(failToOpen(path_), StartsWith("Error 28 writing"));
    EXPECT_EQ(TraceFile(path_).size(), 0);
}

// Another process may have found the same empty file, and have filled and mapped it. Cutting the
// file would end that process.
TEST_F(RingBufferFiles, CutsNothingFromAFileThatHadNoLength) {
    int cuts = 0;
    onTruncate = [&](off_t) {
        ++cuts;
        return std::nullopt;
    };
    putFile("");
    ASSERT_NE(open(), nullptr);
    EXPECT_EQ(cuts, 0);
    putFile("less than a header");
    ASSERT_NE(open(), nullptr);
    EXPECT_EQ(cuts, 1);
}

TEST_F(RingBufferFiles, TwoMayCreateItAtOnce) {
    const FakeClock clock;
    std::unique_ptr<RingBufferFile> other;
    bool begun = false;
    onAllocate = [&](off_t, off_t) -> std::optional<long> {
        if (!std::exchange(begun, true)) {
            other = open();
            append(*other, "early\n");
        }
        return std::nullopt;
    };
    const auto file = open();
    ASSERT_NE(file, nullptr) << failure_;
    ASSERT_NE(other, nullptr) << failure_;
    append(*file, "one\n");
    append(*other, "two\n");
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), kSize);
    EXPECT_EQ(seen.bytes()[639], '\n');
}

TEST_F(RingBufferFiles, EverySystemCallOfAnOpenMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    const std::string whole = [&] {
        append(*open(), "old\n");
        return TraceFile(path_).bytes();
    }();
    // No file, a whole one, one to extend, one without its first line, and less than a header.
    for (const std::string& before :
         {std::string(), whole, whole.substr(0, 64 * 1024),
          std::string(80, '\0') + whole.substr(80), std::string("short")}) {
        SCOPED_TRACE(before.size());
        const std::size_t faults = forEveryFaultOf([&](const TracedPart& part, const Fault& fault) {
            const FakeClock clock;
            std::filesystem::remove(path_);
            if (!before.empty()) {
                putFile(before);
            }
            part.begin();
            const auto file = open();
            part.end();
            if (file == nullptr) {
                EXPECT_FALSE(fault.isHarmless());
                EXPECT_THAT(failure_, HasSubstr(path_));
                // A file system may have no locks, which only keep processes apart.
                EXPECT_NE(fault.call.name, "fcntl");
            } else {
                append(*file, "new\n");
                EXPECT_EQ(TraceFile(path_).messages().back(), "new");
            }
            const auto next = open();
            ASSERT_NE(next, nullptr) << failure_;
            EXPECT_EQ(next->size(), kSize);
        });
        EXPECT_GT(faults, 10u);
    }
}

TEST_F(RingBufferFiles, GoesOnAfterInterruptedAndPartialWrites) {
    int calls = 0;
    onWrite = [&](std::size_t length, off_t) -> std::optional<long> {
        switch (++calls % 3) {
            case 0:
                errno = EINTR;
                return -1;
            case 1:
                return static_cast<long>(length / 2 + 1);
            default:
                return std::nullopt;
        }
    };
    int allocations = 0;
    onAllocate = [&](off_t, off_t) -> std::optional<long> {
        return ++allocations == 1 ? std::optional<long>(EINTR) : std::nullopt;
    };
    ASSERT_NE(open(), nullptr) << failure_;
    EXPECT_GT(calls, 10);
    EXPECT_EQ(allocations, 2);
    const TraceFile seen(path_);
    EXPECT_EQ(seen.size(), kSize);
    EXPECT_EQ(seen.bytes()[639], '\n');
    EXPECT_THAT(seen.lines(1024, kSize), Each(AllOf(StartsWith(kFiller), EndsWith("___"))));
}

}  // namespace
}  // namespace varnock::test
