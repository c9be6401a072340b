#pragma once

#include <initializer_list>
#include <string_view>

#include "util/Export.h"

/// A growable text on the heap. Positions and counts are numbers of characters; those that do not
/// fit the text are clamped, none is an error.
///
/// A change that would make the text longer than 2147483647 characters, or for which there is no
/// memory, leaves it as it was. Texts given may lie inside the object's own.
///
/// Thread-safety: an object belongs to one thread at a time. Nothing throws.
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

    /// A copy of `count` characters from `start` on. A negative start counts as 0, one beyond the
    /// end as the end; a count that is negative or too large reaches to the end. The caller frees
    /// the result with free(); null without memory.
    char* Extract(int start, int count) const;
    /// Removes these characters, clamped in the same way; a start beyond the end removes nothing.
    void Clear(int start, int count);
    /// Puts `text` at position `at` in place of everything from there on; a position below 0 or
    /// beyond the end is the end. A null or empty text cuts there.
    void Append(const char* text, int at);
    /// Puts `text`, which may be null, in place of the characters that Extract() would give. A
    /// count of 0 inserts.
    void Replace(const char* text, int start, int count);

  protected:
    /// Puts the parts in place of the characters, which must exist. False, with the text as it was,
    /// when the result would be too long or there is no memory.
    bool Splice(int start, int count, std::initializer_list<std::string_view> parts);

  private:
    int clampedCount(int start, int count) const;

    int length_ = 0;
    char* text_ = nullptr;  // made with malloc; null when empty
};

/// A service name followed by named values, "service:?name:value&name:value".
///
/// A value is a sequence of items separated by ',': a number, decimal, 0x hexadecimal or 0 octal,
/// stands for the byte of its low 8 bits, and a run in double quotes for its characters, of which
/// none can be a double quote. '&' ends a value outside of quotes.
///
///     CUrlString url;
///     url.Append("?", -1);
///     url.SetService("job");             // job:?
///     url.SetParamVal("a", "0x10");      // job:?a:0x10
///     url.SetParamStringVal("s", "x&y"); // job:?a:0x10&s:"x&y"
///     url.GetParamIntVal("a", 7);        // 16
///
/// Names are matched as prefixes, so the name "a" also finds "abc:1" when nothing before that
/// matches. Users rely on it to find a parameter by the beginning of its name. A null or empty name
/// is never found. Parameters set before there is a list, which SetService() makes, are not found
/// again. Neither names, services nor plain values are checked for the characters of the syntax.
///
/// Thread-safety: an object belongs to one thread at a time. Nothing throws.
class VARNOCK_EXPORT CUrlString : public CExtendableString {
  public:
    using CExtendableString::CExtendableString;

    /// Replaces the service name by `service`, or removes it if that is null. A text without a list
    /// gets an empty one, and what was there stays behind it.
    void SetService(const char* service);

    /// Where the parameter list begins; 0 without one.
    int GetParamListOffset() const;
    /// A value as it stands in the text, up to the next '&' outside of quotes, or null. `length`,
    /// unless null, is set to its length, or to 0. The next change of the text invalidates it.
    char* GetParamValueString(const char* name, int* length);
    /// The position of that value, or 0; `length` as above.
    int GetParamValueOffset(const char* name, int* length) const;

    /// The value as a number (decimal, 0x, 0; the low 32 bits), or the default when it is absent or
    /// no number.
    int GetParamIntVal(const char* name, int defaultValue) const;
    /// The bytes of the value, terminated; when it is absent a copy of the default, which may be
    /// null. The caller frees the result with free(); null also without memory.
    char* GetParamStringVal(const char* name, const char* defaultValue) const;
    /// Stores at most `maxBytes` bytes of the value, without the first `skip`, and returns their
    /// number: 0 when the value is absent or has no more than `skip`. A value has at most 1024
    /// bytes. Negative numbers count as 0.
    int GetParamByteStream(const char* name, unsigned char* out, int maxBytes, int skip) const;

    /// Sets a value as it is to stand in the text (null: an empty one), in place of the one that
    /// the name finds, else at the end. A null name sets nothing.
    void SetParamVal(const char* name, const char* value);
    /// Sets the first 1024 characters of a text, in quotes.
    void SetParamStringVal(const char* name, const char* text);
    /// Sets a list of bytes, in decimal, as many as fit into 1023 characters.
    void SetParamByteStream(const char* name, const unsigned char* bytes, int count);

    /// The bytes that a value stands for, terminated: at most 1024, and at most `*length` if that
    /// is given, which is set to their number. The caller frees the result with free(); null when
    /// `value` is null or there is no memory.
    static char* StringFromString(const char* value, int* length);

  private:
    std::string_view view() const {
        return {GetText(), static_cast<std::string_view::size_type>(GetLength())};
    }
    int serviceLength() const;
    std::string_view findValue(const char* name) const;
    void setValue(const char* name, std::string_view quote, std::string_view value);
};
