#pragma once

#include <rapidjson/document.h>

#include <string>
#include <string_view>

/// Every result is a JSON document; a table is one way to print it.
namespace varnockctl {

using Json = rapidjson::Value;
using JsonDocument = rapidjson::Document;
using JsonAllocator = rapidjson::Document::AllocatorType;

/// Replaces each byte that is not UTF-8 by the four characters \xNN.
std::string escapeInvalidUtf8(std::string_view text);

/// A string value that owns a valid UTF-8 copy of the text.
Json text(std::string_view value, JsonAllocator& allocator);

/// A copy of an external value in which all strings, including names, are valid UTF-8.
Json copyValid(const Json& value, JsonAllocator& allocator);

/// Adds a member to an object; the name must outlive the document (a literal).
void add(Json& object, const char* name, Json value, JsonAllocator& allocator);
void add(Json& object, const char* name, std::string_view value, JsonAllocator& allocator);

/// The document on one line; `pretty` indents it.
std::string toString(const Json& value, bool pretty);

}  // namespace varnockctl
