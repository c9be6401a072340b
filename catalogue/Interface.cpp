#include "catalogue/Interface.h"

#include <algorithm>
#include <map>
#include <set>

#include "catalogue/Parameters.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {

namespace {

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos ? "" : text.substr(begin);
}

/// The lines of a text, numbered from 1.
class Lines {
  public:
    explicit Lines(std::string_view text) : rest_(text) {}

    bool next() {
        if (rest_.empty()) {
            return false;
        }
        line_ = take(rest_, '\n');
        ++number_;
        return true;
    }
    std::string_view line() const { return line_; }
    int number() const { return number_; }

  private:
    std::string_view rest_;
    std::string_view line_;
    int number_ = 0;
};

void append(std::string& text, std::string_view more) {
    // A line that ends with an open bracket continues on the next line.
    text.append(text.empty() || text.back() == '(' ? "" : " ").append(more);
}

/// "virtual TYPE NAME(ARGUMENTS) = 0;"
Operation operationOf(const std::string& declaration, int line, std::string comment) {
    const std::string_view text = declaration;
    const std::size_t open = std::min(text.find('('), text.size());
    const std::size_t space = std::min(text.rfind(' ', open), open);
    const std::size_t close = std::max(std::min(text.rfind(')'), text.size()), open + 1);
    const std::size_t type = std::min(text.find(' ') + 1, space);
    return {line, std::string(text.substr(std::min(space + 1, text.size()), open - space - 1)),
            std::string(text.substr(type, space - type)),
            std::string(text.substr(std::min(open + 1, text.size()), close - open - 1)),
            std::move(comment)};
}

/// "using NAME = TYPE;"
void keepAlias(std::string_view line, std::map<std::string, std::string>& aliases) {
    take(line, ' ');
    const std::string name(take(line, ' '));
    take(line, ' ');
    aliases[name] = std::string(take(line, ';'));
}

std::string signature(std::string_view type, std::string_view name, std::string_view arguments) {
    return std::string(type).append(" ").append(name).append("(").append(arguments).append(")");
}
std::string signature(const Operation& operation) {
    return signature(operation.returnType, operation.name, operation.arguments);
}
std::string signature(const Row& row) {
    return signature(row.returnType, memberName(row), parameterList(row));
}

std::string place(const SourceText& header, const Operation& operation) {
    return header.file + ":" + std::to_string(operation.line) + ": ";
}

/// Compares the declarations of the header with the rows of the table.
class Comparison {
  public:
    Comparison(const Table& table, const SourceText& header)
        : table_(table), header_(header), operations_(operationsIn(header.text)) {}

    std::vector<std::string> faults() {
        for (const Row& row : table_.rows()) {
            declared(row);
        }
        for (const Operation& operation : operations_) {
            listed(operation);
        }
        if (faults_.empty()) {
            order();
        }
        return std::move(faults_);
    }

  private:
    const Operation* withSignature(const std::string& wanted) const {
        const auto found =
            std::find_if(operations_.begin(), operations_.end(),
                         [&](const Operation& each) { return signature(each) == wanted; });
        return found != operations_.end() ? &*found : nullptr;
    }
    const Operation* ofName(std::string_view name) const {
        const auto found = std::find_if(operations_.begin(), operations_.end(),
                                        [&](const Operation& each) { return each.name == name; });
        return found != operations_.end() ? &*found : nullptr;
    }

    void declared(const Row& row) {
        if (withSignature(signature(row)) != nullptr) {
            return;
        }
        const Operation* other = ofName(memberName(row));
        faults_.push_back(other == nullptr
                              ? table_.place(row) + ": " + std::string(row.name) +
                                    " is not declared in " + header_.file + "; declare \"virtual " +
                                    signature(row) + " = 0;\" after the last operation"
                              : place(header_, *other) + "\"" + signature(*other) +
                                    "\" is declared, and the row in " + table_.place(row) +
                                    " says \"" + signature(row) + "\"");
    }

