#include "cli/filter/Selection.h"

#include "cli/Options.h"
#include "cli/contract/Contract.h"
#include "cli/output/Output.h"

namespace varnockctl {
namespace {

std::shared_ptr<const Expression> parsed(const std::string& text, const char* option,
                                         const Contract& contract) {
    return text.empty() ? nullptr
                        : std::make_shared<const Expression>(text, option, fieldsOfRows(contract));
}

std::optional<unsigned int> numberIn(const std::optional<std::string>& text, const char* option) {
    return text ? std::optional(parseNumber(*text, option)) : std::nullopt;
}

}  // namespace

Selection::Selection(const SelectionArguments& arguments, const Contract& contract)
    : where_(parsed(arguments.where, "--where", contract)),
      until_(parsed(arguments.until, "--until", contract)),
      first_(numberIn(arguments.first, "--first")),
      last_(numberIn(arguments.last, "--last")) {}

void Selection::judge(Answer& answer, bool isEmpty) const {
    if (isEmpty && !isWhole()) {
        answer.fail(ExitStatus::notAvailable, "nothing is selected");
    }
}

}  // namespace varnockctl
