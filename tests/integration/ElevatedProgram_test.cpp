// A set-user-ID program ignores its environment. The program belongs to an unprivileged user, and
// root starts it, so nothing of the machine can be changed.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"
#include "tests/support/Sanitizers.h"

namespace varnock::test {
namespace {

namespace fs = std::filesystem;

class ElevatedProgram : public testing::Test {
  protected:
    void SetUp() override {
        struct statvfs place {};
        if (geteuid() != 0 || statvfs(files_.path().c_str(), &place) != 0 ||
            (place.f_flag & ST_NOSUID) != 0) {
            GTEST_SKIP() << "only root can make such a program, where the file system permits it";
        }
        letOthersReach(files_.path());
        fs::copy_file(LIBRARY_HOST_STATIC, program_);
        ASSERT_EQ(chown(program_.c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(chown(files_.path().c_str(), kNobody, kNobody), 0);
        ASSERT_EQ(chown(files_.file("registry").c_str(), kNobody, kNobody), 0);
    }
    /// The directory lies in private ones of this test.
    static void letOthersReach(const fs::path& directory) {
        for (fs::path up = directory; up != "/tmp" && up.has_relative_path();
             up = up.parent_path()) {
            fs::permissions(up, fs::perms::others_exec | fs::perms::others_read,
                            fs::perm_options::add);
        }
    }
    ProcessResult load(const std::vector<std::string>& command) const {
        return runProcess(command, files_.environment());
    }

    LibraryFiles files_;
    const std::string program_ = files_.file("program");
};

TEST_F(ElevatedProgram, IgnoresItsEnvironment) {
    SKIP_IF_LEAKS_CANNOT_BE_SOUGHT();
    constexpr auto kPlain = fs::perms::owner_all | fs::perms::group_exec | fs::perms::others_exec |
                            fs::perms::group_read | fs::perms::others_read;
    fs::permissions(program_, kPlain | fs::perms::set_uid);
    EXPECT_EQ(load({program_, "load"}).out, "loaded\n");
    EXPECT_FALSE(fs::exists(files_.traceFile()));
    EXPECT_EQ(readFile(files_.file("registry")), kSmallRegistry);
    // The same user without elevated privileges uses it.
    fs::permissions(program_, kPlain);
    EXPECT_EQ(load(asNobody({program_, "load"})).out, "loaded\n");
    EXPECT_TRUE(fs::exists(files_.traceFile()));
    EXPECT_NE(readFile(files_.file("registry")), kSmallRegistry);
}

}  // namespace
}  // namespace varnock::test
