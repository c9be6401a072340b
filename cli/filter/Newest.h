#pragma once

#include <optional>

namespace varnockctl {

/// The newest result of a function, by its arguments: many entries have the same second, and the C
/// library takes longer for a time than all else for an entry.
template <typename Key, typename Result>
class Newest {
  public:
    template <typename Make>
    const Result& get(const Key& arguments, const Make& make) {
        if (!result_ || key_ != arguments) {
            result_ = make();
            key_ = arguments;
        }
        return *result_;
    }

  private:
    Key key_{};
    std::optional<Result> result_;
};

}  // namespace varnockctl
