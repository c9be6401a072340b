#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>

#include "util/UrlString.h"

namespace varnock::test {

/// A result that the caller must free.
class Owned {
  public:
    explicit Owned(char* text) : text_(text, free) {}
    std::string text() const { return text_ ? text_.get() : "(null)"; }
    bool isNull() const { return text_ == nullptr; }
    const char* get() const { return text_.get(); }

  private:
    std::unique_ptr<char, void (*)(void*)> text_;
};

/// The text; expects its length to match the one reported by the string.
inline std::string textOf(const CExtendableString& string) {
    EXPECT_EQ(string.GetLength(), static_cast<int>(std::string(string.GetText()).size()));
    return string.GetText();
}

}  // namespace varnock::test
