#include "catalogue/Parameters.h"

#include <algorithm>

#include "catalogue/Text.h"

namespace varnock::catalogue {

std::string_view parameterList(const Row& row) {
    return row.arguments == "-" ? std::string_view() : row.arguments;
}

std::vector<Parameter> parametersOf(const Row& row) {
    std::vector<Parameter> parameters;
    std::string_view rest = parameterList(row);
    while (!rest.empty()) {
        std::string_view text = take(rest, ',');
        text.remove_prefix(text.starts_with(' ') ? 1 : 0);
        const std::size_t space = std::min(text.rfind(' '), text.size());
        parameters.push_back(
            {text.substr(0, space), text.substr(std::min(space + 1, text.size()))});
    }
    return parameters;
}

}  // namespace varnock::catalogue
