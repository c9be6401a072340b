#include <string>
#include <vector>

#include "cli/filter/Expression.h"
#include "cli/output/Failure.h"
#include "fuzz/Fuzzing.h"

// Parses any text as a condition. It is refused with a column, or it and its negation differ for
// each row.
//
// Input: the text up to a newline, then the value of the fields "b" and "time".

namespace {

using varnock::fuzz::Input;
using varnock::fuzz::require;
using varnockctl::Expression;

const std::vector<varnockctl::RowField> kFields{{"a"}, {"b"}, {"c.d"}, {"time", true}};

bool holds(const std::string& text, const std::string& value) {
    varnockctl::JsonDocument row;
    row.Parse(R"({"a":7,"b":null,"c":{"d":"text"},"time":null})");
    for (const char* name : {"b", "time"}) {
        row[name] = varnockctl::text(value, row.GetAllocator());
    }
    return Expression(text, "--where", kFields).holds(row);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::string text = input.line();
    // What a regular expression costs is up to its author.
    if (text.find_first_of("{+*") != text.npos && text.find('~') != text.npos) {
        return 0;
    }
    const std::string value(input.rest().substr(0, 64));
    bool result = false;
    try {
        result = holds(text, value);
    } catch (const varnockctl::Failure& failure) {
        require(failure.status() == varnockctl::ExitStatus::usage, "a refusal of another kind");
        require(std::string(failure.what()).find("--where: ") == 0, "a refusal without the option");
        return 0;
    }
    if (text.size() < 4000) {
        require(holds("not (" + text + ")", value) != result, "a negation that holds too");
    }
    return 0;
}
