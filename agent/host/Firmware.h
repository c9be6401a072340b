#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace varnock::agent {

/// The texts of the firmware's tables that the kernel shows one by one: "sys_vendor",
/// "product_name", "board_serial" … Serial numbers and the UUID are for root alone; a text that is
/// missing, empty or may not be read is not there.
class Firmware {
  public:
    explicit Firmware(std::filesystem::path root) : root_(std::move(root)) {}

    std::optional<std::string> text(const char* name) const;

  private:
    std::filesystem::path root_;
};

}  // namespace varnock::agent
