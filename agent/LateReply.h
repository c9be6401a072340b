#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace varnock::agent {

/// The text of a reply that may not be known yet. Used only on the thread of the event loop.
class LateReply {
  public:
    LateReply() = default;
    explicit LateReply(std::string text) : text_(std::move(text)) {}

    /// REQUIRES: there is no text yet, and it fits a frame.
    void give(std::string text) {
        text_ = std::move(text);
        if (whenGiven_) {
            std::exchange(whenGiven_, nullptr)();
        }
    }
    const std::optional<std::string>& text() const { return text_; }
    /// Called once when the text comes; replaces the one before.
    void whenGiven(std::function<void()> call) { whenGiven_ = std::move(call); }

  private:
    std::optional<std::string> text_;
    std::function<void()> whenGiven_;
};

}  // namespace varnock::agent