    void listed(const Operation& operation) {
        const auto& rows = table_.rows();
        const bool known = std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
            return memberName(row) == operation.name;
        });
        if (!known) {
            faults_.push_back(place(header_, operation) + operation.name + " has no row in " +
                              table_.file() + "; append one");
        }
    }

    /// Compiled users call the operations by position.
    void order() {
        const auto& rows = table_.rows();
        for (std::size_t i = 0; i < std::min(rows.size(), operations_.size()); ++i) {
            if (signature(rows[i]) != signature(operations_[i])) {
                faults_.push_back(place(header_, operations_[i]) + operations_[i].name +
                                  " is declared where " + table_.place(rows[i]) + " has " +
                                  std::string(rows[i].name));
                return;
            }
        }
    }

    const Table& table_;
    const SourceText& header_;
    std::vector<Operation> operations_;
    std::vector<std::string> faults_;
};

}  // namespace

std::vector<Operation> operationsIn(std::string_view header) {
    std::vector<Operation> operations;
    std::map<std::string, std::string> aliases;
    std::string comment;
    for (Lines lines(header); lines.next();) {
        const std::string_view line = trimmed(lines.line());
        if (line.starts_with("/// ")) {
            append(comment, line.substr(4));
            continue;
        }
        if (line.starts_with("using ")) {
            keepAlias(line, aliases);
        }
        if (line.starts_with("virtual ") && line.find('~') == std::string_view::npos) {
            const int number = lines.number();
            std::string declaration(line);
            while (!declaration.ends_with(';') && lines.next()) {
                append(declaration, trimmed(lines.line()));
            }
            Operation operation = operationOf(declaration, number, std::move(comment));
            if (const auto alias = aliases.find(operation.returnType); alias != aliases.end()) {
                operation.returnType = alias->second;
            }
            operations.push_back(std::move(operation));
        }
        comment.clear();
    }
    return operations;
}

std::vector<std::string> definitionsIn(std::string_view source) {
    constexpr std::string_view owner = "Kolm::";
    std::vector<std::string> names;
    for (Lines lines(source); lines.next();) {
        const std::string_view line = lines.line();
        // A definition starts in the first column, a call does not.
        const std::size_t found = line.find(owner);
        const bool isDefinition = found != std::string_view::npos && line.front() != ' ' &&
                                  (found == 0 || line[found - 1] == ' ');
        if (isDefinition) {
            std::string_view name = line.substr(found + owner.size());
            names.emplace_back(take(name, '('));
        }
    }
    return names;
}

std::vector<std::string> missingPlaces(const Table& table, const SourceText& header,
                                       const std::vector<SourceText>& statements) {
    std::vector<std::string> faults = Comparison(table, header).faults();
    std::multiset<std::string> defined;
    for (const SourceText& each : statements) {
        for (std::string& name : definitionsIn(each.text)) {
            defined.insert(std::move(name));
        }
    }
    for (const Row& row : table.rows()) {
        const auto found = defined.find(std::string(memberName(row)));
        if (found == defined.end()) {
            faults.push_back(table.place(row) + ": no file defines Kolm::" +
                             std::string(memberName(row)) + "(" + std::string(parameterList(row)) +
                             "); write its statement in the file of its family");
        } else {
            defined.erase(found);
        }
    }
    return faults;
}

std::vector<std::string> differingComments(const Table& table, const SourceText& header) {
    std::vector<std::string> faults;
    const std::vector<Operation> operations = operationsIn(header.text);
    const std::size_t size = std::min(table.rows().size(), operations.size());
    for (std::size_t i = 0; i < size; ++i) {
        const Row& row = table.rows()[i];
        std::string_view rest = operations[i].comment;
        if (!rest.starts_with(row.description)) {
            faults.push_back(place(header, operations[i]) + "the comment of " +
                             std::string(row.name) + " says \"" + operations[i].comment +
                             "\", its description in " + table.place(row) + " \"" +
                             std::string(row.description) + "\"");
            continue;
        }
        rest.remove_prefix(row.description.size());
        // The failure has its own column, and a last sentence in the comment.
        if (rest.starts_with(" Throws") != row.failure.starts_with("throws")) {
            faults.push_back(place(header, operations[i]) + "the comment of " +
                             std::string(row.name) + " does not end with whether it throws, as " +
                             table.place(row) + " has it: " + std::string(row.failure));
        } else if (!rest.empty() && !rest.starts_with(" Throws")) {
            faults.push_back(place(header, operations[i]) + "the comment of " +
                             std::string(row.name) + " says more than its description in " +
                             table.place(row) + ":" + std::string(rest));
        }
    }
    return faults;
}

}  // namespace varnock::catalogue
