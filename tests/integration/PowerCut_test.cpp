// The state of registry and profile files after a change that is interrupted.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/EveryCall.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

using Calls = std::vector<SystemCall>;

const std::string kMissing = "(no file)";

/// A change of a file by the host program.
struct Change {
    const char* name;
    std::vector<std::string> arguments;  ///< "FILE" is the path of the file
    std::string file;
    std::string before;
    std::string backup = {};  ///< of the registry; empty: there is none
};

void PrintTo(const Change& change, std::ostream* out) {
    *out << change.name;
}

/// Both are written in several pieces.
std::string largeRegistry(const std::string& settings) {
    std::string text = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n" + settings + "[Large]\n";
    for (int i = 0; i < 1100; ++i) {
        text += std::to_string(i + 1'000'000) + "=s=" + std::string(60, 'r') + "\n";
    }
    return text + "\n\n\n\n";
}

std::string largeProfile() {
    std::string text = "; a comment\n[first]\n\na=1\nkey=old\nb=2\n\n[large]\n\n";
    for (int i = 0; i < 500; ++i) {
        text += "key" + std::to_string(i) + "=" + std::string(40, 'p') + "\n";
    }
    return text + "\n[last]\n\nz=26\n";
}

std::vector<Change> changes() {
    const std::string settings = "[Debug]\n[CIM_Provider]\n\n\n";
    const std::string longer(3000, 'n');
    return {
        {"LibraryLoad", {"load"}, "registry", largeRegistry("")},
        {"LibraryLoadBesideABackup", {"load"}, "registry", largeRegistry(""), kSmallRegistry},
        {"RegistrySave", {"save", "Name", "1"}, "registry", largeRegistry(settings)},
        {"RegistryUpdate", {"change", "Name", "1"}, "registry", largeRegistry(settings)},
        {"ProfileValue", {"profile", "FILE", "first", "key", "new"}, "test.ini", largeProfile()},
        {"ProfileLongerValue",
         {"profile", "FILE", "first", "a", longer},
         "test.ini",
         largeProfile()},
        {"ProfileDeletion", {"profile", "FILE", "first", "key"}, "test.ini", largeProfile()},
        {"ProfileKey", {"profile", "FILE", "last", "new", "1"}, "test.ini", largeProfile()},
        {"ProfileSection", {"profile", "FILE", "new", "key", "1"}, "test.ini", largeProfile()},
        {"ProfileFile", {"profile", "FILE", "new", "key", longer}, "test.ini", kMissing},
    };
}

class PowerCut : public testing::TestWithParam<Change> {
  protected:
    /// The test does not count calls on other files.
    PowerCut() {
        files_.settings["QX_LOG_RINGBUF_DIR"] = others_.path();
        if (isRegistry()) {
            return;
        }
        files_.settings["QX_SYSTEM_DIR"] = others_.path();
        writeFile(others_.file("registry"), kSmallRegistry);
        runProcess({LIBRARY_HOST_STATIC, "load"}, files_.environment());
    }
    void SetUp() override {
        SKIP_IF_NOTHING_CAN_BE_TRACED();
        reference_ = run([](std::size_t, const SystemCall&) { return Fate{}; });
        ASSERT_EQ(reference_.status, 0) << reference_.err;
        after_ = left();
        ASSERT_NE(after_, GetParam().before);
        ASSERT_GT(reference_.calls.size(), 5U);
    }

    bool isRegistry() const { return GetParam().file == "registry"; }
    std::string file(const std::string& name) const { return files_.file(name); }

    /// Runs the change in a new directory.
    TracedResult run(const Decision& decide) {
        for (const auto& entry : std::filesystem::directory_iterator(files_.path())) {
            std::filesystem::remove(entry);
        }
        if (GetParam().before != kMissing) {
            writeFile(file(GetParam().file), GetParam().before);
        }
        if (!GetParam().backup.empty()) {
            writeFile(file("registry.old"), GetParam().backup);
        }
        std::vector<std::string> command{LIBRARY_HOST_STATIC};
        for (const std::string& word : GetParam().arguments) {
            command.push_back(word == "FILE" ? file(GetParam().file) : word);
        }
        return runTraced(command, files_.environment(), files_.path(), decide);
    }
    TracedResult runWith(std::size_t place, Fate fate) {
        return run([=](std::size_t n, const SystemCall&) { return n == place ? fate : Fate{}; });
    }

