#include "tests/support/TemporaryDirectory.h"

#include <stdlib.h>

#include <system_error>

namespace varnock::test {

TemporaryDirectory::TemporaryDirectory() {
    // Socket addresses hold 107 characters, so the name stays short.
    std::string name = (std::filesystem::temp_directory_path() / "vt-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace varnock::test
