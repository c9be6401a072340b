#include "cli/filter/Expression.h"

#include <fnmatch.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "cli/filter/Moment.h"
#include "cli/output/Failure.h"
#include "tools/NearestName.h"
#include "tools/Number.h"

namespace varnockctl {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
/// The longest text; bounds what globs and regular expressions can cost.
constexpr std::size_t kLongest = 4096;

std::optional<double> numberIn(const std::string& text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    if (!text.empty() && parsed.ec == std::errc{} && parsed.ptr == end && number - number == 0) {
        return number;
    }
    const auto other = varnock::parseNumber(text);
    return other ? std::optional<double>(*other) : std::nullopt;
}

std::optional<double> secondsIn(const std::string& text) {
    const auto moment = momentIn(text, time(nullptr));
    return moment ? std::optional(static_cast<double>(*moment)) : std::nullopt;
}

/// The value at a path; null if it is missing.
const Json* valueAt(const Json& row, const std::vector<std::string>& path) {
    const Json* value = &row;
    for (const std::string& name : path) {
        if (!value->IsObject() || !value->HasMember(name.c_str())) {
            return nullptr;
        }
        value = &(*value)[name.c_str()];
    }
    return value->IsNull() ? nullptr : value;
}

std::string textOf(const Json& value) {
    return value.IsString() ? std::string(value.GetString(), value.GetStringLength())
                            : toString(value, false);
}

std::vector<std::string> pathOf(const std::string& field) {
    std::vector<std::string> path;
    for (std::size_t begin = 0; begin <= field.size();) {
        const std::size_t end = std::min(field.find('.', begin), field.size());
        path.push_back(field.substr(begin, end - begin));
        begin = end + 1;
    }
    return path;
}

}  // namespace

/// Turns the text into steps, with a stack of pending operators.
class ExpressionParser {
  public:
    ExpressionParser(std::string_view text, const char* option, const std::vector<RowField>& fields,
                     Expression& out)
        : text_(text), option_(option), fields_(fields), out_(out) {}

    void parse() {
        if (text_.size() > kLongest) {
            throw Failure(ExitStatus::usage, std::string(option_) + ": longer than " +
                                                 std::to_string(kLongest) + " characters");
        }
        for (bool isComplete = false; !(isComplete && isAtEnd());) {
            isComplete = isComplete ? parseJoint() : parseOperand();
        }
        while (!pending_.empty()) {
            if (pending_.back().isParenthesis) {
                fail("\")\"");
            }
            take();
        }
    }

  private:
    using Kind = Expression::Step::Kind;
    using Operator = Expression::Operator;

    struct Pending {
        bool isParenthesis;
        Kind kind;
    };

    [[noreturn]] void fail(const std::string& expected) const {
        const std::string found = at_ < text_.size()
                                      ? "\"" + std::string(text_.substr(at_, 20)) + "\""
                                      : std::string("the end");
        throw Failure(ExitStatus::usage, std::string(option_) + ": column " +
                                             std::to_string(at_ + 1) + ": expected " + expected +
                                             ", not " + found);
    }

