#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

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
