#pragma once

#include <nettle/hmac.h>
#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace varnock {

/// Bytes that depend on a value and on a secret key, and do not tell what the value was: its HMAC.
class KeyedDigest {
  public:
    /// With a random key. Throws std::system_error if the system has no random numbers.
    KeyedDigest() : key_(SHA256_DIGEST_SIZE, '\0') {
        if (getentropy(key_.data(), key_.size()) != 0) {
            throw std::system_error(errno, std::generic_category(), "random numbers");
        }
    }
    explicit KeyedDigest(std::string key) : key_(std::move(key)) {}

    /// 32 bytes. Other purposes give the same value other bytes, and so do other numbers.
    std::string of(std::string_view purpose, std::string_view value, unsigned number = 0) const {
        const std::string message =
            std::string(purpose) + '\0' + std::to_string(number) + '\0' + std::string(value);
        hmac_sha256_ctx context;
        hmac_sha256_set_key(&context, key_.size(), bytes(key_.data()));
        hmac_sha256_update(&context, message.size(), bytes(message.data()));
        std::string result(SHA256_DIGEST_SIZE, '\0');
        hmac_sha256_digest(&context, result.size(), reinterpret_cast<std::uint8_t*>(result.data()));
        return result;
    }

  private:
    static const std::uint8_t* bytes(const char* text) {
        return reinterpret_cast<const std::uint8_t*>(text);
    }

    std::string key_;
};

}  // namespace varnock
