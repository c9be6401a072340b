#include "transport/DataStream.h"

#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>

namespace {

constexpr std::size_t kInitialCapacity = 32;

}  // namespace

CDataStream::CDataStream() {
    ClassInit();
}

CDataStream::CDataStream(const unsigned char* bytes, unsigned long length) : CDataStream() {
    SetDataStream(bytes, length);
}

CDataStream::CDataStream(const CDataStream& other) : CDataStream() {
    data_ = other.data_;
}

// NOLINTNEXTLINE(performance-noexcept-move-constructor) -- the empty stream has reserved memory
CDataStream::CDataStream(CDataStream&& other) : CDataStream() {
    data_.swap(other.data_);
}

CDataStream& CDataStream::operator=(const CDataStream& other) {
    data_ = other.data_;
    return *this;
}

CDataStream& CDataStream::operator=(CDataStream&& other) noexcept {
    data_.swap(other.data_);
    return *this;
}

void CDataStream::ClassInit() {
    if (data_.capacity() == 0) {
        data_.reserve(kInitialCapacity);
    }
}

unsigned long CDataStream::DataSize() const {
    return data_.size();
}

void CDataStream::Clear() {
    data_.clear();
}

void CDataStream::EnsureSize(unsigned long offset, unsigned long count) {
    if (count > std::numeric_limits<unsigned long>::max() - offset) {
        throw std::length_error("CDataStream: offset and count exceed the address range");
    }
    if (data_.size() < offset + count) {
        data_.resize(offset + count);
    }
}

unsigned char& CDataStream::operator[](int index) {
    if (index < 0) {
        throw std::out_of_range("CDataStream: negative index");
    }
    const auto position = static_cast<unsigned long>(index);
    EnsureSize(position, 1);
    return data_[position];
}

/// std::less also orders pointers into different buffers.
bool CDataStream::holds(const unsigned char* address) const {
    const std::less<const unsigned char*> before;
    return !before(address, data_.data()) && before(address, data_.data() + data_.size());
}

CDataStream& CDataStream::SetAt(unsigned long offset, const unsigned char* bytes,
                                unsigned long count) {
    if (bytes == nullptr) {
        return *this;
    }
    std::vector<unsigned char> copy;
    if (holds(bytes)) {  // growing would move the source
        copy.assign(bytes, bytes + count);
        bytes = copy.data();
    }
    EnsureSize(offset, count);
    if (count != 0) {
        std::memcpy(data_.data() + offset, bytes, count);
    }
    return *this;
}

CDataStream& CDataStream::SetDataStream(const unsigned char* bytes, unsigned long length) {
    if (bytes == nullptr) {
        return *this;
    }
    if (holds(bytes)) {  // clearing would lose the source
        const std::vector<unsigned char> copy(bytes, bytes + length);
        data_ = copy;
        return *this;
    }
    Clear();
    return SetAt(0, bytes, length);
}

void CDataStream::AppendDataByte(unsigned char value) {
    data_.push_back(value);
}

const unsigned char* CDataStream::GetDataStream(unsigned long offset) const {
    return offset < data_.size() ? data_.data() + offset : nullptr;
}

unsigned short CDataStream::GetDataWordAt(unsigned long byteOffset) const {
    const unsigned int low = data_.at(byteOffset);
    // The largest offset would wrap around to the first byte, but at() above has refused it.
    const unsigned int high = data_.at(byteOffset + 1);
    return static_cast<unsigned short>(low | high << 8);
}

unsigned short CDataStream::GetDataWord(unsigned long wordIndex) const {
    if (wordIndex > std::numeric_limits<unsigned long>::max() / 2) {
        throw std::out_of_range("CDataStream: word index beyond the address range");
    }
    return GetDataWordAt(wordIndex * 2);
}
