#pragma once

#include <string>

namespace varnock::bench {

/// A process that answers on the agent's request socket with replies built in advance, and sends
/// events on its event socket without a pause. The remaining cost of a call is the library's.
/// A component scan of cabinet n finds n network controllers.
///
/// Sets QX_RAGD_SOCKET_DIR to the directory of the sockets. REQUIRES: constructed before any thread
/// starts.
class MinimalAgent {
  public:
    /// On one processor the wake-ups of the two processes take the least time and vary least.
    enum class Processors { one, all };

    /// What events contain: a block of bytes, or the number of an entry in the system message log.
    /// The numbers count from 1.
    enum class Events { blocks, numbers };

    explicit MinimalAgent(Processors processors = Processors::one, Events events = Events::blocks);
    ~MinimalAgent();
    MinimalAgent(const MinimalAgent&) = delete;
    MinimalAgent& operator=(const MinimalAgent&) = delete;

    /// Opens a connection for the peer, independent of the library.
    static int connectTo(const std::string& path);

  private:
    std::string directory_;
    int process_;
};

/// A frame in wire format: length word, text, NUL.
std::string frameOf(const std::string& text);

}  // namespace varnock::bench
