#pragma once

#include <filesystem>
#include <string>

namespace varnock::test {

/// A private directory for one test, removed with its contents at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace varnock::test
