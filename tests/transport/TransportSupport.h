#pragma once

#include <gtest/gtest.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceCapture.h"
#include "transport/AgentSocket.h"

namespace varnock::test {

/// The number of descriptors that this process has open.
inline auto openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

/// A number that takes a JSON document to store, and so several allocations.
inline std::string numberInDocument(unsigned int value) {
    std::string data =
        bytesData({static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8)});
    data.back() = ',';
    return data + "\"more\":\"a text that needs memory of its own\"}";
}

/// Runs a scenario at every level and expects each text at its own level and above.
inline void expectLevels(TraceCapture& trace, const std::function<void()>& scenario,
                         const std::vector<std::pair<std::string, unsigned int>>& texts) {
    for (unsigned int level = 0; level <= 3; ++level) {
        trace.setLevel(level);
        trace.clear();
        scenario();
        for (const auto& [text, lowest] : texts) {
            EXPECT_EQ(trace.contains(text), level >= lowest) << text << " at level " << level;
        }
    }
}

/// Both ends of a stream: the library's and the peer's.
struct SocketPair {
    SocketPair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0); }
    ~SocketPair() {
        close(ours());
        closePeer();
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    int ours() const { return ends[0]; }
    int peer() const { return ends[1]; }
    void closePeer() {
        if (ends[1] >= 0) {
            close(ends[1]);
        }
        ends[1] = -1;
    }
    void peerSends(const std::string& bytes) const {
        EXPECT_EQ(write(peer(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// The bytes received by the peer so far.
    std::string peerReceived() const { return received(peer()); }
    /// The bytes sent to us but not read yet.
    std::string leftOver() const { return received(ours()); }

    int ends[2] = {-1, -1};

  private:
    static std::string received(int fd) {
        std::string bytes(1 << 20, '\0');
        const ssize_t count = recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }
};

/// The buffer of a request and its reply.
class Frame {
  public:
    explicit Frame(std::string_view text, std::size_t size = 65536) : words_(size / 4) {
        const std::string bytes = frame(text);
        memcpy(words_.data(), bytes.data(), bytes.size());
    }
    explicit Frame(const AgentRecord& record, std::size_t size = 65536)
        : Frame(toJson(record), size) {}

    unsigned int* data() { return words_.data(); }
    unsigned int size() const { return static_cast<unsigned int>(words_.size() * 4); }
    std::string text() const {
        const auto* bytes = reinterpret_cast<const char*>(words_.data()) + 4;
        return {bytes, strnlen(bytes, words_[0])};
    }

  private:
    std::vector<unsigned int> words_;
};

}  // namespace varnock::test
