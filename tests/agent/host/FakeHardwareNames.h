#pragma once

#include <map>
#include <string>
#include <utility>

namespace varnock::agent {

/// Properties for the functions of the hardware database, which in this program see them instead of
/// the host's. With no such object there is no database. One object at a time.
class FakeHardwareNames {
  public:
    FakeHardwareNames();
    ~FakeHardwareNames();
    FakeHardwareNames(const FakeHardwareNames&) = delete;
    FakeHardwareNames& operator=(const FakeHardwareNames&) = delete;

    static FakeHardwareNames* current();

    /// By the name of the device and of the property.
    std::map<std::pair<std::string, std::string>, std::string> properties;
    int opened = 0;
    int closed = 0;
};

}  // namespace varnock::agent
