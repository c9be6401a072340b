#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/filter/Expression.h"

namespace varnockctl {

struct Answer;
struct Contract;

/// The options that select rows, as typed.
struct SelectionArguments {
    std::string where = {};
    std::string until = {};
    std::optional<std::string> first = {};
    std::optional<std::string> last = {};
};

/// Which rows of a listing are shown.
class Selection {
  public:
    /// All rows.
    Selection() = default;
    /// Throws Failure (usage).
    Selection(const SelectionArguments& arguments, const Contract& contract);

    bool isWhole() const { return where_ == nullptr && !first_ && !last_; }
    bool hasCondition() const { return where_ != nullptr; }
    /// True if there is a condition on the field.
    bool conditionNames(std::string_view field) const {
        return where_ != nullptr && where_->names(field);
    }
    /// True if the row fulfils the condition, or there is none.
    bool passes(const Json& row) const { return where_ == nullptr || where_->holds(row); }
    /// True if a stream of rows ends with this one.
    bool isLast(const Json& row) const { return until_ != nullptr && until_->holds(row); }

    /// Leaves the items that are selected; `toJson` gives the row of one.
    template <typename Item, typename ToJson>
    void apply(std::vector<Item>& items, ToJson toJson) const {
        if (where_ != nullptr) {
            std::erase_if(items, [&](const Item& item) {
                JsonDocument document;
                return !passes(toJson(item, document.GetAllocator()));
            });
        }
        if (first_ && *first_ < items.size()) {
            items.erase(items.begin() + *first_, items.end());
        }
        if (last_ && *last_ < items.size()) {
            items.erase(items.begin(), items.end() - *last_);
        }
    }

    /// Makes the answer a failure if rows were selected and the selection is empty.
    void judge(Answer& answer, bool isEmpty) const;

  private:
    std::shared_ptr<const Expression> where_;
    std::shared_ptr<const Expression> until_;
    std::optional<unsigned int> first_;
    std::optional<unsigned int> last_;
};

}  // namespace varnockctl
