#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <new>
#include <optional>

#include "runtime/Registry.h"
#include "runtime/files/FileDescriptor.h"
#include "runtime/registry/RegistryTree.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/PosixThread.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

// Replacements of the calls that the tests cannot make fail in another way.
namespace {
bool linksFail = false;
int renamesUntilFailure = 0;  ///< 0: none fails
}  // namespace

extern "C" {
int __real_link(const char* from, const char* to);
int __real_rename(const char* from, const char* to);

int __wrap_link(const char* from, const char* to) {
    if (!linksFail) {
        return __real_link(from, to);
    }
    errno = EPERM;
    return -1;
}

int __wrap_rename(const char* from, const char* to) {
    if (renamesUntilFailure == 0 || --renamesUntilFailure != 0) {
        return __real_rename(from, to);
    }
    errno = EIO;
    return -1;
}
}

namespace varnock::test {
namespace {

const std::string kSmallTree = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n";

/// Loading and saving in a temporary directory. Each test has its own process, in which the library
/// was loaded without a registry, so the first object of the test loads the tree.
class RegistryTree : public testing::Test {
  protected:
    RegistryTree() { setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1); }

    std::string file(const char* name) const { return directory.file(name); }
    bool exists(const char* name) const { return access(file(name).c_str(), F_OK) == 0; }

    void expectTreeOfTheBackup() const {
        CRegistry key;
        EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
        EXPECT_TRUE(trace.contains("CRegistry: WARNING: Could not find \"" + file("registry") +
                                   "\", trying backup"));
        EXPECT_FALSE(trace.contains("ERROR"));
    }

