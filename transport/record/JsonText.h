#pragma once

#include <rapidjson/document.h>

#include <string>

#include "transport/JsonHeap.h"

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

/// Replaces the document by the one in `text`, up to its first NUL. Returns false if the text is
/// not one whole document or is nested more deeply than `maxJsonNesting`. Throws std::bad_alloc.
/// The document is unchanged on failure.
[[nodiscard]] bool parseJson(std::string text, JsonDocument& document);

/// The value as compact text: members in order, no white space. Bytes that are not UTF-8 are copied
/// unchanged; a number that JSON cannot represent becomes null.
std::string writeJson(const JsonValue& value);

}  // namespace varnock
