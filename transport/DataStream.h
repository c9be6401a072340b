#pragma once

#include <vector>

#include "util/Export.h"

/// Growable byte buffer for the block of a request or reply. Writes beyond the end grow the buffer
/// and fill the gap with zeros; words are little-endian. A constructed stream has a capacity of at
/// least 32 bytes.
///
/// Not thread-safe: one thread at a time per object.
/// Errors: sizes beyond what a vector can hold throw `std::length_error`.
class VARNOCK_EXPORT CDataStream {
  public:
    CDataStream();  ///< An empty stream.

    /// A copy of `length` bytes; null gives an empty stream.
    CDataStream(const unsigned char* bytes, unsigned long length);

    CDataStream(const CDataStream& other);  ///< Copies the bytes.
    /// Moves the bytes; the source is then empty. Reserves memory, so it can throw std::bad_alloc.
    CDataStream(CDataStream&& other);  // NOLINT(performance-noexcept-move-constructor) -- see above
    CDataStream& operator=(const CDataStream& other);  ///< Copies the bytes.

    /// Exchanges the bytes.
    CDataStream& operator=(CDataStream&& other) noexcept;
    ~CDataStream() = default;

    /// Allocates the initial 32 bytes unless the buffer is allocated.
    void ClassInit();

    /// The number of bytes.
    unsigned long DataSize() const;

    /// Makes the stream empty and keeps its capacity.
    void Clear();

    /// Makes the stream at least `offset + count` bytes long, new bytes zero. Never shrinks.
    void EnsureSize(unsigned long offset, unsigned long count);

    /// The byte at `index`; an index past the end grows the stream up to it. The reference lasts
    /// until the stream grows. Throws `std::out_of_range` for a negative index.
    unsigned char& operator[](int index);

    /// Copies `count` bytes to `offset`, growing as needed; does nothing if `bytes` is null.
    /// `bytes` may point into this stream.
    CDataStream& SetAt(unsigned long offset, const unsigned char* bytes, unsigned long count);

    /// Replaces the contents; does nothing if `bytes` is null. `bytes` may point into this stream.
    CDataStream& SetDataStream(const unsigned char* bytes, unsigned long length);

    /// Adds one byte at the end.
    void AppendDataByte(unsigned char value);

    /// A pointer to the byte at `offset`, owned by the stream; null at or beyond the end.
    const unsigned char* GetDataStream(unsigned long offset) const;

    /// The word at a byte offset. Throws `std::out_of_range` unless both bytes exist.
    unsigned short GetDataWordAt(unsigned long byteOffset) const;

    /// The word at byte offset `2 * wordIndex`. Throws as `GetDataWordAt`.
    unsigned short GetDataWord(unsigned long wordIndex) const;

    /// The underlying vector, for the stream operations of the command record.
    std::vector<unsigned char>& Data() { return data_; }
    const std::vector<unsigned char>& Data() const { return data_; }  ///< The vector, read only.

  private:
    bool holds(const unsigned char* address) const;

    std::vector<unsigned char> data_;
};
