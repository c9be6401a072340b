#pragma once

#include <rapidjson/document.h>
#include <stdlib.h>

#include <new>
#include <string>
#include <string_view>

/// Every result is a JSON document; a table is one way to print it.
namespace varnockctl {

/// malloc() for RapidJSON, which does not check the results of its allocators.
struct CheckedMalloc {
    static const bool kNeedFree = true;  // a name that RapidJSON expects
    static void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
    static void* Realloc(void* memory, std::size_t, std::size_t size) {
        if (size == 0) {
            free(memory);
            return nullptr;
        }
        void* const resized = realloc(memory, size);
        return resized != nullptr ? resized : throw std::bad_alloc();
    }
    static void Free(void* memory) { free(memory); }
};

using JsonAllocator = rapidjson::MemoryPoolAllocator<CheckedMalloc>;
using Json = rapidjson::GenericValue<rapidjson::UTF8<>, JsonAllocator>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonAllocator, CheckedMalloc>;

/// Replaces each byte that is not UTF-8 by the four characters \xNN.
std::string escapeInvalidUtf8(std::string_view text);

/// A string value that owns a valid UTF-8 copy of the text.
Json text(std::string_view value, JsonAllocator& allocator);

/// A copy of an external value in which all strings, including names, are valid UTF-8.
Json copyValid(const Json& value, JsonAllocator& allocator);

/// Adds a member to an object; the name must outlive the document (a literal).
void add(Json& object, const char* name, Json value, JsonAllocator& allocator);
void add(Json& object, const char* name, std::string_view value, JsonAllocator& allocator);

/// The document on one line, or indented if `pretty`. Contains no control characters but the
/// newlines between indented members.
std::string toString(const Json& value, bool pretty);

}  // namespace varnockctl
