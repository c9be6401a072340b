#include "catalogue/Generated.h"

#include <utility>

#include "catalogue/Cells.h"
#include "catalogue/Options.h"
#include "catalogue/Parameters.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {

namespace {

constexpr const char* kNotice = "// Made from catalogue/calls.tsv by the build. Not for editing.\n";

/// "optionCabinet | optionObject"
std::string flags(unsigned int options) {
    constexpr std::pair<Option, const char*> names[] = {{optionCabinet, "optionCabinet"},
                                                        {optionObject, "optionObject"},
                                                        {optionExt, "optionExt"},
                                                        {optionValue, "optionValue"},
                                                        {optionNode, "optionNode"}};
    std::string out;
    for (const auto& [flag, name] : names) {
        if ((options & flag) != 0) {
            out.append(out.empty() ? "" : " | ").append(name);
        }
    }
    return out.empty() ? "0" : out;
}

}  // namespace

std::string overridesText(const std::vector<Row>& rows) {
    std::string out = kNotice;
    for (const Row& row : rows) {
        if (row.index % 10 == 0) {
            out += "\n// " + std::to_string(row.index) + "\n";
        }
        out.append(row.returnType).append(" ").append(memberName(row)).append("(");
        out.append(parameterList(row)).append(") override;\n");
    }
    return out;
}

std::string rowsText(const std::vector<Row>& rows) {
    std::string out = kNotice;
    for (const Row& row : rows) {
        out += "{.index = " + std::to_string(row.index);
        for (const Column& column : columns()) {
            if (column.cell != nullptr) {
                out += std::string(",\n .") + column.member + " = " + quoted(row.*column.cell);
            }
        }
        out += "},\n";
    }
    return out;
}

std::string membersText(const std::vector<Row>& rows) {
    std::string out = kNotice;
    for (const Row& row : rows) {
        out += "VARNOCK_CALL(" + quoted(row.name) + ", " + flags(optionsTaken(row)) + ", " +
               flags(optionsNeeded(row)) + ",\n             ";
        out.append(memberName(row)).append(", ").append(row.returnType);
        out.append(" (KOLMCalls::*)(").append(parameterList(row)).append("))\n");
    }
    return out;
}

}  // namespace varnock::catalogue