    TemporaryDirectory directory;
    TraceCapture trace;
};

TEST_F(RegistryTree, LoadsTheFileOnce) {
    writeFile(file("registry"), kSmallTree);
    { CRegistry key; }
    EXPECT_EQ(CRegistry::MIsSetup, 1);
    ASSERT_NE(CRegistry::MLocalMachine, nullptr);
    EXPECT_EQ(CRegistry::MUsers, nullptr);
    writeFile(file("registry"), "[HKEY_LOCAL_MACHINE]\n[OTHER]\n\n\n\n");
    CRegistry key;
    EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
    EXPECT_FALSE(trace.contains("Could not find"));
}

TEST_F(RegistryTree, FallsBackToTheBackup) {
    writeFile(file("registry.old"), kSmallTree);
    expectTreeOfTheBackup();
}

TEST_F(RegistryTree, WithoutAnyFileNothingCanBeCreatedOrSaved) {
    {
        CRegistry key;
        EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE"), -1);
        EXPECT_EQ(key.Open("HKEY_LOCAL_MACHINE\\SOFTWARE", nullptr), 4294967295L);
        CRegistry::MIsDirty = 1;
    }
    EXPECT_EQ(CRegistry::MIsSetup, 0);
    EXPECT_FALSE(exists("registry"));
    EXPECT_FALSE(exists("registry.new"));
    EXPECT_TRUE(
        trace.contains("CRegistry: ERROR: Could not find \"" + file("registry.old") + "\""));
}

TEST_F(RegistryTree, TheNextObjectTriesAgain) {
    { CRegistry key; }
    writeFile(file("registry"), kSmallTree);
    CRegistry key;
    EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE"), 0);
    EXPECT_EQ(CRegistry::MIsSetup, 1);
}

TEST_F(RegistryTree, AFileWithoutTheLocalMachineIsReinitialised) {
    writeFile(file("registry"), "[HKEY_USERS]\n\n\n");
    CRegistry::MRoot.erase("HKEY_LOCAL_MACHINE");
    { CRegistry key; }
    EXPECT_EQ(trace.count("CRegistry::InitClass() : re-initialize the registry-tree"), 1U);
    { CRegistry key; }
    EXPECT_EQ(trace.count("re-initialize"), 1U);
    EXPECT_NE(CRegistry::MUsers, nullptr);
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
    CRegistry root;
    root.Open(nullptr, nullptr);
    unsigned int count = 0;
    EXPECT_EQ(root.NoOfSubKeys(&count), 0);
    EXPECT_EQ(count, 5U);
}

TEST_F(RegistryTree, FindsTheFiveRootKeysByTheirNames) {
    writeFile(file("registry"),
              "[HKEY_CLASSES_ROOT]\na=d=1\n\n[HKEY_CURRENT_CONFIG]\na=d=2\n\n"
              "[HKEY_CURRENT_USER]\na=d=3\n\n[HKEY_LOCAL_MACHINE]\na=d=4\n\n"
              "[HKEY_USERS]\na=d=5\n\n\n");
    CRegistry key;
    unsigned int expected = 0;
    for (CRegistryNode* root :
         {CRegistry::MClassesRoot, CRegistry::MCurrentConfig, CRegistry::MCurrentUser,
          CRegistry::MLocalMachine, CRegistry::MUsers}) {
        unsigned int number = 0;
        EXPECT_EQ(key.QueryValue(&number, "a", root), 0);
        EXPECT_EQ(number, ++expected);
    }
}

TEST_F(RegistryTree, SavesAfterTheFirstChangeAndKeepsTheFileBefore) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry key; }
    EXPECT_FALSE(exists("registry.old"));
    {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        EXPECT_EQ(key.SetValue("Name", "abc"), 0);
    }
    EXPECT_EQ(readFile(file("registry")), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=abc\n\n\n\n");
    EXPECT_EQ(readFile(file("registry.old")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
    struct stat status {};
    ASSERT_EQ(stat(file("registry").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

TEST_F(RegistryTree, EveryLaterDestructionSavesAgain) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }
    const std::string saved = readFile(file("registry"));
    writeFile(file("registry"), "lost");
    { CRegistry key; }
    EXPECT_EQ(readFile(file("registry")), saved);
    EXPECT_EQ(readFile(file("registry.old")), "lost");
}

TEST_F(RegistryTree, AMissingFileComesBackFromALoadedTreeAlone) {
    writeFile(file("registry.old"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }
    EXPECT_TRUE(exists("registry"));
    EXPECT_EQ(readFile(file("registry.old")), kSmallTree);
}

TEST_F(RegistryTree, TheFileKeepsItsNameUntilTheNewOneTakesItsPlace) {
    writeFile(file("registry"), kSmallTree);
    writeFile(file("registry.old"), "older");
    CRegistry::MIsDirty = 0;
    renamesUntilFailure = 2;
    { CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }
    EXPECT_EQ(renamesUntilFailure, 1) << "it was not moved away first";
    renamesUntilFailure = 0;
    EXPECT_EQ(readFile(file("registry.old")), kSmallTree);
}

TEST_F(RegistryTree, SavesWhereThereAreNoLinks) {
    writeFile(file("registry"), kSmallTree);
    writeFile(file("registry.old"), "older");
    linksFail = true;
    {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        EXPECT_EQ(key.SetValue("Name", "text"), 0);
    }
    EXPECT_NE(readFile(file("registry")).find("Name=s=text"), std::string::npos);
    EXPECT_EQ(readFile(file("registry.old")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
}

TEST_F(RegistryTree, AFileThatCannotBeReplacedStays) {
    for (const bool links : {true, false}) {
        for (const int nth : {1, 2}) {
            if (links && nth == 2) {
                continue;  // there is only one
            }
            writeFile(file("registry"), kSmallTree);
            CRegistry::MIsDirty = 0;
            linksFail = !links;
            const auto change = [&] {
                CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
                key.SetValue("Name", "text");
                renamesUntilFailure = nth;
            };
            EXPECT_THROW(change(), int);
            EXPECT_EQ(errno, EIO);
            renamesUntilFailure = 0;
            EXPECT_EQ(readFile(file("registry")), kSmallTree) << links << nth;
            EXPECT_FALSE(exists("registry.new"));
        }
    }
    CRegistry::MIsDirty = 0;
}

TEST_F(RegistryTree, AFailedSaveThrowsAndLeavesTheFile) {
    writeFile(file("registry"), kSmallTree);
    ASSERT_EQ(mkdir(file("registry.new").c_str(), 0700), 0);
    CRegistry::MIsDirty = 0;
    EXPECT_THROW({ CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }, int);
    EXPECT_TRUE(trace.contains("CRegistry: ERROR: Cannot open \"" + file("registry.new") +
                               "\" for writing"));
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    ASSERT_EQ(rmdir(file("registry.new").c_str()), 0);
}

TEST_F(RegistryTree, DoesNotWriteThroughALink) {
    writeFile(file("registry"), kSmallTree);
    writeFile(file("victim"), "precious");
    ASSERT_EQ(symlink(file("victim").c_str(), file("registry.new").c_str()), 0);
    CRegistry::MIsDirty = 0;
    EXPECT_THROW({ CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }, int);
    EXPECT_EQ(readFile(file("victim")), "precious");
    ASSERT_EQ(unlink(file("registry.new").c_str()), 0);
}

TEST_F(RegistryTree, NeitherWaitsForAPipeNorWritesIntoIt) {
    writeFile(file("registry"), kSmallTree);
    ASSERT_EQ(mkfifo(file("registry.new").c_str(), 0600), 0);
    const auto change = [] { CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); };
    EXPECT_THROW(change(), int);
    const FileDescriptor reader(open(file("registry.new").c_str(), O_RDONLY | O_NONBLOCK));
    EXPECT_THROW(change(), int);
    EXPECT_EQ(
        trace.count("CRegistry: ERROR: Cannot open \"" + file("registry.new") + "\" for writing"),
        2U);
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    EXPECT_TRUE(std::filesystem::is_fifo(file("registry.new")));
}

TEST_F(RegistryTree, AFileSizeLimitIsAFailureAndSendsTheHostNoSignal) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    trace.setLevel(0);  // the capture is also a file
    std::optional<FileSizeLimit> limit;
    const auto tooMuch = [&] {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        for (unsigned int i = 0; i < 500; ++i) {
            key.SetValue(("n" + std::to_string(i)).c_str(), i);
        }
        limit.emplace(4096);
    };
    EXPECT_THROW(tooMuch(), int);
    EXPECT_EQ(errno, EFBIG);
    limit.reset();
    EXPECT_TRUE(trace.contains("CRegistry: ERROR: Cannot write \"" + file("registry.new") + "\""));
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
}

TEST_F(RegistryTree, AFailedSaveDoesNotReplaceAnExceptionOnItsWay) {
    writeFile(file("registry"), kSmallTree);
    ASSERT_EQ(mkdir(file("registry.new").c_str(), 0700), 0);
    CRegistry::MIsDirty = 0;
    const auto throwing = [] {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        key.SetValue("n", 1U);
        throw std::string("first");
    };
    EXPECT_THROW(throwing(), std::string);
    ASSERT_EQ(rmdir(file("registry.new").c_str()), 0);
}

TEST_F(RegistryTree, AFileThatIsBeingWrittenBelongsToItsWriterAlone) {
    writeFile(file("registry"), kSmallTree);
    mode_t mode = 0;
    EXPECT_TRUE(CRegistry::UpdateTree([&] {
        struct stat status {};
        mode = stat(file("registry.new").c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
        return false;
    }));
    EXPECT_EQ(mode, 0600U);
}

TEST_F(RegistryTree, ACancelledThreadLoadsChangesAndSavesWhole) {
    SKIP_IF_THREAD_EXIT_IS_MISREAD();
    writeFile(file("registry"), kSmallTree);
    Debug.ForceMaxDebug(0);  // a trace line is a cancellation point
    bool reached = false;
    PosixThread thread([&] {
        pthread_cancel(pthread_self());
        {
            CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
            EXPECT_EQ(key.SetValue("Name", "text"), 0);
        }
        EXPECT_TRUE(CRegistry::UpdateTree([] {
            CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
            return key.SetValue("Number", 7U) == 0;
        }));
        reached = true;
        pthread_testcancel();
        reached = false;
    });
    EXPECT_TRUE(thread.join());
    EXPECT_TRUE(reached);
    EXPECT_EQ(readFile(file("registry")),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=text\nNumber=d=7\n\n\n\n");
    EXPECT_FALSE(exists("registry.new"));
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    EXPECT_STREQ(key.GetValue("Name"), "text") << "the lock is free";
}

TEST_F(RegistryTree, AnUpdateWorksOnWhatTheFileHoldsNow) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry loaded; }
    const std::string changedByOthers = "[HKEY_LOCAL_MACHINE]\n[OTHER]\nn=d=1\n\n\n\n";
    writeFile(file("registry"), changedByOthers);
    EXPECT_TRUE(CRegistry::UpdateTree([] {
        CRegistry key("OTHER", CRegistry::MLocalMachine);
        EXPECT_EQ(key.SetValue("n", 2U), 0);
        CRegistry gone;
        EXPECT_NE(gone.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
        return true;
    }));
    EXPECT_EQ(CRegistry::MIsDirty, 1);
    EXPECT_EQ(readFile(file("registry")), "[HKEY_LOCAL_MACHINE]\n[OTHER]\nn=d=2\n\n\n\n");
    EXPECT_EQ(readFile(file("registry.old")), changedByOthers);
    EXPECT_FALSE(exists("registry.new"));
}

TEST_F(RegistryTree, AnUpdateThatIsNotWantedLeavesTheFile) {
    writeFile(file("registry"), kSmallTree);
    EXPECT_TRUE(CRegistry::UpdateTree([] {
        CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 2U);
        return false;
    }));
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    EXPECT_FALSE(exists("registry.old"));
    EXPECT_FALSE(exists("registry.new"));
    EXPECT_THROW(CRegistry::UpdateTree([]() -> bool { throw std::string("refused"); }),
                 std::string);
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
}

TEST_F(RegistryTree, AnUpdateThatIsNotSavedIsTakenBackInMemoryToo) {
    writeFile(file("registry"), kSmallTree);
    for (const int dirty : {0, 1}) {
        CRegistry::MIsDirty = dirty;
        CRegistryNode* inside = nullptr;
        const auto change = [&] {
            CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
            EXPECT_EQ(key.SetValue("n", 2U), 0);
            inside = key;
        };
        const auto expectNoChange = [&](const char* after) {
            EXPECT_EQ(CRegistry::MIsDirty, dirty) << after;
            CRegistry old(inside);
            EXPECT_EQ(old.GetValueSize("n"), 4U) << "a handle stays valid " << after;
            {
                CRegistry key;
                EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0) << after;
                EXPECT_EQ(key.GetValue("n"), nullptr) << after;
            }
            EXPECT_EQ(readFile(file("registry")), kSmallTree) << after;
        };
        EXPECT_TRUE(CRegistry::UpdateTree([&] {
            change();
            return false;
        }));
        expectNoChange("a refusal");
        const auto throwing = [&]() -> bool {
            change();
            throw std::string("refused");
        };
        EXPECT_THROW(CRegistry::UpdateTree(throwing), std::string);
        expectNoChange("an exception");
        const auto unwritable = [&] {
            change();
            renamesUntilFailure = 1;
            return true;
        };
        EXPECT_THROW(CRegistry::UpdateTree(unwritable), int);
        EXPECT_EQ(errno, EIO);
        expectNoChange("a failed save");
    }
}

TEST_F(RegistryTree, AnUpdateThatCannotBeTakenBackLeavesNoTree) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    EXPECT_TRUE(CRegistry::UpdateTree([&] {
        CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 2U);
        EXPECT_EQ(unlink(file("registry").c_str()), 0);
        return false;
    }));
    EXPECT_EQ(CRegistry::MIsSetup, 0);
    EXPECT_EQ(CRegistry::MLocalMachine, nullptr);
    writeFile(file("registry"), kSmallTree);
    CRegistry key;
    EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
    EXPECT_EQ(key.GetValue("n"), nullptr);
}

TEST_F(RegistryTree, AnUpdateOfWhatIsNoFileLeavesTheTreeInMemory) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    ASSERT_EQ(unlink(file("registry").c_str()), 0);
    ASSERT_EQ(mkdir(file("registry").c_str(), 0700), 0);
    EXPECT_FALSE(CRegistry::UpdateTree([] { return true; }));
    EXPECT_EQ(CRegistry::MIsSetup, 1);
    EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
}

