#include "agent/Health.h"

#include <algorithm>

#include "catalogue/Units.h"

namespace varnock::agent {
namespace {

const catalogue::Vocabulary& healths() {
    static const catalogue::Vocabulary& known = *catalogue::findVocabulary("health");
    return known;
}

const catalogue::Vocabulary& severities() {
    static const catalogue::Vocabulary& known = *catalogue::findVocabulary("severity");
    return known;
}

template <typename Code>
std::optional<Code> codeNamed(const catalogue::Vocabulary& vocabulary, std::string_view name) {
    const auto number = catalogue::numberOf(vocabulary, name);
    return number ? std::optional(static_cast<Code>(*number)) : std::nullopt;
}

}  // namespace

std::string_view nameOf(Health health) {
    return catalogue::nameOf(healths(), static_cast<unsigned>(health));
}

std::string_view nameOf(Severity severity) {
    return catalogue::nameOf(severities(), static_cast<unsigned>(severity));
}

std::optional<Health> healthNamed(std::string_view name) {
    return codeNamed<Health>(healths(), name);
}

std::optional<Severity> severityNamed(std::string_view name) {
    return codeNamed<Severity>(severities(), name);
}

unsigned rankOf(Health health) {
    return static_cast<unsigned>(std::min(health, Health::failed));
}

Health worse(Health a, Health b) {
    return rankOf(b) > rankOf(a) ? b : a;
}

std::optional<Health> worse(const std::optional<Health>& a, const std::optional<Health>& b) {
    return a && b ? worse(*a, *b) : a ? a : b;
}

}  // namespace varnock::agent