    /// The text that the next reader of the file gets.
    std::string left() const {
        for (const std::string& name : {GetParam().file, GetParam().file + ".old"}) {
            if (access(file(name).c_str(), F_OK) == 0) {
                return readFile(file(name));
            }
        }
        return kMissing;
    }
    /// Expects the complete tree or file before the change or after it, usable at the next start.
    void expectOldOrNew() {
        const std::string found = left();
        EXPECT_TRUE(found == GetParam().before || found == after_) << found.substr(0, 200);
        if (!isRegistry()) {
            return;
        }
        if (access(file("registry.old").c_str(), F_OK) == 0) {
            EXPECT_THAT(readFile(file("registry.old")),
                        AnyOf(GetParam().before, GetParam().backup));
        }
        const ProcessResult next = runProcess({LIBRARY_HOST_STATIC, "load"}, files_.environment());
        EXPECT_EQ(next.status, 0);
        EXPECT_EQ(next.out, "loaded\n");
        EXPECT_THAT(next.err, Not(HasSubstr("CRegistry: ERROR")));
        EXPECT_TRUE(left() == GetParam().before || left() == after_);
    }
    /// True if the program does not report a failure: a start does not report its save, and
    /// deleting from a file that cannot be opened succeeds.
    bool isUnasked(std::size_t place) const {
        const auto firstRead = std::find_if(
            reference_.calls.begin(), reference_.calls.end(),
            [](const SystemCall& call) { return call.name.find("read") != std::string::npos; });
        return GetParam().arguments[0] == "load" ||
               (GetParam().name == std::string("ProfileDeletion") &&
                reference_.calls.begin() + static_cast<std::ptrdiff_t>(place) < firstRead &&
                reference_.calls[place].path == file(GetParam().file));
    }
    std::string described(std::size_t place) const {
        const SystemCall& call = reference_.calls[place];
        return std::to_string(place) + ": " + call.name + " " + call.path + " " + call.other;
    }

    LibraryFiles files_;
    TemporaryDirectory others_;
    TracedResult reference_;
    std::string after_;
};

TEST_P(PowerCut, LeavesTheOldOrTheNewWhereverItComes) {
    std::set<std::string> seen;
    for (std::size_t place = 0; place < reference_.calls.size(); ++place) {
        if (!reference_.calls[place].changes) {
            continue;
        }
        SCOPED_TRACE(described(place));
        EXPECT_EQ(runWith(place, {Fate::Kind::killed, 0, 0}).status, 128 + SIGKILL);
        seen.insert(left());
        expectOldOrNew();
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_EQ(seen.size(), 2U);
}

TEST_P(PowerCut, AFailingCallLeavesTheOldOrTheNewAndNoRest) {
    std::set<std::string> seen;
    // A file is read in many equal pieces.
    for (const std::size_t place : placesOf(reference_.calls, 8)) {
        for (const Fate& fate : fatesOf(reference_.calls[place])) {
            const Fault fault{place, reference_.calls[place], fate};
            if (fault.isHarmless()) {
                continue;
            }
            SCOPED_TRACE(fault.text());
            const TracedResult result = runWith(place, fate);
            EXPECT_LE(result.status, 1) << result.err;
            EXPECT_FALSE(result.hung);
            seen.insert(left());
            // The program that makes the change gets its result.
            EXPECT_NE(result.out, "");
            if (!isUnasked(place)) {
                EXPECT_EQ(left() == after_, result.out == reference_.out) << result.out;
            }
            for (const auto& entry : std::filesystem::directory_iterator(files_.path())) {
                const std::string name = entry.path().filename();
                EXPECT_TRUE(name == "registry" || name == "registry.old" || name == "test.ini")
                    << name;
            }
            expectOldOrNew();
        }
    }
    EXPECT_EQ(seen.size(), 2U);
}

TEST_P(PowerCut, ACallThatTakesAPartOrLongChangesNoResult) {
    std::size_t parts = 0;
    for (const std::size_t place : placesOf(reference_.calls, 3)) {
        for (const Fate& fate : fatesOf(reference_.calls[place])) {
            const Fault fault{place, reference_.calls[place], fate};
            if (!fault.isHarmless()) {
                continue;
            }
            SCOPED_TRACE(fault.text());
            const TracedResult result = runWith(place, fate);
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, reference_.out);
            EXPECT_EQ(left(), after_);
            if (fate.kind == Fate::Kind::cutShort && fault.call.changes) {
                EXPECT_GT(result.calls.size(), reference_.calls.size());
                ++parts;
            }
        }
    }
    EXPECT_GT(parts, 0U);
}