TEST_F(RegistryTree, AnUpdateOfTheTextSavesItToTheByte) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry loaded; }
    const std::string changed = "# A comment.\n[HKEY_LOCAL_MACHINE]\nz=d=1\na=d=02\n\n\n# End.";
    EXPECT_TRUE(CRegistry::UpdateText([&](std::string& text) {
        EXPECT_EQ(text, kSmallTree);
        text = changed;
        return true;
    }));
    EXPECT_EQ(readFile(file("registry")), changed);
    EXPECT_EQ(readFile(file("registry.old")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
    unsigned int number = 0;
    CRegistry key("", CRegistry::MLocalMachine);
    EXPECT_EQ(key.QueryValue(&number, "a", CRegistry::MLocalMachine), 0);
    EXPECT_EQ(number, 2U) << "the tree in memory is that of the text";
    EXPECT_EQ(CRegistry::MIsDirty, 0);
}

TEST_F(RegistryTree, AnUpdateOfTheTextThatIsNotSavedLeavesTheFile) {
    writeFile(file("registry"), kSmallTree);
    EXPECT_TRUE(CRegistry::UpdateText([](std::string& text) {
        text = "x";
        return false;
    }));
    EXPECT_THROW(CRegistry::UpdateText([](std::string&) -> bool { throw std::string("refused"); }),
                 std::string);
    renamesUntilFailure = 1;
    EXPECT_THROW(CRegistry::UpdateText([](std::string& text) {
                     text = "x";
                     return true;
                 }),
                 int);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
    EXPECT_FALSE(exists("registry.new"));
    CRegistry key;
    EXPECT_EQ(key.Open("SOFTWARE", CRegistry::MLocalMachine), 0);
}

TEST_F(RegistryTree, AnUpdateOfTheTextInsideOfAnUpdateFails) {
    writeFile(file("registry"), kSmallTree);
    EXPECT_TRUE(CRegistry::UpdateTree([] {
        const auto change = [](std::string&) { return true; };
        EXPECT_THROW(CRegistry::UpdateText(change), int);
        EXPECT_EQ(errno, EDEADLK);
        return false;
    }));
    ASSERT_EQ(unlink(file("registry").c_str()), 0);
    EXPECT_FALSE(CRegistry::UpdateText([](std::string&) { return true; }));
}

TEST_F(RegistryTree, AnUpdateInsideOfAnUpdateIsAPartOfIt) {
    writeFile(file("registry"), kSmallTree);
    EXPECT_TRUE(CRegistry::UpdateTree([&] {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        key.SetValue("a", 1U);
        EXPECT_TRUE(CRegistry::UpdateTree([] {
            CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("b", 2U);
            return true;
        }));
        EXPECT_EQ(readFile(file("registry")), kSmallTree);
        EXPECT_TRUE(CRegistry::UpdateTree([] { return false; })) << "there is a file";
        key.SetValue("c", 3U);
        return true;
    }));
    EXPECT_EQ(readFile(file("registry")),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=d=1\nb=d=2\nc=d=3\n\n\n\n");
}

// If the paths were cut, those of the backup and of the new file would be that of the registry.
TEST_F(RegistryTree, APathThatDoesNotFitIsThatOfNoFile) {
    constexpr std::size_t longest = 4095;
    std::string path = directory.path();
    while (path.size() + strlen("/registry") < longest) {
        const std::size_t left = longest - strlen("/registry") - path.size();
        path += "/" + std::string(left <= 200 ? left - 1 : 150, 'd');
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    }
    writeFile(path + "/registry", kSmallTree);
    setenv("QX_SYSTEM_DIR", path.c_str(), 1);
    CRegistry::MIsDirty = 0;
    EXPECT_THROW({ CRegistry("SOFTWARE", CRegistry::MLocalMachine).SetValue("n", 1U); }, int);
    EXPECT_TRUE(trace.contains("CRegistry: ERROR: Cannot open \"\" for writing"));
    EXPECT_EQ(readFile(path + "/registry"), kSmallTree);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path), {}), 1);
    CRegistry::MIsDirty = 0;
    CRegistry::MIsSetup = 0;
    setenv("QX_SYSTEM_DIR", (path + "/").c_str(), 1);
    CRegistry::MRoot.erase("HKEY_LOCAL_MACHINE");
    { CRegistry key; }
    EXPECT_EQ(CRegistry::MIsSetup, 0);
    EXPECT_TRUE(trace.contains("CRegistry: ERROR: Could not find \"\""));
}

