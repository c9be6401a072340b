#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {

/// The kernel's files of energy counters in a directory of its own.
class EnergyFiles {
  public:
    std::filesystem::path root() const { return root_.path(); }

    void write(const std::string& path, const std::string& content) const {
        const auto file = root() / "sys/class/powercap" / path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << content << "\n";
    }

    void zone(const std::string& directory, const std::string& name,
              unsigned long long microjoules) const {
        write(directory + "/name", name);
        write(directory + "/energy_uj", std::to_string(microjoules));
    }

  private:
    varnock::test::TemporaryDirectory root_;
};

}  // namespace varnock::agent
