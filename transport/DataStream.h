#pragma once

#include <vector>

#include "util/Export.h"

/// Growable byte buffer of command data; words are little-endian.
class VARNOCK_EXPORT CDataStream {
  public:
    CDataStream();
    CDataStream(const unsigned char* bytes, unsigned long length);

    void ClassInit();
    unsigned long DataSize() const;
    void Clear();
    void EnsureSize(unsigned long offset, unsigned long count);
    unsigned char& operator[](int index);
    CDataStream& SetAt(unsigned long offset, const unsigned char* bytes, unsigned long count);
    CDataStream& SetDataStream(const unsigned char* bytes, unsigned long length);
    void AppendDataByte(unsigned char value);
    const unsigned char* GetDataStream(unsigned long offset) const;
    unsigned short GetDataWordAt(unsigned long byteOffset);
    unsigned short GetDataWord(unsigned long wordIndex);

    std::vector<unsigned char>& Data();
    const std::vector<unsigned char>& Data() const;

  private:
    std::vector<unsigned char> data_;
};