TEST_F(RegistryTree, AProductsPointerIsFoundAlsoWhereNothingCanBeSaved) {
    writeFile(file("registry"),
              "[HKEY_LOCAL_MACHINE]\n[SYSTEM]\n[CurrentControlSet]\n[Control]\n[UUID]\n"
              "[C3681B60-0D26-11D3-8319-00A0C9B61E25]\nProduct=s=HKEY_USERS\\x\n"
              "\n\n\n\n\n\n\n");
    ASSERT_EQ(mkdir(file("registry.new").c_str(), 0700), 0);
    CRegistry::MIsDirty = 1;
    std::string root;
    EXPECT_TRUE(CRegistry::GetProductRegistryRoot(root, "Product"));
    EXPECT_EQ(root, "HKEY_USERS\\x");
    EXPECT_FALSE(CRegistry::GetProductRegistryRoot(root, "Other"));
    CRegistry::MIsDirty = 0;
}

TEST_F(RegistryTree, AHandleMayNameARootKeyBeforeTheTreeIsLoaded) {
    writeFile(file("registry"), kSmallTree);
    ASSERT_EQ(CRegistry::MLocalMachine, nullptr);
    const CRegistry handle(CRegistry::MLocalMachine);
    EXPECT_NE(static_cast<CRegistryNode*>(handle), nullptr);
    EXPECT_EQ(static_cast<CRegistryNode*>(handle), CRegistry::MLocalMachine);
}

