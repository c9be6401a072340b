#pragma once

#include <systemd/sd-bus.h>

namespace varnock::bench {

/// A process that answers a method call over a direct connection of sd-bus, and this process's end
/// of the connection. The method takes the four numbers of a command; the reply has them too, and
/// the status and a value.
///
/// REQUIRES: constructed before any thread starts.
class SdBusPeer {
  public:
    SdBusPeer();
    ~SdBusPeer();
    SdBusPeer(const SdBusPeer&) = delete;
    SdBusPeer& operator=(const SdBusPeer&) = delete;

    /// Calls the method. Returns the value, or -1.
    int call() const;

    /// The only one.
    static const SdBusPeer& instance();

  private:
    sd_bus* bus_ = nullptr;
    int process_;
};

}  // namespace varnock::bench