// A kill keeps what the process has written; a power cut keeps only what is synced.
TEST_P(PowerCut, TheDataIsOnTheDiskBeforeTheNameAndTheNameBeforeTheEnd) {
    const Calls& calls = reference_.calls;
    const auto placed = std::find_if(calls.begin(), calls.end(), [&](const SystemCall& call) {
        return call.name.starts_with("rename") && call.other == file(GetParam().file);
    });
    ASSERT_NE(placed, calls.end());
    const auto isData = [&](const SystemCall& call) {
        return call.path == placed->path &&
               (call.name.find("write") != std::string::npos || call.name == "ftruncate" ||
                call.name == "fallocate" || (call.name == "fchmod" && !isRegistry()));
    };
    const auto synced = std::find_if(calls.begin(), placed, [&](const SystemCall& call) {
        return call.path == placed->path && call.name == "fsync";
    });
    ASSERT_NE(synced, placed);
    EXPECT_GT(std::count_if(calls.begin(), synced, isData), 0);
    EXPECT_EQ(std::count_if(synced, calls.end(), isData), 0);
    EXPECT_EQ(std::count_if(placed, calls.end(),
                            [&](const SystemCall& call) {
                                return call.name == "fsync" && call.path == files_.path();
                            }),
              1);
    EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](const SystemCall& call) {
        return call.name != "fsync" || call.result == 0;
    }));
}

/// A file in a directory that does not permit a copy.
class WithoutCopy : public PowerCut {
  protected:
    /// Runs the change without a copy, and with a full disk for one call.
    TracedResult runInPlace(std::size_t full) {
        return run([=, this](std::size_t n, const SystemCall& call) {
            if (call.path.starts_with(file("test.ini."))) {
                return Fate{Fate::Kind::failing, EACCES, 0};
            }
            return n == full ? Fate{Fate::Kind::failing, ENOSPC, 0} : Fate{};
        });
    }
};

TEST_P(WithoutCopy, AFullDiskLeavesTheOld) {
    const Calls calls = runInPlace(~std::size_t{0}).calls;
    EXPECT_EQ(left(), after_);
    const auto takesRoom = [](const std::string& name) {
        return [=](const SystemCall& call) { return call.name == name; };
    };
    // After a successful allocation the disk has room for the writes.
    const bool allocates = std::any_of(calls.begin(), calls.end(), takesRoom("fallocate"));
    const auto needsRoom = takesRoom(allocates ? "fallocate" : "write");
    ASSERT_TRUE(std::any_of(calls.begin(), calls.end(), needsRoom));
    for (std::size_t place = 0; place < calls.size(); ++place) {
        if (!needsRoom(calls[place])) {
            continue;
        }
        SCOPED_TRACE(std::to_string(place) + ": " + calls[place].name);
        EXPECT_EQ(runInPlace(place).out, "0\n");
        EXPECT_EQ(left(), GetParam().before);
    }
}

std::vector<Change> growingChanges() {
    std::vector<Change> growing = changes();
    std::erase_if(growing, [](const Change& change) {
        const std::set<std::string> wanted{"ProfileLongerValue", "ProfileKey", "ProfileSection"};
        return !wanted.contains(change.name);
    });
    return growing;
}

INSTANTIATE_TEST_SUITE_P(Of, WithoutCopy, testing::ValuesIn(growingChanges()),
                         [](const auto& change) { return change.param.name; });

INSTANTIATE_TEST_SUITE_P(Of, PowerCut, testing::ValuesIn(changes()),
                         [](const auto& change) { return change.param.name; });

}  // namespace
}  // namespace varnock::test