TEST_F(RegistryTree, AKeyBelowANullRootCannotBeCreated) {
    CRegistry key;
    for (const char* path : {"HKEY_LOCAL_MACHINE\\SOFTWARE", "HKEY_LOCAL_MACHINE"}) {
        EXPECT_EQ(key.CreateKey(&CRegistry::MRoot, path), -1) << path;
        EXPECT_EQ(static_cast<CRegistryNode*>(key), nullptr);
    }
}

TEST_F(RegistryTree, AnUpdateThatRunsOutOfMemoryNeverCostsTheFile) {
    writeFile(file("registry"), kSmallTree);
    const std::string changed = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=2\n\n\n\n";
    for (std::size_t n = 1;; ++n) {
        bool happened = false;
        {
            const FailingAllocation failure(n);
            try {
                CRegistry::UpdateTree([] {
                    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
                    return key.SetValue("n", 2U) == 0;
                });
            } catch (const std::bad_alloc&) {
            } catch (int) {
            }
            happened = failure.happened();
        }
        // Every later object saves the tree in memory.
        { CRegistry key; }
        const std::string left = readFile(file("registry"));
        EXPECT_TRUE(left == kSmallTree || left == changed) << n << ": " << left;
        if (HasFailure()) {
            return;
        }
        if (!happened) {
            break;
        }
        writeFile(file("registry"), kSmallTree);
    }
    EXPECT_EQ(readFile(file("registry")), changed);
}

