#pragma once

#include <rapidjson/document.h>

#include <string>

/// The JSON text of a command document, both ways. Internal.
///
/// Thread-safety: stateless; any thread, on its own documents.
namespace varnock {

/// The command document: UTF-8, its values on the heap.
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator>;
/// A value in it.
using JsonValue = JsonDocument::ValueType;

/// The capacity of a document's own stack, in bytes.
constexpr std::size_t kJsonStackCapacity = 128;

/// The stateless allocator of all documents: malloc and free.
inline rapidjson::CrtAllocator jsonHeap;

/// Throws std::bad_alloc if a block of this size cannot be allocated. RapidJSON does not check its
/// allocations; testing first keeps an exhausted host alive. Small blocks are not tested: a host
/// without them cannot continue anyway.
void requireMemory(std::size_t size);

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