    bool isAtEnd() {
        at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size());
        return at_ == text_.size();
    }
    std::string word() {
        const std::size_t end =
            std::min(text_.find_first_of(" \t\r\n()=!<>~\"'", at_), text_.size());
        return std::string(text_.substr(at_, end - at_));
    }
    bool takeIf(std::string_view wanted) {
        if (!text_.substr(at_).starts_with(wanted)) {
            return false;
        }
        at_ += wanted.size();
        return true;
    }

    /// A comparison, or what stands before one. True after a whole comparison.
    bool parseOperand() {
        if (isAtEnd()) {
            fail("a field, \"not\" or \"(\"");
        }
        if (takeIf("(")) {
            pending_.push_back({true, Kind::both});
            return false;
        }
        const std::string name = word();
        if (name == "not") {
            at_ += name.size();
            pending_.push_back({false, Kind::negate});
            return false;
        }
        parseComparison(name);
        return true;
    }

    /// What stands after a comparison. False if another one must follow.
    bool parseJoint() {
        const std::size_t place = at_;
        if (takeIf(")")) {
            while (!pending_.empty() && !pending_.back().isParenthesis) {
                take();
            }
            if (pending_.empty()) {
                at_ = place;
                fail("\"and\", \"or\" or the end");
            }
            pending_.pop_back();
            return true;
        }
        const std::string name = word();
        if (name != "and" && name != "or") {
            fail("\"and\", \"or\", \")\" or the end");
        }
        at_ += name.size();
        const Kind kind = name == "and" ? Kind::both : Kind::either;
        // The kinds are in the order of their strength.
        while (!pending_.empty() && !pending_.back().isParenthesis &&
               pending_.back().kind <= kind) {
            take();
        }
        pending_.push_back({false, kind});
        return false;
    }

    void take() {
        out_.steps_.push_back({pending_.back().kind});
        pending_.pop_back();
    }

    void parseComparison(const std::string& name) {
        if (name.empty()) {
            fail("a field, \"not\" or \"(\"");
        }
        const auto field = std::find_if(fields_.begin(), fields_.end(),
                                        [&](const RowField& each) { return each.path == name; });
        if (field == fields_.end()) {
            std::vector<std::string> names;
            std::transform(fields_.begin(), fields_.end(), std::back_inserter(names),
                           [](const RowField& each) { return each.path; });
            throw Failure(ExitStatus::usage,
                          std::string(option_) + ": column " + std::to_string(at_ + 1) +
                              ": there is no field \"" + name + "\"; the nearest are " +
                              varnock::alternatives(varnock::nearestNames(name, names, 3)));
        }
        at_ += name.size();
        Expression::Comparison comparison;
        comparison.path = pathOf(name);
        const bool isNegated = parseOperator(comparison);
        comparison.isTime = field->isTime && isOrder(comparison.op);
        parseValue(comparison);
        out_.steps_.push_back({Kind::compare, out_.comparisons_.size()});
        out_.comparisons_.push_back(std::move(comparison));
        if (isNegated) {
            out_.steps_.push_back({Kind::negate});
        }
    }

    /// True if the comparison is to be negated.
    bool parseOperator(Expression::Comparison& comparison) {
        struct Known {
            std::string_view text;
            Operator op;
            bool isNegated;
        };
        static constexpr Known kOperators[] = {
            {"!=", Operator::equal, true},   {"!~", Operator::matches, true},
            {"<=", Operator::atMost, false}, {">=", Operator::atLeast, false},
            {"=", Operator::equal, false},   {"~", Operator::matches, false},
            {"<", Operator::below, false},   {">", Operator::above, false}};
        static_cast<void>(isAtEnd());
        for (const Known& known : kOperators) {
            if (takeIf(known.text)) {
                comparison.op = known.op;
                return known.isNegated;
            }
        }
        fail("=, !=, ~, !~, <, <=, > or >=");
    }

    void parseValue(Expression::Comparison& comparison) {
        if (isAtEnd()) {
            fail("a value");
        }
        const std::size_t place = at_;
        const char quote = text_[at_];
        comparison.isQuoted = quote == '"' || quote == '\'';
        comparison.text = comparison.isQuoted ? quoted(quote) : bare();
        comparison.number =
            comparison.isTime ? secondsIn(comparison.text) : numberIn(comparison.text);
        if (isOrder(comparison.op) && !comparison.number) {
            at_ = place;
            fail(comparison.isTime ? kMomentExamples : "a number");
        }
        if (comparison.op == Operator::matches) {
            comparison.pattern = out_.patterns_.size();
            out_.patterns_.emplace_back(comparison.text, option_);
        }
    }
    static bool isOrder(Operator op) { return op != Operator::equal && op != Operator::matches; }
    std::string bare() {
        const std::size_t end = std::min(text_.find_first_of(" \t\r\n()", at_), text_.size());
        if (end == at_) {
            fail("a value");
        }
        std::string value(text_.substr(at_, end - at_));
        at_ = end;
        return value;
    }
    std::string quoted(char quote) {
        const std::size_t end = text_.find(quote, at_ + 1);
        if (end == text_.npos) {
            fail(std::string("a closing ") + quote);
        }
        std::string value(text_.substr(at_ + 1, end - at_ - 1));
        at_ = end + 1;
        return value;
    }

    const std::string_view text_;
    const char* const option_;
    const std::vector<RowField>& fields_;
    Expression& out_;
    std::size_t at_ = 0;
    std::vector<Pending> pending_;
};

Expression::Expression(std::string_view text, const char* option,
                       const std::vector<RowField>& fields) {
    ExpressionParser(text, option, fields, *this).parse();
}

bool Expression::holds(const Comparison& comparison, const Json& row) const {
    const Json* const value = valueAt(row, comparison.path);
    if (value == nullptr || value->IsObject() || value->IsArray()) {
        return value == nullptr && comparison.op == Operator::equal && !comparison.isQuoted &&
               comparison.text == "null";
    }
    const std::string text = textOf(*value);
    if (comparison.op == Operator::matches) {
        return patterns_[comparison.pattern].matches(text);
    }
    const auto number = comparison.isTime ? isoSeconds(text) : numberIn(text);
    const bool areNumbers = number && comparison.number;
    switch (comparison.op) {
        case Operator::below:
            return areNumbers && *number < *comparison.number;
        case Operator::atMost:
            return areNumbers && *number <= *comparison.number;
        case Operator::atLeast:
            return areNumbers && *number >= *comparison.number;
        case Operator::above:
            return areNumbers && *number > *comparison.number;
        default:
            return (areNumbers && *number == *comparison.number) ||
                   fnmatch(comparison.text.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
    }
}

bool Expression::names(std::string_view field) const {
    return std::any_of(comparisons_.begin(), comparisons_.end(), [&](const Comparison& each) {
        return each.path.size() == 1 && each.path.front() == field;
    });
}

bool Expression::holds(const Json& row) const {
    std::vector<bool> results;
    for (const Step& step : steps_) {
        if (step.kind == Step::Kind::compare) {
            results.push_back(holds(comparisons_[step.comparison], row));
            continue;
        }
        const bool last = results.back();
        if (step.kind == Step::Kind::negate) {
            results.back() = !last;
            continue;
        }
        results.pop_back();
        results.back() =
            step.kind == Step::Kind::both ? results.back() && last : results.back() || last;
    }
    return results.back();
}

}  // namespace varnockctl
