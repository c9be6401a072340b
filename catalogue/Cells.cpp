#include "catalogue/Cells.h"

#include <algorithm>
#include <map>
#include <regex>

#include "catalogue/ModelPath.h"
#include "catalogue/Options.h"
#include "catalogue/Parameters.h"
#include "catalogue/Text.h"
#include "catalogue/Units.h"

namespace varnock::catalogue {

namespace {

#define HEX2 "0x[0-9A-F]{2}"
#define HEX4 "0x[0-9A-F]{4}"
#define NUMBER "[0-9]+"
#define PARAMETER                                                                          \
    "(const KOLMKey& key|cimple::uint32 (cabinetNr|objectId)|cimple::uint(8|16|32) value|" \
    "const cimple::String& (value|name)|PciDeviceInfo& info|UmDiffAlternate|SipJson& record)"
#define VALUE "cimple::(boolean|uint8|uint16|uint32|sint32|String|Datetime|Array<cimple::uint8>)"
#define SELECTOR "(\\[([a-z]+=)?(cabinet|object|ext|class|name|[0-9]+|[0-9]+\\.\\.)\\])?"
#define MODEL_PATH "[a-z][A-Za-z0-9]*" SELECTOR "(\\.[a-z][A-Za-z0-9]*" SELECTOR ")*"
#define RECORD "(KOLMKey|IdentityInfo|LogMessage|PowerUsage)"
// One command, or the successive ones of a sequence.
#define SEQUENCE(one) "(" one ")( / (" one "))*"

const std::vector<Column>& allColumns() {
    // clang-format off
    static const std::vector<Column> all{
        {"index", "index", nullptr, NUMBER, "the position of the row, counted from 0"},
        {"name", "name", &Row::name, "[a-z][A-Za-z0-9]*(@" HEX4 ")?",
         "the name of the operation, with @ and its opcode for a second one of the name"},
        {"arguments", "arguments", &Row::arguments, "-|" PARAMETER "(, " PARAMETER ")*",
         "-, or parameters that README.md knows"},
        {"returns", "returnType", &Row::returnType,
         "void|int|bool|" VALUE "|cimple::Property<" VALUE ">|" RECORD
         "|std::vector<(" RECORD "|" VALUE ")>",
         "a result type that README.md knows"},
        {"opcode", "opcode", &Row::opcode, "-|" SEQUENCE(HEX4), "-, or 0x and four digits, several with \" / \""},
        {"ext", "ext", &Row::ext,
         "-|" SEQUENCE(HEX4 "|key opCodeExt|token") "|" HEX4 " for object 0, else " HEX4
         "|" HEX2 " \\+ \\(key opCodeExt << 8\\)",
         "-, 0x and four digits, key opCodeExt, token, several with \" / \"; or one of the two "
         "forms that README.md knows"},
        {"object", "object", &Row::object,
         "-|" SEQUENCE(NUMBER "|key objectId|key cabinetNr|argument|each") "|" NUMBER " to " NUMBER,
         "-, a number, key objectId, key cabinetNr, argument, each, several with \" / \"; or a range"},
        {"cabinet", "cabinet", &Row::cabinet,
         "-|" SEQUENCE(NUMBER "|key cabinetNr|argument|answer|all ones"),
         "-, a number, key cabinetNr, argument, answer, all ones, several with \" / \""},
        {"data", "data", &Row::data,
         "-|(byte|dword) (0|0x[0-9A-F]+)|(byte|word|dword|text) value|text name|PCI address",
         "-, byte or dword and a number, byte, word, dword or text value, text name, PCI address"},
        {"reply", "reply", &Row::reply,
         "-|none|byte|word|dword|string|presence|address|MAC|(byte|word) at [0-9]+|each (byte|word)"
         "|lines|parent|PCI (addresses|header)|log entries|power samples|alarm identity|components"
         "|word / each word",
         "a form of reply that README.md knows"},
        {"failure", "failure", &Row::failure,
         "-|(default|throws)( unless tolerated)?|throws after the first|silent",
         "-, default, throws, either with \"unless tolerated\", throws after the first, or silent"},
        {"sends", "sends", &Row::sends, "yes|no|for object 0", "yes, no, or for object 0"},
        {"changes", "changes", &Row::changes, "yes|no", "yes or no"},
        {"trace", "trace", &Row::trace, "-|[A-Za-z][A-Za-z0-9]*", "-, or the name that the trace uses instead"},
        {"entry", "entry", &Row::entry,
         "-|[A-Za-z0-9]*\\((cabinet|cabNr, objId|name|name, object)?\\)(: not implemented)?",
         "-, (), (cabinet), (cabNr, objId), (name) or (name, object)"},
        {"controllers", "controllers", &Row::controllers, "-|always|for 12 to 14", "-, always, or for 12 to 14"},
        {"options", "options", &Row::options, "-|(cabinet|object|ext)( (cabinet|object|ext))*",
         "-, or some of cabinet, object and ext"},
        {"value", "value", &Row::value,
         "none|text|date|address|flag|coded|count|number|quantity|time|key|record",
         "a kind of value that README.md knows"},
        {"unit", "unit", &Row::unit, "-|[A-Za-z' ]+", "-, or a unit in words"},
        {"class", "componentClass", &Row::componentClass, "[A-Za-z ]+", "what the call is about, in words"},
        {"model", "model", &Row::model, "-|" SEQUENCE(MODEL_PATH), "-, or a path that README.md knows, several with \" / \""},
        {"coding", "coding", &Row::coding,
         "-|health|severity|shutdown|processor status|memory type|yes or no|clear"
         "|set (running|shutdown requested|restart requested)",
         "-, a list of codes that README.md knows, yes or no, clear, or set and a code"},
        {"description", "description", &Row::description, "[A-Z][ -~]*[^ ]\\.", "printable ASCII, from a capital to a full stop"},
    };
    // clang-format on
    return all;
}

std::size_t countOf(std::string_view cell) {
    return partsOf(cell).size();
}

/// Collects the messages about one row.
class Judge {
  public:
    explicit Judge(const Row& row) : row_(row), parameters_(parametersOf(row)) {}

