#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::string> seeds() {
    std::vector<std::string> all;
    for (const auto& file : std::filesystem::directory_iterator(VARNOCK_FUZZ_CORPUS)) {
        std::ifstream stream(file.path(), std::ios::binary);
        all.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    std::sort(all.begin(), all.end());
    return all;
}

/// A seed with some bytes replaced, and the end of another one.
std::string mutated(const std::vector<std::string>& all, std::mt19937& random) {
    std::string input = all[random() % all.size()];
    for (unsigned int changes = random() % 8; changes > 0 && !input.empty(); --changes) {
        input[random() % input.size()] = static_cast<char>(random());
    }
    const std::string& other = all[random() % all.size()];
    return input + other.substr(random() % (other.size() + 1));
}

TEST(Corpus, InputsMadeFromTheSeedsRunToo) {
    const std::vector<std::string> all = seeds();
    std::mt19937 random(1);
    for (int i = 0; i < VARNOCK_FUZZ_RANDOM; ++i) {
        const std::string input = mutated(all, random);
        ASSERT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()),
                                         input.size()),
                  0);
    }
}

// The entry function aborts on a defect, so a test that finishes has passed.
TEST(Corpus, RunsWithoutAFinding) {
    unsigned int inputs = 0;
    for (const auto& file : std::filesystem::directory_iterator(VARNOCK_FUZZ_CORPUS)) {
        SCOPED_TRACE(file.path().filename());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::string input(std::istreambuf_iterator<char>(stream), {});
        EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()),
                                         input.size()),
                  0);
        ++inputs;
    }
    EXPECT_GT(inputs, 0u);
}

}  // namespace
