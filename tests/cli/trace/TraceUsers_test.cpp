#include "cli/trace/TraceUsers.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using varnock::test::writeFile;

constexpr auto kNever = std::chrono::steady_clock::time_point::max();
constexpr auto kPast = std::chrono::steady_clock::time_point::min();

class MappedTraceFile : public testing::Test {
  protected:
    MappedTraceFile() {
        std::filesystem::create_directory(processes_);
        writeFile(path_, "trace");
    }

    void putProcess(const std::string& number, const std::string& maps,
                    const std::string& name = "host") {
        std::filesystem::create_directory(processes_ + "/" + number);
        writeFile(processes_ + "/" + number + "/maps", maps);
        writeFile(processes_ + "/" + number + "/comm", name + "\n");
    }
    static std::string mapping(const std::string& rights, const std::string& device,
                               unsigned long inode, const std::string& path) {
        return "7f0000000000-7f0000100000 " + rights + " 00000000 " + device + " " +
               std::to_string(inode) + "                    " + path + "\n";
    }
    std::vector<std::string> users() const {
        std::vector<std::string> found;
        const TraceUsers all = usersOfTraceFiles({path_}, kNever, processes_);
        EXPECT_TRUE(all.isComplete);
        for (const TraceUser& user : all.ofFiles.at(0)) {
            found.push_back(std::to_string(user.process) + " " + user.name);
        }
        return found;
    }

    varnock::test::TemporaryDirectory directory_;
    std::string processes_ = directory_.file("proc");
    std::string path_ = std::filesystem::canonical(directory_.path()) / "log a";
};

TEST_F(MappedTraceFile, HaveTheFileMappedForWriting) {
    putProcess("20", mapping("r-xp", "08:01", 7, "/lib/x") + mapping("rw-s", "0:1", 9, path_));
    putProcess("3", mapping("rw-s", "0:1", 9, path_), "a name (of its own)");
    putProcess("4", mapping("r--s", "0:1", 9, path_));
    putProcess("5", mapping("rw-p", "0:1", 9, path_));
    putProcess("6", mapping("rw-s", "0:1", 9, path_ + " (deleted)"));
    putProcess("7", "not\na\nlist rw-s\n" + mapping("rw-s", "0:1", 9, ""));
    putProcess("8x", mapping("rw-s", "0:1", 9, path_));
    std::filesystem::create_directory(processes_ + "/9");
    EXPECT_THAT(users(), ElementsAre("3 a name (of its own)", "20 host"));
}

TEST_F(MappedTraceFile, AreKnownByTheNumberOfTheFileToo) {
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    char device[32];
    snprintf(device, sizeof device, "%02x:%02x", major(status.st_dev), minor(status.st_dev));
    putProcess("1", mapping("rw-s", device, status.st_ino, "/elsewhere/log a"));
    putProcess("2", mapping("rw-s", device, status.st_ino + 1, "/elsewhere/log b"));
    EXPECT_THAT(users(), ElementsAre("1 host"));
}

TEST_F(MappedTraceFile, AMissingFileHasNoUsers) {
    putProcess("1", mapping("rw-s", "0:1", 0, ""));
    std::filesystem::remove(path_);
    EXPECT_THAT(users(), IsEmpty());
    EXPECT_THAT(usersOfTraceFiles({path_}, kNever, "/nowhere").ofFiles.at(0), IsEmpty());
    EXPECT_TRUE(usersOfTraceFiles({path_}, kPast, processes_).isComplete) << "needs no search";
}

TEST_F(MappedTraceFile, AreFoundAmongThoseOfThisMachine) {
    const int file = open(path_.c_str(), O_RDWR);
    void* const mapped = mmap(nullptr, 5, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    ASSERT_NE(mapped, MAP_FAILED);
    const auto found = usersOfTraceFiles({directory_.file("other"), path_}, kNever).ofFiles;
    munmap(mapped, 5);
    EXPECT_THAT(found.at(0), IsEmpty());
    ASSERT_EQ(found.at(1).size(), 1U);
    EXPECT_EQ(found.at(1)[0].process, getpid());
    char name[16] = "";
    prctl(PR_GET_NAME, name);
    EXPECT_EQ(found.at(1)[0].name, name);
    EXPECT_THAT(usersOfTraceFiles({path_}, kNever).ofFiles.at(0), IsEmpty());
}

TEST_F(MappedTraceFile, AreNotSearchedForWithoutTime) {
    putProcess("1", mapping("rw-s", "0:1", 9, path_));
    const TraceUsers found = usersOfTraceFiles({path_}, kPast, processes_);
    EXPECT_FALSE(found.isComplete);
    EXPECT_THAT(found.ofFiles, ElementsAre(IsEmpty()));
}

}  // namespace
}  // namespace varnockctl