    std::vector<std::string> judge() {
        command();
        sequence();
        sources();
        data();
        value();
        reply();
        names();
        options();
        model();
        coding();
        return std::move(faults_);
    }

  private:
    void expect(bool holds, const std::string& sentence) {
        if (!holds) {
            faults_.push_back(sentence);
        }
    }
    bool takes(std::string_view name) const {
        return std::any_of(parameters_.begin(), parameters_.end(),
                           [&](const Parameter& each) { return each.name == name; });
    }

    void command() {
        const bool filled = row_.ext != "-" && row_.object != "-" && row_.cabinet != "-" &&
                            row_.reply != "-" && row_.failure != "-";
        const bool empty = row_.ext == "-" && row_.object == "-" && row_.cabinet == "-" &&
                           row_.data == "-" && row_.reply == "-";
        if (hasCommand(row_)) {
            expect(filled, "opcode: a command also needs ext, object, cabinet, reply and failure");
            expect(row_.sends != "no", "sends: \"no\" contradicts the opcode");
        } else {
            expect(empty,
                   "opcode: without one, ext, object, cabinet, data and reply must be empty");
            expect(row_.sends == (takes("record") ? "yes" : "no"),
                   "sends: only a call with an opcode or with the caller's record sends");
        }
    }

    /// Every cell of a sequence has one part for all commands, or one per command.
    void sequence() {
        const std::string_view cells[] = {row_.opcode, row_.ext, row_.object, row_.cabinet};
        std::size_t commands = 1;
        for (const std::string_view cell : cells) {
            commands = std::max(commands, countOf(cell));
        }
        for (const std::string_view cell : cells) {
            expect(countOf(cell) == 1 || countOf(cell) == commands,
                   "\"" + std::string(cell) + "\" needs one part, or one per command");
        }
    }

    void sources() {
        for (const std::string_view cell : {row_.ext, row_.object, row_.cabinet}) {
            expect(!mentions(cell, "key ") || takes("key"),
                   "\"" + std::string(cell) + "\" needs the argument key");
        }
        expect(row_.object != "argument" || takes("objectId"),
               "object: argument needs the argument objectId");
        expect(row_.cabinet != "argument" || takes("cabinetNr"),
               "cabinet: argument needs the argument cabinetNr");
        expect(row_.controllers == "-" || takes("key") || takes("cabinetNr"),
               "controllers: a scan needs an argument that names the cabinet");
    }

