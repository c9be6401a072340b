#include "cli/trace/TraceBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace varnockctl {
namespace {

/// Bytes that are read through a window.
TraceBytes windowOf(const std::string& all, std::size_t& bytesRead) {
    const auto read = [&](std::int64_t offset, char* to, std::size_t length) {
        // As a system call that is interrupted.
        const std::size_t some = std::min<std::size_t>(length, 300'000);
        bytesRead += some;
        return all.substr(static_cast<std::size_t>(offset), some).copy(to, some);
    };
    return {read, static_cast<std::int64_t>(all.size())};
}

TEST(TraceBytes, AreTheSameThroughAWindow) {
    std::string all(5'000'000, 'x');
    std::mt19937 random(5);
    for (char& c : all) {
        c = random() % 5000 == 0 ? '\n' : 'x';
    }
    std::size_t bytesRead = 0;
    TraceBytes window = windowOf(all, bytesRead);
    TraceBytes copy(all);
    for (int i = 0; i < 300; ++i) {
        const auto offset = static_cast<std::int64_t>(random() % (all.size() + 1));
        const std::size_t length = random() % TraceBytes::kLongestView;
        ASSERT_EQ(window.view(offset, length), copy.view(offset, length));
        ASSERT_EQ(window.findNewline(offset, window.size()), copy.findNewline(offset, copy.size()));
    }
}

TEST(TraceBytes, AreReadOnceInEitherDirection) {
    const std::string all(20'000'000, 'x');
    std::size_t bytesRead = 0;
    TraceBytes window = windowOf(all, bytesRead);
    EXPECT_EQ(window.findNewline(0, window.size()), window.size());
    EXPECT_LT(bytesRead, 22'000'000U);
    bytesRead = 0;
    for (std::int64_t end = window.size(); end > 4096; end -= 4096) {
        window.view(end - 4096, 4096);
    }
    EXPECT_LT(bytesRead, 30'000'000U);
}

TEST(TraceBytes, ThatAreMissingAreNul) {
    TraceBytes gone([](std::int64_t, char*, std::size_t) { return std::size_t{0}; }, 100);
    EXPECT_EQ(gone.view(10, 3), std::string_view("\0\0\0", 3));
}

}  // namespace
}  // namespace varnockctl
