#pragma once

#include <rapidjson/document.h>
#include <stdlib.h>

#include <new>
#include <string>
#include <string_view>

/// The JSON documents of the tools.
namespace varnock {

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

/// True if a text has a zero with an exponent, or with many digits. RapidJSON's exact conversion of
/// these (kParseFullPrecisionFlag) is undefined; without the flag they are 0.
[[nodiscard]] bool hasScaledZero(std::string_view json);

/// Parses a text from outside. False if it is not JSON in UTF-8, or has more than 64 levels: to
/// copy or to write a value takes a call for each level.
[[nodiscard]] bool parse(JsonDocument& document, std::string_view text);

/// The member of an object; null without one, or if the value is not an object.
[[nodiscard]] const Json* findMember(const Json& object, const char* name);
[[nodiscard]] Json* findMember(Json& object, const char* name);

/// Adds a member to an object; the name must outlive the document (a literal).
void add(Json& object, const char* name, Json value, JsonAllocator& allocator);
void add(Json& object, const char* name, std::string_view value, JsonAllocator& allocator);

/// The document on one line, or indented if `pretty`. Contains no control characters but the
/// newlines between indented members.
std::string toString(const Json& value, bool pretty);

/// The value of a JSON text; bytes in it that are not UTF-8 are escaped. Null if the text is not
/// JSON, or has more than 64 levels.
Json fromString(std::string_view json, JsonAllocator& allocator);

}  // namespace varnock
