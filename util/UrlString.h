#pragma once

#include <initializer_list>
#include <string_view>

#include "util/Export.h"

/// A growable text on the heap. Positions and counts are numbers of characters; values outside the
/// text are clamped and are not errors.
///
/// A change that would make the text longer than 2147483647 characters, or for which there is no
/// memory, leaves it unchanged. Arguments may point into the object's own text.
///
/// Thread-safety: an object may be used by one thread at a time. Nothing throws.
class VARNOCK_EXPORT CExtendableString {
  public:
    /// Empty.
    CExtendableString() = default;
    /// A copy of `text`; null gives the empty text.
    explicit CExtendableString(const char* text);
    ~CExtendableString();
    CExtendableString(const CExtendableString&) = delete;
    CExtendableString& operator=(const CExtendableString&) = delete;

    /// The number of characters.
    int GetLength() const { return length_; }
    /// The text, valid until the next change; never null.
    const char* GetText() const { return text_ != nullptr ? text_ : ""; }

    /// A copy of `count` characters from `start` on. A negative start counts as 0, a start beyond
    /// the end as the end; a negative or too large count extends to the end. The caller frees the
    /// result with free(); null without memory.
    char* Extract(int start, int count) const;
    /// Removes these characters, with the same clamping; a start beyond the end removes nothing.
    void Clear(int start, int count);
    /// Replaces everything from position `at` on by `text`; a position below 0 or beyond the end is
    /// the end. A null or empty text truncates there.
    void Append(const char* text, int at);
    /// Replaces the characters that Extract() would return by `text`, which may be null. A count of
    /// 0 inserts.
    void Replace(const char* text, int start, int count);

  protected:
    /// Replaces the characters, which must exist, by the parts. If the result would be too long or
    /// there is no memory, returns false and leaves the text unchanged.
    bool Splice(int start, int count, std::initializer_list<std::string_view> parts);

  private:
    int clampedCount(int start, int count) const;

    int length_ = 0;
    char* text_ = nullptr;  ///< allocated with malloc; null if empty
};

/// A service name followed by named values, "service:?name:value&name:value".
///
/// A value is a sequence of items separated by ','. A number (decimal, 0x hexadecimal or 0 octal)
/// represents the byte of its low 8 bits; a quoted text represents its characters, which cannot
/// include a double quote. '&' outside quotes ends a value.
///
///     CUrlString url;
///     url.Append("?", -1);
///     url.SetService("job");             // job:?
///     url.SetParamVal("a", "0x10");      // job:?a:0x10
///     url.SetParamStringVal("s", "x&y"); // job:?a:0x10&s:"x&y"
///     url.GetParamIntVal("a", 7);        // 16
///
/// Names are matched as prefixes, so the name "a" also finds "abc:1" if nothing before it matches.
/// Users rely on this to find a parameter by the beginning of its name. A null or empty name is
/// never found. SetService() creates the list; parameters set earlier are not found again. Names,
/// services and plain values are not checked for syntax characters.
///
/// Thread-safety: an object may be used by one thread at a time. Nothing throws.
class VARNOCK_EXPORT CUrlString : public CExtendableString {
  public:
    using CExtendableString::CExtendableString;

    /// Replaces the service name by `service`, or removes it if that is null. If the text has no
    /// list, an empty list is inserted before the existing text.
    void SetService(const char* service);

    /// The position of the parameter list; 0 without one.
    int GetParamListOffset() const;
    /// A value as written in the text, up to the next '&' outside quotes, or null. `length`, unless
    /// null, is set to its length, or to 0. The next change of the text invalidates the result.
    char* GetParamValueString(const char* name, int* length);
    /// The position of that value, or 0; `length` as above.
    int GetParamValueOffset(const char* name, int* length) const;

    /// The value as a number (decimal, 0x, 0; the low 32 bits), or the default if it is absent or
    /// not a number.
    int GetParamIntVal(const char* name, int defaultValue) const;
    /// The bytes of the value, NUL-terminated; if it is absent, a copy of the default, which may be
    /// null. The caller frees the result with free(); null without memory.
    char* GetParamStringVal(const char* name, const char* defaultValue) const;
    /// Stores at most `maxBytes` bytes of the value, without the first `skip`, and returns their
    /// number: 0 if the value is absent or has at most `skip` bytes. A value has at most 1024
    /// bytes. Negative numbers count as 0.
    int GetParamByteStream(const char* name, unsigned char* out, int maxBytes, int skip) const;

    /// Sets a value as written in the text (null: an empty one). Replaces the value found by the
    /// name, or appends it. A null name sets nothing.
    void SetParamVal(const char* name, const char* value);
    /// Sets the first 1024 characters of a text, in quotes.
    void SetParamStringVal(const char* name, const char* text);
    /// Sets a list of bytes, in decimal, as many as fit into 1023 characters.
    void SetParamByteStream(const char* name, const unsigned char* bytes, int count);

    /// The bytes that a value represents, NUL-terminated: at most 1024, and at most `*length` if
    /// that is given, which is set to their number. The caller frees the result with free(); null
    /// if `value` is null or there is no memory.
    static char* StringFromString(const char* value, int* length);

  private:
    std::string_view view() const {
        return {GetText(), static_cast<std::string_view::size_type>(GetLength())};
    }
    int serviceLength() const;
    std::string_view findValue(const char* name) const;
    void setValue(const char* name, std::string_view quote, std::string_view value);
};
