// Every allocation of an operation fails once: the operation ends with a documented result, leaks
// nothing, and the next one works.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>

#include "runtime/Debug.h"
#include "runtime/ProfileFile.h"
#include "runtime/Registry.h"
#include "runtime/Synchronisation.h"
#include "runtime/trace/RingBufferFile.h"
#include "tests/support/EveryAllocation.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
using testing::Eq;

enum class Leaks { allowed, none };

/// Calls `operation` and then `check` for every allocation that can fail. A leak is a block that
/// the operation leaves.
void forEachAllocation(Leaks leaks, const std::function<void()>& operation,
                       const std::function<void(bool failed)>& check) {
    const std::size_t failures = forEveryAllocation([&](const FailingCallNumber& call) {
        FailingMalloc failure(call.n, call.times);
        operation();
        failure.end();
        if (leaks == Leaks::none) {
            EXPECT_EQ(failure.blocksLeft(), 0U);
        }
        check(failure.happened());
        return failure.happened();
    });
    EXPECT_GT(failures, 0U);
}

/// A process with a registry of one key and one value in a temporary directory.
class OutOfMemory : public testing::Test {
  protected:
    OutOfMemory() {
        setenv("QX_SYSTEM_DIR", directory_.path().c_str(), 1);
        writeFile(registry_, kBefore);
        CRegistry::MIsDirty = 0;
        Debug.ForceMaxDebug(0);
    }

    std::string valueOf(const char* name) const {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        const char* value = key.GetValue(name);
        return value != nullptr ? value : "(none)";
    }

    const std::string kBefore = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=old\n\n\n\n";
    const std::string kAfter = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nName=s=new\n\n\n\n";
    TemporaryDirectory directory_;
    const std::string registry_ = directory_.file("registry");
};

TEST_F(OutOfMemory, LoadingTheRegistryIsTriedAgain) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const auto forget = [] {
        CRegistry::MIsSetup = 0;
        for (const char* root : {"HKEY_LOCAL_MACHINE", "HKEY_USERS", "HKEY_CURRENT_USER",
                                 "HKEY_CLASSES_ROOT", "HKEY_CURRENT_CONFIG"}) {
            CRegistry::MRoot.erase(root);
        }
    };
    forEachAllocation(
        Leaks::allowed,
        [&] {
            forget();
            const CRegistry loading;
        },
        [&](bool) {
            EXPECT_EQ(valueOf("Name"), "old");
            EXPECT_EQ(readFile(registry_), kBefore);
        });
}

TEST_F(OutOfMemory, ReadingAValueFails) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ASSERT_EQ(valueOf("Name"), "old");
    CRegistryNode* const root = CRegistry::MLocalMachine;
    bool isRead = false;
    forEachAllocation(
        Leaks::none,
        [&] {
            CRegistry key;
            std::string text;
            isRead = key.Open("SOFTWARE", root) == 0 && key.GetValue("Name") != nullptr &&
                     key.QueryValue(text, "Name") == 0;
            // All but the last part of a path is copied; a long one does not fit into the object.
            isRead = isRead && key.Open("a key with a name that needs memory\\below", root) != 0;
        },
        [&](bool failed) {
            EXPECT_TRUE(failed || isRead);
            EXPECT_EQ(valueOf("Name"), "old");
        });
}

TEST_F(OutOfMemory, SettingAValueFailsOrSucceedsAsAWhole) {
    SKIP_IF_MALLOC_IS_REPLACED();
    CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
    bool isSet = false;
    forEachAllocation(
        Leaks::allowed, [&] { isSet = key.SetValue("Value", "text") == 0; },
        [&](bool failed) {
            EXPECT_TRUE(failed || isSet);
            EXPECT_EQ(key.GetValueSize("Value"), isSet ? 5U : 0U);
            EXPECT_STREQ(key.GetValue("Name"), "old");
            key.DeleteValue("Value");
        });
    CRegistry::MIsDirty = 0;
}

TEST_F(OutOfMemory, ASaveKeepsTheOldOrTheNewFile) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ASSERT_EQ(valueOf("Name"), "old");
    bool isSaved = false;
    forEachAllocation(
        Leaks::allowed,
        [&] {
            try {
                isSaved = CRegistry::UpdateTree([] {
                    CRegistry key;
                    return key.Open("SOFTWARE", CRegistry::MLocalMachine) == 0 &&
                           key.SetValue("Name", "new") == 0;
                });
            } catch (int) {
                isSaved = false;
            } catch (const std::bad_alloc&) {
                isSaved = false;
            }
        },
        [&](bool failed) {
            EXPECT_THAT(readFile(registry_), AnyOf(Eq(kBefore), Eq(kAfter)));
            EXPECT_TRUE(failed || isSaved);
            EXPECT_NE(access(directory_.file("registry.new").c_str(), F_OK), 0);
            EXPECT_THAT(valueOf("Name"), AnyOf(Eq("old"), Eq("new")));
            CRegistry::MIsDirty = 0;
            writeFile(registry_, kBefore);
        });
}

