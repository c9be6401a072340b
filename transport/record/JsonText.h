#pragma once

#include <rapidjson/document.h>

#include <string>

/// The JSON text of a command document, both ways. Internal.
///
/// Stateless: any thread, on documents of its own.
namespace varnock {

/// The command document: UTF-8, its values on the heap.
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator>;
/// A value in it.
using JsonValue = JsonDocument::ValueType;

/// The room of a document's own stack, in bytes.
constexpr std::size_t jsonStackCapacity = 128;

/// The allocator of all documents. It has no state: it is malloc and free.
inline rapidjson::CrtAllocator jsonHeap;

/// Throws std::bad_alloc where no block of this size can be had. RapidJSON does not look whether
/// its allocator gave it any; asking first keeps an exhausted host alive. Small blocks are not
/// asked for: a host that cannot have them is at its end anyway.
void requireMemory(std::size_t size);

/// How deep a text may be nested.
constexpr unsigned int maxJsonNesting = 256;

/// Replaces the document by the one that `text` holds, up to its first NUL. False, and the document
/// as it was, when the text is not one whole document or is nested more deeply than
/// `maxJsonNesting`. Throws std::bad_alloc, with the document as it was.
bool parseJson(std::string text, JsonDocument& document);

/// The value as compact text: members in their order, no white space. Bytes that are no UTF-8 go
/// through as they are; a number that JSON cannot express becomes null.
std::string writeJson(const JsonValue& value);

}  // namespace varnock