    void data() {
        static const std::map<std::string_view, std::string_view> types{
            {"byte value", "cimple::uint8"},
            {"word value", "cimple::uint16"},
            {"dword value", "cimple::uint32"},
            {"text value", "const cimple::String&"},
        };
        for (const Parameter& parameter : parameters_) {
            if (parameter.name == "value" && hasCommand(row_)) {
                const auto type = types.find(row_.data);
                expect(type != types.end() && type->second == parameter.type,
                       "data: \"" + std::string(row_.data) + "\" does not send a value of type " +
                           std::string(parameter.type));
            }
        }
        expect(!mentions(row_.data, "value") || takes("value"),
               "data: needs an argument value to send");
        expect((row_.data == "text name") == takes("name"),
               "data: \"text name\" must be used exactly for an argument name");
    }

    void value() {
        const bool measured = row_.value == "quantity" || row_.value == "time";
        expect(measured == (row_.unit != "-"),
               "unit: quantities and times have a unit, other values do not");
        const std::pair<const char*, const char*> kinds[] = {
            {"String", "text"}, {"Datetime", "date"}, {"Array", "address"}};
        for (const auto& [type, kind] : kinds) {
            expect(mentions(row_.returnType, type) == (row_.value == kind) ||
                       row_.returnType == "void",
                   std::string("value: ") + kind + " needs a result of type " + type);
        }
    }

    /// A form of reply with one possible result type, and vice versa.
    void reply() {
        const std::pair<const char*, const char*> forms[] = {
            {"log entries", "std::vector<LogMessage>"},
            {"power samples", "std::vector<PowerUsage>"},
            {"PCI header", "bool"},
            {"parent", "KOLMKey"}};
        for (const auto& [form, type] : forms) {
            expect((row_.reply == form) == (row_.returnType == type),
                   std::string("reply: ") + form + " needs a result of type " + type);
        }
        expect(row_.reply != "none" || row_.returnType == "void",
               "reply: none, and there is a result to read");
    }

    void names() {
        const std::size_t at = row_.name.find('@');
        expect(at == std::string_view::npos || row_.name.substr(at + 1) == row_.opcode,
               "name: the text after the @ is not the opcode");
        expect(row_.trace != memberName(row_), "trace: that is the call's name already");
    }

    void options() {
        expect((optionsIn(row_.options) & optionsFollowing(row_)) == 0,
               "options: \"" + std::string(row_.options) +
                   "\" repeats what follows from ext, object and cabinet");
        expect((optionsNeeded(row_) & ~optionsTaken(row_)) == 0,
               "options: \"" + std::string(row_.options) + "\" has no argument to go into");
    }

    /// Every call that sends a command of its own has a place in the model, one for all its
    /// commands or one for each.
    void model() {
        expect(hasCommand(row_) == (row_.model != "-"),
               "model: needed exactly for calls with a command");
        const std::size_t commands = mentions(row_.ext, " for object 0, else ")
                                         ? 2
                                         : std::max(countOf(row_.opcode), countOf(row_.object));
        expect(countOf(row_.model) == 1 || countOf(row_.model) == commands,
               "model: \"" + std::string(row_.model) + "\" needs one part, or one per command");
        expect(!mentions(row_.model, "[name=") || row_.data == "text name",
               "model: \"" + std::string(row_.model) + "\" needs the data text name");
        expect(!row_.model.ends_with(".count") || row_.value == "count",
               "model: the number of elements needs the value count");
        expect(row_.value != "quantity" || row_.model == "-" || row_.unit == "-" ||
                   row_.unit == "agent's unit" || findUnit(row_.unit) != nullptr,
               "unit: \"" + std::string(row_.unit) + "\" has no symbols in catalogue/Units.cpp");
    }

    void coding() {
        const bool acts = row_.coding == "clear" || row_.coding.starts_with("set ");
        const bool action = hasCommand(row_) && row_.reply == "none" && changesState(row_) &&
                            !mentions(row_.data, "value");
        expect(acts == action, "coding: clear or set are for the actions, which all have one");
        expect(acts || row_.coding == "-" || row_.value == "coded",
               "coding: \"" + std::string(row_.coding) + "\" needs the value coded");
    }

    const Row& row_;
    std::vector<Parameter> parameters_;
    std::vector<std::string> faults_;
};

}  // namespace

const std::vector<Column>& columns() {
    return allColumns();
}

bool isAllowed(const Column& column, std::string_view cell) {
    static std::map<const char*, std::regex> patterns;
    const auto [found, isNew] = patterns.try_emplace(column.pattern);
    if (isNew) {
        found->second.assign(column.pattern);
    }
    return std::regex_match(cell.begin(), cell.end(), found->second);
}

std::vector<std::string> contradictions(const Row& row) {
    return Judge(row).judge();
}

}  // namespace varnock::catalogue
