#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/filter/Pattern.h"
#include "cli/filter/RowField.h"
#include "cli/output/Json.h"

namespace varnockctl {

/// A condition on the fields of a row, such as "type=fan and not state=ok".
///
/// Comparisons are FIELD = VALUE and FIELD != VALUE, where a text may be a glob and letters of
/// either case are equal, FIELD ~ REGEX and FIELD !~ REGEX, and with numbers <, <=, > and >=. They
/// are joined by "not", "and", "or" (in the order of their strength) and parentheses. A value with
/// blanks or parentheses stands in quotes. A missing value equals "null" and nothing else. The
/// latter four compare a time with one that momentIn() knows.
class Expression {
  public:
    /// Throws Failure (usage), which names the option, the column and what was expected there.
    Expression(std::string_view text, const char* option, const std::vector<RowField>& fields);

    bool holds(const Json& row) const;
    /// True if the condition compares this field, given by its own name: "process", not
    /// "gap.bytes".
    bool names(std::string_view field) const;

  private:
    friend class ExpressionParser;

    enum class Operator { equal, matches, below, atMost, atLeast, above };
    struct Comparison {
        std::vector<std::string> path;
        Operator op = Operator::equal;
        std::string text;
        bool isQuoted = false;
        bool isTime = false;  ///< the numbers are seconds since the epoch
        std::optional<double> number = {};
        std::size_t pattern = 0;  ///< of `matches`
    };
    /// In the order of evaluation, so neither parsing nor evaluation recurses.
    struct Step {
        enum class Kind { compare, negate, both, either } kind;
        std::size_t comparison = 0;
    };

    bool holds(const Comparison& comparison, const Json& row) const;

    std::vector<Comparison> comparisons_;
    std::deque<Pattern> patterns_;
    std::vector<Step> steps_;
};

}  // namespace varnockctl