TEST_F(RegistryTree, AFileThatCannotBeReadToItsEndIsNoTree) {
    // A regular file whose first page does not exist, so that reading fails.
    ASSERT_EQ(symlink("/proc/self/mem", file("registry").c_str()), 0);
    writeFile(file("registry.old"), kSmallTree);
    expectTreeOfTheBackup();
}

TEST_F(RegistryTree, TheBackupNeverReplacesAFileThatCouldNotBeRead) {
    ASSERT_EQ(symlink("/proc/self/mem", file("registry").c_str()), 0);
    writeFile(file("registry.old"), kSmallTree);
    expectTreeOfTheBackup();
    CRegistry::MIsDirty = 1;
    errno = 0;
    EXPECT_THROW(CRegistry::SaveTree(), int);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(std::filesystem::is_symlink(file("registry")));
    EXPECT_THROW(CRegistry::UpdateTree([] { return true; }), int);
    EXPECT_TRUE(std::filesystem::is_symlink(file("registry")));
    EXPECT_FALSE(exists("registry.new"));
    // As soon as the file can be read again, an update works on it.
    ASSERT_EQ(unlink(file("registry").c_str()), 0);
    writeFile(file("registry"), kSmallTree);
    EXPECT_TRUE(CRegistry::UpdateTree([] { return true; }));
    CRegistry::SaveTree();
}

