#include "cli/metrics/OpenMetrics.h"

#include <charconv>

#include "cli/output/Json.h"

namespace varnockctl {
namespace {

std::string numberText(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// Bytes that are not UTF-8 become \xNN, whose backslash is then escaped as any other.
std::string labelText(std::string_view value) {
    std::string out;
    for (const char c : escapeInvalidUtf8(value)) {
        if (c == '\n') {
            out += "\\n";
        } else {
            out.append(c == '"' || c == '\\' ? "\\" : "").append(1, c);
        }
    }
    return out;
}

/// The two formats escape quotes differently here, so the text gets no quotes.
std::string helpText(std::string_view help) {
    std::string out;
    for (const char c : help) {
        out += c == '"' || c == '`' ? '\'' : c == '\n' ? ' ' : c;
        out += c == '\\' ? "\\" : "";
    }
    return out;
}

std::string sampleText(const std::string& name, const Sample& sample) {
    std::string labels;
    for (const auto& [label, value] : sample.labels) {
        labels += (labels.empty() ? "" : ",") + label + "=\"" + labelText(value) + '"';
    }
    return name + (labels.empty() ? "" : '{' + labels + '}') + ' ' + numberText(sample.value) +
           '\n';
}

std::string familyText(const MetricFamily& family) {
    std::string out = "# HELP " + family.name + ' ' + helpText(family.help) + "\n# TYPE " +
                      family.name + " gauge\n";
    if (!family.unit.empty()) {
        out += "# UNIT " + family.name + ' ' + std::string(family.unit) + '\n';
    }
    for (const Sample& sample : family.samples) {
        out += sampleText(family.name, sample);
    }
    return out;
}

}  // namespace

std::string openMetrics(const std::vector<MetricFamily>& families) {
    std::string out;
    for (const MetricFamily& family : families) {
        if (!family.samples.empty()) {
            out += familyText(family);
        }
    }
    return out + "# EOF\n";
}

}  // namespace varnockctl
