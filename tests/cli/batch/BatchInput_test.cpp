#include "cli/batch/BatchInput.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace varnockctl {
namespace {

using testing::ElementsAre;

class Pipe {
  public:
    Pipe() { EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0); }
    ~Pipe() {
        close(ends_[0]);
        end();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int reader() const { return ends_[0]; }
    void put(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = write(ends_[1], text.data(), text.size());
            ASSERT_GT(written, 0);
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    void end() {
        if (ends_[1] >= 0) {
            close(ends_[1]);
        }
        ends_[1] = -1;
    }

  private:
    int ends_[2] = {-1, -1};
};

std::vector<std::string> allLines(BatchInput& input) {
    std::vector<std::string> lines;
    for (std::string line; input.next(line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(BatchInput, HasTheLinesAndARestWithoutANewline) {
    Pipe pipe;
    pipe.put("one\n\ntwo\nrest");
    pipe.end();
    BatchInput input(pipe.reader());
    EXPECT_THAT(allLines(input), ElementsAre("one", "", "two", "rest"));
    EXPECT_EQ(input.error(), 0);
}

TEST(BatchInput, PausesWhenALineIsIncomplete) {
    const Pipe pipe;
    pipe.put("one\ntwo\nthr");
    BatchInput input(pipe.reader());
    std::string line;
    ASSERT_TRUE(input.next(line));
    EXPECT_FALSE(input.isPausing()) << "the next line has been read";
    ASSERT_TRUE(input.next(line));
    EXPECT_TRUE(input.isPausing());
    pipe.put("ee\n");
    EXPECT_FALSE(input.isPausing());
    ASSERT_TRUE(input.next(line));
    EXPECT_EQ(line, "three");
}

TEST(BatchInput, KeepsTheBeginningOfALineThatIsTooLong) {
    Pipe pipe;
    std::thread writer([&] {
        pipe.put(std::string(BatchInput::kLongestLine, 'a') + "\n");
        pipe.put(std::string(3 * BatchInput::kLongestLine, 'b') + "\nend\n");
        pipe.end();
    });
    BatchInput input(pipe.reader());
    std::string line;
    ASSERT_TRUE(input.next(line));
    EXPECT_FALSE(input.isTooLong());
    ASSERT_TRUE(input.next(line));
    EXPECT_TRUE(input.isTooLong());
    EXPECT_EQ(line.size(), BatchInput::kLongestLine);
    ASSERT_TRUE(input.next(line));
    EXPECT_FALSE(input.isTooLong());
    EXPECT_EQ(line, "end");
    EXPECT_FALSE(input.next(line));
    writer.join();
}

TEST(BatchInput, NamesWhatEndedIt) {
    BatchInput input(-1);
    std::string line;
    EXPECT_FALSE(input.next(line));
    EXPECT_EQ(input.error(), EBADF);
}

}  // namespace
}  // namespace varnockctl