TEST_F(RegistryTree, WhatIsNoFileIsNeitherWaitedForNorReplaced) {
    ASSERT_EQ(mkfifo(file("registry").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(file("registry.old").c_str(), 0700), 0);
    {
        CRegistry key;
        EXPECT_EQ(key.CreateKey(CRegistry::MLocalMachine, "SOFTWARE"), -1);
        CRegistry::MIsDirty = 1;
    }
    EXPECT_FALSE(CRegistry::UpdateTree([] { return true; }));
    EXPECT_EQ(CRegistry::MIsSetup, 0);
    EXPECT_TRUE(std::filesystem::is_fifo(file("registry")));
    EXPECT_TRUE(std::filesystem::is_directory(file("registry.old")));
    EXPECT_TRUE(
        trace.contains("CRegistry: ERROR: Could not find \"" + file("registry.old") + "\""));
}

TEST_F(RegistryTree, AnythingButADirectoryAboveIsNoFile) {
    writeFile(file("above"), "a file");
    setenv("QX_SYSTEM_DIR", file("above").c_str(), 1);
    EXPECT_FALSE(CRegistry::UpdateTree([] { return true; }));
    CRegistry::SaveTree();
    EXPECT_EQ(readFile(file("above")), "a file");
}

TEST_F(RegistryTree, HasEndedForWhoeverComesLater) {
    writeFile(file("registry"), kSmallTree);
    CRegistry::MIsDirty = 0;
    { CRegistry key; }
    ASSERT_EQ(CRegistry::MIsSetup, 1);
    ASSERT_EQ(unlink(file("registry").c_str()), 0);
    endRegistry();
    CRegistry::MIsDirty = 1;
    CRegistry::SaveTree();
    bool called = false;
    EXPECT_FALSE(CRegistry::UpdateTree([&] { return called = true; }));
    CRegistry::MIsSetup = 0;
    CRegistry::SetupTree();
    EXPECT_FALSE(called);
    EXPECT_EQ(CRegistry::MIsSetup, 0);
    EXPECT_FALSE(exists("registry"));
}

TEST_F(RegistryTree, AnUpdateNeedsAFileThatCanBeReadAndWritten) {
    bool called = false;
    const auto change = [&] { return called = true; };
    EXPECT_FALSE(CRegistry::UpdateTree(change));
    EXPECT_FALSE(exists("registry.new"));
    writeFile(file("registry"), kSmallTree);
    ASSERT_EQ(mkdir(file("registry.new").c_str(), 0700), 0);
    errno = 0;
    EXPECT_THROW(CRegistry::UpdateTree(change), int);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(called);
    EXPECT_TRUE(trace.contains("CRegistry: ERROR: Cannot open \"" + file("registry.new") +
                               "\" for writing"));
    ASSERT_EQ(rmdir(file("registry.new").c_str()), 0);
    ASSERT_EQ(rename(file("registry").c_str(), file("registry.old").c_str()), 0);
    EXPECT_TRUE(CRegistry::UpdateTree(change));
    EXPECT_EQ(readFile(file("registry")), kSmallTree);
}

}  // namespace
}  // namespace varnock::test
