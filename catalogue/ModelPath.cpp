#include "catalogue/ModelPath.h"

#include <charconv>
#include <utility>

#include "catalogue/Text.h"

namespace varnock::catalogue {
namespace {

constexpr std::string_view kCount = ".count";

void select(Step& step, std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals != std::string_view::npos) {
        step.key = text.substr(0, equals);
        text.remove_prefix(equals + 1);
    }
    constexpr std::pair<std::string_view, Selector> words[] = {
        {"cabinet", Selector::cabinet},    {"object", Selector::object}, {"ext", Selector::ext},
        {"class", Selector::elementClass}, {"name", Selector::name},
    };
    for (const auto& [word, selector] : words) {
        if (text == word) {
            step.selector = selector;
            return;
        }
    }
    step.selector = text.ends_with("..") ? Selector::from : Selector::literal;
    text.remove_suffix(step.selector == Selector::from ? 2 : 0);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), step.literal);
    if (error != std::errc() || end != text.data() + text.size()) {
        step.selector = Selector::text;
        step.text = text;
    }
}

/// Removes the next step from the front of the text. A selector may contain dots.
Step takeStep(std::string_view& text) {
    const std::size_t end = std::min(text.find_first_of(".["), text.size());
    Step step{.member = text.substr(0, end)};
    text.remove_prefix(end);
    if (text.starts_with('[')) {
        text.remove_prefix(1);
        select(step, take(text, ']'));
    }
    text.remove_prefix(text.starts_with('.') ? 1 : 0);
    return step;
}

}  // namespace

ModelPath modelPath(std::string_view text) {
    ModelPath path;
    path.counts = text.ends_with(kCount);
    text.remove_suffix(path.counts ? kCount.size() : 0);
    while (!text.empty()) {
        path.steps.push_back(takeStep(text));
    }
    return path;
}

std::vector<std::string_view> partsOf(std::string_view cell) {
    constexpr std::string_view separator = " / ";
    std::vector<std::string_view> parts;
    for (std::size_t end = cell.find(separator); end != std::string_view::npos;
         end = cell.find(separator)) {
        parts.push_back(cell.substr(0, end));
        cell.remove_prefix(end + separator.size());
    }
    parts.push_back(cell);
    return parts;
}

}  // namespace varnock::catalogue
