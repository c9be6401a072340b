#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

/// What the fuzz targets share.
namespace varnock::fuzz {

/// Ends the program with a finding unless the condition holds.
inline void require(bool holds, const char* what) {
    if (holds) {
        return;
    }
    std::fprintf(stderr, "finding: %s\n", what);
    std::abort();
}

/// Reads the fuzzer's bytes in pieces. Past the end everything is 0 or empty.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size)
        : bytes_(reinterpret_cast<const char*>(data), size) {}

    bool isEmpty() const { return bytes_.empty(); }
    std::uint8_t byte() {
        if (bytes_.empty()) {
            return 0;
        }
        const auto value = static_cast<std::uint8_t>(bytes_.front());
        bytes_.remove_prefix(1);
        return value;
    }
    /// Two bytes, the low one first.
    unsigned int word() {
        const unsigned int low = byte();
        return low | static_cast<unsigned int>(byte()) << 8;
    }
    /// A small number of either sign, or one end of the range.
    int number() {
        const std::uint8_t value = byte();
        if (value == 0x80) {
            return INT32_MIN;
        }
        if (value == 0x7F) {
            return INT32_MAX;
        }
        return static_cast<std::int8_t>(value);
    }
    /// The bytes up to the next zero byte, which is consumed.
    std::string text() { return upTo('\0'); }
    /// The bytes up to the next newline, which is consumed.
    std::string line() { return upTo('\n'); }
    /// Up to that many bytes.
    std::string_view bytes(std::size_t count) {
        const std::string_view taken = bytes_.substr(0, count);
        bytes_.remove_prefix(taken.size());
        return taken;
    }
    /// All bytes that are left.
    std::string_view rest() { return bytes(bytes_.size()); }

  private:
    std::string upTo(char end) {
        const std::string_view taken = bytes_.substr(0, bytes_.find(end));
        bytes_.remove_prefix(taken.size() < bytes_.size() ? taken.size() + 1 : taken.size());
        return std::string(taken);
    }

    std::string_view bytes_;
};

}  // namespace varnock::fuzz
