#pragma once

#include <string>

namespace varnock::bench {

/// A process that answers on the agent's request socket and does nothing else: each frame gets a
/// reply that was built before. What a call costs beyond it is the library's.
///
/// The directory of the socket is put into QX_RAGD_SOCKET_DIR. From then on both processes run on
/// one processor. REQUIRES: made before any thread.
class MinimalAgent {
  public:
    MinimalAgent();
    ~MinimalAgent();
    MinimalAgent(const MinimalAgent&) = delete;
    MinimalAgent& operator=(const MinimalAgent&) = delete;

    /// A connection that is not the library's, for the peer.
    static int connectTo(const std::string& path);

  private:
    std::string directory_;
    int process_;
};

/// A frame as it stands on the wire: length word, text, NUL.
std::string frameOf(const std::string& text);

}  // namespace varnock::bench
