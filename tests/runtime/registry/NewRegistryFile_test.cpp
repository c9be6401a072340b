#include "runtime/registry/NewRegistryFile.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include "runtime/Registry.h"
#include "runtime/files/FileDescriptor.h"
#include "runtime/files/FileLock.h"
#include "tests/support/EventfulClock.h"
#include "tests/support/EveryCall.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Nobody.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

// Replacements of the calls that the tests cannot make fail in another way.
namespace {
int lockError = 0;   ///< 0: no lock fails
int lstatError = 0;  ///< 0: no call fails
}  // namespace

extern "C" {
int __real_flock(int file, int operation);
int __real_lstat(const char* path, struct stat* status);

int __wrap_flock(int file, int operation) {
    if (lockError == 0) {
        return __real_flock(file, operation);
    }
    errno = lockError;
    return -1;
}

int __wrap_lstat(const char* path, struct stat* status) {
    if (lstatError == 0) {
        return __real_lstat(path, status);
    }
    errno = lstatError;
    return -1;
}
}

namespace varnock::test {
namespace {

using std::chrono::seconds;

const std::string kTree = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n";
const std::string kChangedTree = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=2\n\n\n\n";

/// Sets the calendar clock after two seconds.
class JumpInTheMiddle final : FakeClock::Participant {
  public:
    JumpInTheMiddle(FakeClock& clock, seconds by) : clock_(clock), by_(by) { clock_.join(*this); }
    ~JumpInTheMiddle() override { clock_.leave(*this); }

  private:
    Standing standing() override { return {}; }
    void reach(std::chrono::nanoseconds now) override {
        if (now >= seconds(2) && by_ != seconds(0)) {
            clock_.jump(std::exchange(by_, seconds(0)));
        }
    }

    FakeClock& clock_;
    seconds by_;
};

/// A file "registry.new" of another process: a live saver's, or a left-over.
class OtherFile {
  public:
    OtherFile(const std::string& path, mode_t mode)
        : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_TRUE(file_);
        EXPECT_EQ(fchmod(file_.get(), mode), 0);
        EXPECT_EQ(write(file_.get(), "other", 5), 5);
    }

    /// Takes the lock of a saver, which every user who can open the file can take.
    void lock() const { EXPECT_EQ(flock(file_.get(), LOCK_EX), 0); }
    /// Takes the lock that shows a saver.
    void lockForWriting() const { EXPECT_TRUE(setLock(file_.get(), F_WRLCK)); }
    void close() { file_.reset(); }
    std::string contents() const {
        char text[100] = {};
        EXPECT_GE(pread(file_.get(), text, sizeof text - 1, 0), 0);
        return text;
    }

  private:
    FileDescriptor file_;
};

class RegistrySaver : public testing::Test {
  protected:
    RegistrySaver() {
        setenv("QX_SYSTEM_DIR", directory_.path().c_str(), 1);
        writeFile(registry_, kTree);
        CRegistry::MIsDirty = 0;
    }

    /// Changes the tree and saves it. False if that throws.
    static bool save() {
        try {
            return CRegistry::UpdateTree([] {
                CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
                return key.SetValue("n", 2U) == 0;
            });
        } catch (int) {
            return false;
        }
    }
    bool hasNewFile() const { return access(newFile_.c_str(), F_OK) == 0; }
    void expectCannotWrite() const {
        EXPECT_TRUE(trace_.contains("CRegistry: ERROR: Cannot write \"" + newFile_ + "\""));
        EXPECT_EQ(readFile(registry_), kTree);
    }

