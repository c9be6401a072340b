#pragma once

#include <cstddef>
#include <string_view>

namespace varnockctl {

/// A line of a registry file as the library reads it; docs/registry-file.md describes the format.
/// All texts are views into the text of the file.
struct RegistryLine {
    enum class Kind {
        end,    ///< ends the innermost open key
        key,    ///< begins a key
        value,  ///< sets a value; its data may still be invalid
        other,  ///< is skipped
    };

    std::size_t begin = 0;  ///< offset in the file
    std::size_t next = 0;   ///< offset of the next line
    std::string_view text;  ///< without the newline
    std::string_view read;  ///< the part that is read
    Kind kind = Kind::other;
    std::string_view name;    ///< of the key or value
    std::string_view marker;  ///< of a value, such as "=s="
    std::string_view data;    ///< of a value, behind the marker

    /// False for a value whose data make the reader skip the line.
    bool isRead() const;
};

/// The line that begins at an offset. REQUIRES: offset < file.size().
[[nodiscard]] RegistryLine registryLineAt(std::string_view file, std::size_t offset);

}  // namespace varnockctl
