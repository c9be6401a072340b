#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "agent/model/Node.h"

namespace varnock::agent {

/// A JSON text, read with the places of its values, so that a fault can be shown where it is.
class JsonText {
  public:
    /// The most levels of objects and lists in each other.
    static constexpr unsigned kDepth = 32;

    /// `file` is the name of the text in messages.
    JsonText(std::string text, std::string file) : text_(std::move(text)), file_(std::move(file)) {}

    /// False if the text is no JSON in UTF-8 or nested too deeply; `fault` then says where and why.
    [[nodiscard]] bool read(Document& document, std::string& fault);

    /// "file:line:column: " of a value or of the name of a member of the document that was read.
    std::string placeOf(const Node& value) const;

  private:
    class Handler;

    std::string place(std::size_t offset) const;
    void keepPlaces(const Node& value, std::size_t& next);

    std::string text_;
    std::string file_;
    std::vector<std::size_t> offsets_;  ///< of values and names, in the order of the text
    std::unordered_map<const Node*, std::size_t> places_;
};

/// The value that a text writes: JSON of at most JsonText::kDepth levels, or else the text itself.
[[nodiscard]] Node writtenValue(std::string_view text, JsonHeap& heap);

}  // namespace varnock::agent