    TemporaryDirectory directory_;
    const std::string registry_ = directory_.file("registry");
    const std::string newFile_ = directory_.file("registry.new");
    TraceCapture trace_;
};

TEST_F(RegistrySaver, WaitsForAnotherOne) {
    OtherFile other(newFile_, 0600);
    other.lock();
    int pauses = 0;
    const EventfulClock clock([&] {
        EXPECT_EQ(other.contents(), "other");
        if (++pauses == 3) {
            other.close();
        }
    });
    EXPECT_TRUE(save());
    EXPECT_EQ(pauses, 3);
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, WaitsForOneThatRenamesItsFile) {
    OtherFile other(newFile_, 0644);
    other.lockForWriting();
    other.lock();
    int pauses = 0;
    const EventfulClock clock([&] {
        ++pauses;
        ASSERT_EQ(rename(newFile_.c_str(), directory_.file("elsewhere").c_str()), 0);
    });
    EXPECT_TRUE(save());
    EXPECT_EQ(pauses, 1);
    EXPECT_EQ(readFile(directory_.file("elsewhere")), "other");
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, GivesUpAfterFiveSeconds) {
    OtherFile stopped(newFile_, 0600);
    stopped.lock();
    const FakeClock clock;
    EXPECT_FALSE(save());
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_GT(clock.elapsed(), seconds(4));
    EXPECT_LE(clock.elapsed(), seconds(5));
    expectCannotWrite();
    EXPECT_EQ(stopped.contents(), "other");
    stopped.close();
    EXPECT_TRUE(save());
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, AJumpOfTheCalendarClockChangesNoWait) {
    OtherFile stopped(newFile_, 0600);
    stopped.lock();
    for (const seconds jump : {seconds(-7200), seconds(7200)}) {
        FakeClock clock;
        JumpInTheMiddle middle(clock, jump);
        EXPECT_FALSE(save());
        EXPECT_GT(clock.elapsed(), seconds(4));
        EXPECT_LE(clock.elapsed(), seconds(5));
    }
}

TEST_F(RegistrySaver, ReplacesTheLeftOverOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    { const OtherFile left(newFile_, 0600); }
    ASSERT_EQ(chown(newFile_.c_str(), kNobody, kNobody), 0);
    EXPECT_TRUE(save());
    EXPECT_EQ(readFile(registry_), kChangedTree);
    struct stat status {};
    ASSERT_EQ(stat(registry_.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
}

TEST_F(RegistrySaver, GivesUpAlsoWhenItSavesTheTreeInMemory) {
    OtherFile stopped(newFile_, 0600);
    stopped.lock();
    const FakeClock clock;
    const auto change = [] { CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 2U); };
    EXPECT_THROW(change(), int);
    EXPECT_LE(clock.elapsed(), seconds(5));
    expectCannotWrite();
    stopped.close();
    CRegistry::SaveTree();
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, LetsOtherThreadsUseTheTreeWhileItWaits) {
    OtherFile other(newFile_, 0600);
    other.lock();
    int pauses = 0;
    const EventfulClock clock([&] {
        ++pauses;
        std::thread([] {
            const CriticalSectionGuard lock(CRegistry::MSpinlock);
            EXPECT_NE(CRegistry::MIsSetup, 2);
        }).join();
        other.close();
    });
    EXPECT_TRUE(save());
    EXPECT_EQ(pauses, 1);
}

TEST_F(RegistrySaver, CanBeCancelledWhileItWaits) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    OtherFile other(newFile_, 0600);
    other.lock();
    Debug.ForceMaxDebug(0);  // a trace line is a cancellation point
    const EventfulClock clock([] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    });
    PosixThread saver([] { save(); });
    EXPECT_TRUE(saver.join());
    other.close();
    EXPECT_TRUE(save());
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, UsesALeftOverThatItsOwnerAloneCanOpen) {
    OtherFile(newFile_, 0600);
    const FakeClock clock;
    EXPECT_TRUE(save());
    EXPECT_TRUE(clock.sleeps().empty());
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, ReplacesALeftOverThatOthersCanOpenAndLock) {
    for (const mode_t mode : {0644U, 0640U, 0606U}) {
        for (const bool isLocked : {false, true}) {
            writeFile(registry_, kTree);
            const OtherFile leftOver(newFile_, mode);
            if (isLocked) {
                leftOver.lock();
            }
            const FakeClock clock;
            EXPECT_TRUE(save()) << mode << isLocked;
            EXPECT_TRUE(clock.sleeps().empty());
            EXPECT_EQ(readFile(registry_), kChangedTree);
            EXPECT_EQ(leftOver.contents(), "other");
            EXPECT_FALSE(hasNewFile());
        }
    }
}