TEST_F(OutOfMemory, ASaveOfTheTreeInMemoryFails) {
    SKIP_IF_MALLOC_IS_REPLACED();
    ASSERT_EQ(valueOf("Name"), "old");
    {
        CRegistry key("SOFTWARE", CRegistry::MLocalMachine);
        key.SetValue("Name", "new");
    }
    writeFile(registry_, kBefore);
    bool isSaved = false;
    forEachAllocation(
        Leaks::none,
        [&] {
            try {
                CRegistry::SaveTree();
                isSaved = true;
            } catch (int) {
                isSaved = false;
            }
        },
        [&](bool failed) {
            EXPECT_EQ(readFile(registry_), isSaved ? kAfter : kBefore);
            EXPECT_TRUE(failed || isSaved);
            EXPECT_NE(access(directory_.file("registry.new").c_str(), F_OK), 0);
            writeFile(registry_, kBefore);
        });
    CRegistry::MIsDirty = 0;
}

TEST_F(OutOfMemory, ReadingAProfileFileGivesTheValueOrTheDefault) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string file = directory_.file("test.ini");
    writeFile(file, "[section]\n\nkey=value\n");
    char text[100];
    const auto check = [&](bool failed) {
        const std::string result = text;
        EXPECT_TRUE(result == "value" || (failed && result == "default")) << result;
    };
    forEachAllocation(
        Leaks::none,
        [&] {
            GetPrivateProfileString("section", "key", "default", text, sizeof text, file.c_str());
        },
        check);
    forEachAllocation(
        Leaks::none,
        [&] {
            CIniFile ini(file.c_str());
            snprintf(text, sizeof text, "%s", ini.GetString("section", "key", "default"));
        },
        check);
}

TEST_F(OutOfMemory, WritingAProfileFileKeepsTheOldOrTheNewText) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string file = directory_.file("test.ini");
    const std::string before = "[section]\n\nkey=old\n";
    int result = 0;
    writeFile(file, before);
    forEachAllocation(
        Leaks::none,
        [&] { result = WritePrivateProfileString("section", "key", "new", file.c_str()); },
        [&](bool failed) {
            EXPECT_THAT(readFile(file), AnyOf(Eq(before), Eq("[section]\n\nkey=new\n"),
                                              Eq("[section]\n\n\nkey=new\n")));
            EXPECT_TRUE(failed || result == 1);
            EXPECT_EQ(result == 1, readFile(file) != before);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory_.path()), {}), 2);
            writeFile(file, before);
        });
}

TEST_F(OutOfMemory, MakingAProfileFileMakesAWholeOneOrNone) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string file = directory_.file("new.ini");
    int result = 0;
    forEachAllocation(
        Leaks::none,
        [&] { result = WritePrivateProfileString("section", "key", "value", file.c_str()); },
        [&](bool failed) {
            EXPECT_TRUE(failed || result == 1);
            const bool exists = access(file.c_str(), F_OK) == 0;
            EXPECT_EQ(exists, result == 1);
            if (exists) {
                EXPECT_EQ(readFile(file), "\n[section]\n\nkey=value\n");
            }
            unlink(file.c_str());
        });
}

TEST_F(OutOfMemory, AnEntryIsDroppedAndTheNextOneWritten) {
    SKIP_IF_MALLOC_IS_REPLACED();
    Debug.ForceMaxDebug(1);
    const std::string path = directory_.file("log");
    // The format has a conversion that the trace rewrites in a copy.
    const std::string format = std::string(100, 'x') + "%.3S%ls";
    ASSERT_EQ(Debug.InitRingBuffer(path.c_str(), 1 << 20), 1);
    const auto entries = [&] {
        const std::string text = readFile(path);
        std::size_t count = 0;
        for (std::size_t at = 0; (at = text.find(": xxxx", at)) != text.npos; ++at) {
            ++count;
        }
        return count;
    };
    std::size_t expected = 0;
    forEachAllocation(
        Leaks::none, [&] { Debug.PrintIt(2, format.c_str(), "text", L"wide"); },
        [&](bool) {
            const std::size_t now = entries();
            EXPECT_LE(now, expected + 1);
            Debug.PrintIt(2, "xxxxx");
            expected = entries();
            EXPECT_EQ(expected, now + 1);
        });
}

TEST_F(OutOfMemory, OpeningTheTraceFileFailsWithAReasonAndLeavesNoFile) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::string path = directory_.file("log");
    bool isOpen = false;
    char failure[256];
    forEachAllocation(
        Leaks::none,
        [&] {
            failure[0] = '\0';
            isOpen = RingBufferFile::open(path.c_str(), 65536, "start\n", "filler", failure,
                                          sizeof failure) != nullptr;
        },
        [&](bool failed) {
            EXPECT_EQ(isOpen, !failed);
            EXPECT_EQ(failed, failure[0] != '\0');
            EXPECT_EQ(access(path.c_str(), F_OK) == 0, isOpen);
            unlink(path.c_str());
        });
}

TEST_F(OutOfMemory, EventsAndSemaphoresFailOrWork) {
    SKIP_IF_MALLOC_IS_REPLACED();
    bool works = false;
    forEachAllocation(
        Leaks::none,
        [&] {
            CEvent event(1, 1, "event");
            CSemaphore semaphore;
            works = event.IfSet() == 1 && semaphore.Create(1, 1, "semaphore") == 1;
        },
        [&](bool failed) {
            EXPECT_EQ(works, !failed);
            CEvent event(1, 1, "event");
            CSemaphore semaphore;
            EXPECT_EQ(event.IfSet(), 1);
            EXPECT_EQ(semaphore.Create(1, 1, "semaphore"), 1);
        });
}

}  // namespace
}  // namespace varnock::test
