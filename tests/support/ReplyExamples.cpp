#include "tests/support/ReplyExamples.h"

#include <charconv>
#include <map>

namespace varnock::test {

namespace {

/// Wider than every number that a call reads, with another digit in every byte.
constexpr const char* kWide = "2309737967";  // 0x89ABCDEF

std::optional<ReplyExample> numberExample(const catalogue::Row& row) {
    if (row.returnType.find("boolean") != std::string_view::npos) {
        return {{kWide, "true"}};
    }
    // Signed results are not cut to the width of the reply.
    if (row.returnType.find("sint32") != std::string_view::npos) {
        return {{kWide, "-1985229329"}};
    }
    if (row.reply == "byte") {
        return {{kWide, "239"}};
    }
    if (row.reply == "word") {
        return {{kWide, "52719"}};
    }
    return {{kWide, kWide}};
}

/// "byte at N", "word at N": a stream in which each byte identifies its position.
ReplyExample offsetExample(std::string_view reply) {
    constexpr unsigned int first = 16;
    unsigned int offset = 0;
    const std::string_view number = reply.substr(reply.rfind(' ') + 1);
    std::from_chars(number.data(), number.data() + number.size(), offset);
    std::string bytes;
    for (unsigned int i = 0; i < offset + 4; ++i) {
        bytes += (i == 0 ? "" : ",") + std::to_string(first + i);
    }
    const unsigned int low = first + offset;
    const unsigned int value = reply.starts_with("byte") ? low : low + ((low + 1) << 8);
    return {"{\"RAW\":[" + bytes + "]}", std::to_string(value)};
}

}  // namespace

std::optional<ReplyExample> replyExample(const catalogue::Row& row) {
    static const std::map<std::string_view, ReplyExample> forms{
        {"presence", {"0", "true"}},
        {"address", {R"({"RAW":[192,168,0,255]})", "[192 168 0 255]"}},
        {"MAC", {R"({"RAW":[0,27,2,255,4,5,6]})", "'001B02FF0405'"}},
        {"each byte", {R"({"RAW":[3,200]})", "[3 200]"}},
        {"each word", {R"({"RAW":[1,2,3,4,5]})", "[513 1027]"}},
        {"lines", {R"(["ab","c"])", "'ab\nc'"}},
        {"parent", {R"({"RAW":[1,2,3,4,5,6]})", "(1541 1027 513)"}},
        {"PCI addresses", {R"({"RAW":[9,9,18,0,52,86]})", "[85079126]"}},
    };
    if (const auto form = forms.find(row.reply); form != forms.end()) {
        return form->second;
    }
    if (row.reply == "byte" || row.reply == "word" || row.reply == "dword") {
        return numberExample(row);
    }
    if (row.reply == "string") {
        return row.value == "date" ? ReplyExample{R"("2019-03-04")", "20190304000000.000000+000"}
                                   : ReplyExample{R"("of it")", "'of it'"};
    }
    if (row.reply.starts_with("byte at ") || row.reply.starts_with("word at ")) {
        return offsetExample(row.reply);
    }
    return std::nullopt;
}

}  // namespace varnock::test