TEST_F(RegistrySaver, DoesNotTakeTheWriteLockOfAFileThatOthersMayWriteForThatOfASaver) {
    const OtherFile leftOver(newFile_, 0606);
    leftOver.lockForWriting();
    leftOver.lock();
    const FakeClock clock;
    EXPECT_TRUE(save());
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(RegistrySaver, DoesNotWriteIntoAFileWithASecondName) {
    const std::string victim = directory_.file("victim");
    writeFile(victim, "precious");
    ASSERT_EQ(chmod(victim.c_str(), 0600), 0);
    ASSERT_EQ(link(victim.c_str(), newFile_.c_str()), 0);
    EXPECT_TRUE(save());
    EXPECT_EQ(readFile(victim), "precious");
    EXPECT_EQ(readFile(registry_), kChangedTree);
}

TEST_F(RegistrySaver, TellsWhyItCannotLockAndLeavesNoNewFile) {
    for (const int error : {ENOLCK, EOPNOTSUPP}) {
        lockError = error;
        EXPECT_FALSE(save());
        EXPECT_EQ(errno, error);
        EXPECT_FALSE(hasNewFile());
        expectCannotWrite();
    }
    lockError = 0;
    EXPECT_TRUE(save());
}

TEST_F(RegistrySaver, EndsWhenItCannotLookAtItsFile) {
    const FakeClock clock;
    lstatError = EIO;
    EXPECT_FALSE(save());
    EXPECT_EQ(errno, EIO);
    lstatError = 0;
    EXPECT_TRUE(clock.sleeps().empty());
    EXPECT_FALSE(hasNewFile());
    expectCannotWrite();
}

TEST_F(RegistrySaver, EndsWhenOthersAlwaysRenameTheFile) {
    const FakeClock clock;
    lstatError = ENOENT;
    EXPECT_FALSE(save());
    lstatError = 0;
    EXPECT_LE(clock.elapsed(), seconds(5));
    expectCannotWrite();
}

TEST_F(RegistrySaver, TriesAgainWhenTheFileThatWasThereHasJustGone) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    const OtherFile other(newFile_, 0600);
    int opened = 0;
    const TracedResult result = runTracedPart(
        [&](const TracedPart& part) {
            const FakeClock clock;
            part.begin();
            const bool saved = save();
            part.end();
            EXPECT_TRUE(saved);
            EXPECT_FALSE(clock.sleeps().empty());
            EXPECT_EQ(readFile(registry_), kChangedTree);
        },
        [&](std::size_t, const SystemCall& call) {
            // The first call finds the file, and the second one does not.
            const bool isOpening = call.name == "openat" && call.path == newFile_;
            return isOpening && ++opened == 2 ? Fate{Fate::Kind::failing, ENOENT, 0} : Fate{};
        });
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_GT(opened, 2);
}

TEST_F(RegistrySaver, EverySystemCallOfASaveMayFail) {
    SKIP_IF_NOTHING_CAN_BE_TRACED();
    SKIP_IF_MEMORY_IS_ASKED_FOR_BY_SYSTEM_CALLS();
    for (const bool hasLeftOver : {false, true}) {
        SCOPED_TRACE(hasLeftOver);
        const std::size_t faults = forEveryFaultOf([&](const TracedPart& part, const Fault& fault) {
            const FakeClock clock;
            writeFile(registry_, kTree);
            unlink(newFile_.c_str());
            if (hasLeftOver) {
                const OtherFile other(newFile_, 0644);
            }
            part.begin();
            const bool saved = save();
            part.end();
            EXPECT_TRUE(saved || !fault.isHarmless() || hasLeftOver);
            if (access(registry_.c_str(), F_OK) == 0) {
                const std::string tree = readFile(registry_);
                EXPECT_TRUE(tree == kChangedTree || (tree == kTree && !saved)) << tree;
            } else {
                EXPECT_EQ(readFile(directory_.file("registry.old")), kTree);
            }
            EXPECT_TRUE(save());
            EXPECT_EQ(readFile(registry_), kChangedTree);
            EXPECT_FALSE(hasNewFile());
        });
        EXPECT_GT(faults, 20u);
    }
}

TEST_F(RegistrySaver, DoesNotRenameAFileThatIsNoLongerItsOwn) {
    const std::string target = directory_.file("target");
    {
        NewRegistryFile file(newFile_.c_str());
        ASSERT_EQ(file.state(), NewRegistryFile::State::open);
        ASSERT_EQ(unlink(newFile_.c_str()), 0);
        writeFile(newFile_, "half");
        EXPECT_FALSE(file.finish());
        EXPECT_FALSE(file.renameTo(target.c_str()));
        EXPECT_NE(access(target.c_str(), F_OK), 0);
    }
    EXPECT_EQ(readFile(newFile_), "half");
}

TEST_F(RegistrySaver, OpensTheFileToAllJustBeforeItIsRenamed) {
    const std::string target = directory_.file("target");
    struct stat status {};
    NewRegistryFile file(newFile_.c_str());
    ASSERT_EQ(file.state(), NewRegistryFile::State::open);
    fputs("tree", file.stream());
    EXPECT_TRUE(file.finish());
    ASSERT_EQ(stat(newFile_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(NewRegistryFile(newFile_.c_str()).state(), NewRegistryFile::State::busy);
    EXPECT_TRUE(file.renameTo(target.c_str()));
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

}  // namespace
}  // namespace varnock::test
