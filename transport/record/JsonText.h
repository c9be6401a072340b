#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <vector>

#include "transport/JsonHeap.h"
#include "transport/record/TextSink.h"

/// The JSON text of a command document, both ways. Internal.
///
/// Thread-safety: stateless; any thread, on its own documents.
namespace varnock {

/// The command document: UTF-8, its values on the heap.
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonHeap, JsonHeap>;
/// A value in it.
using JsonValue = JsonDocument::ValueType;

/// The capacity of a document's own stack, in bytes.
constexpr std::size_t kJsonStackCapacity = 128;

/// The allocator of all documents. Nothing is prepared in it, so any thread may use it.
inline constinit JsonHeap jsonHeap;

/// The maximum nesting of a text.
constexpr unsigned int kMaxJsonNesting = 256;

/// What the values of a parsed text may take in memory. Reached by no text of a reply, and by that
/// of an event only if it has some hundred thousand values that are no bytes of a block. Without it
/// a text costs the process up to sixteen times its length.
constexpr std::size_t kMaxJsonMemory = std::size_t{24} << 20;

/// Replaces the document by the one in `text`, up to its first NUL, and modifies the text. Returns
/// false if the text is not one whole document, is nested more deeply than `kMaxJsonNesting` or
/// needs more than `kMaxJsonMemory`. Throws std::bad_alloc. The document is unchanged on failure.
[[nodiscard]] bool parseJson(char* text, JsonDocument& document);

/// Writes the value as compact text: members in order, no white space. Bytes that are not UTF-8 are
/// copied unchanged; a number that JSON cannot represent becomes null.
void writeJson(const JsonValue& value, TextSink& sink);
/// Writes a number.
void writeNumber(unsigned int number, TextSink& sink);
/// Writes the elements of a list of numbers.
void writeBytes(const std::vector<unsigned char>& bytes, TextSink& sink);

/// True if a text may contain the character as it is.
inline bool needsNoEscape(char c) {
    return static_cast<unsigned char>(c) >= ' ' && c != '"' && c != '\\';
}

}  // namespace varnock
