#include "catalogue/Table.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "catalogue/Bindings.h"
#include "catalogue/Cells.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {

namespace {

constexpr int kFirstLine = 2;  ///< after the heading

std::string heading() {
    std::string line;
    for (const Column& column : columns()) {
        line.append(line.empty() ? "" : "\t").append(column.name);
    }
    return line;
}

Row rowOf(std::string_view line, int index) {
    Row row{};
    row.index = index;
    for (const Column& column : columns()) {
        const std::string_view cell = take(line, '\t');
        if (column.cell != nullptr) {
            row.*column.cell = cell;
        }
    }
    return row;
}

/// Collects the faults of a file.
class Faults {
  public:
    explicit Faults(const std::string& file) : file_(file) {}

    void add(int line, const std::string& message) {
        lines_ += file_ + ":" + std::to_string(line) + ": " + message + "\n";
    }
    void raise() const {
        if (!lines_.empty()) {
            throw Malformed(lines_);
        }
    }

  private:
    std::string file_;
    std::string lines_;
};

void checkLine(std::string_view line, int index, Faults& faults) {
    const int number = index + kFirstLine;
    const auto cells = static_cast<std::size_t>(std::count(line.begin(), line.end(), '\t')) + 1;
    if (cells != columns().size()) {
        return faults.add(number, std::to_string(cells) + " cells; a row has " +
                                      std::to_string(columns().size()));
    }
    bool sound = true;
    std::string_view rest = line;
    const auto fault = [&](const std::string& message) {
        faults.add(number, message);
        sound = false;
    };
    for (const Column& column : columns()) {
        const std::string_view cell = take(rest, '\t');
        if (!isAllowed(column, cell)) {
            fault(std::string(column.name) + ": \"" + std::string(cell) +
                  "\" is not allowed; it is " + column.meaning);
        } else if (column.cell == nullptr && cell != std::to_string(index)) {
            fault("index: " + std::string(cell) + ", expected " + std::to_string(index));
        }
    }
    if (!sound) {
        return;  // combinations are checked only if every cell is valid
    }
    for (const std::string& contradiction : contradictions(rowOf(line, index))) {
        fault(contradiction);
    }
}

void checkNames(const std::vector<Row>& rows, Faults& faults) {
    std::set<std::string_view> names;
    for (const Row& row : rows) {
        if (!names.insert(row.name).second) {
            faults.add(row.index + kFirstLine,
                       "name: " + std::string(row.name) + " has a row already");
        }
    }
}

/// For a record without a name, the opcode shows whether it changes state.
void checkOpcodes(const std::vector<Row>& rows, Faults& faults) {
    std::map<std::string_view, const Row*> first;
    for (const Row& row : rows) {
        const auto [known, isNew] = first.emplace(row.opcode, &row);
        if (hasCommand(row) && !isNew && known->second->changes != row.changes) {
            faults.add(row.index + kFirstLine,
                       "changes: " + std::string(row.changes) + ", and not so for " +
                           std::string(known->second->name) + ", which has the same opcode");
        }
    }
}

/// What tells one command's answer from that of another.
using Question = std::tuple<unsigned, std::optional<unsigned>, bool, std::optional<unsigned>>;

/// Calls that read the same must name the same place of the model, and so must a setter and its
/// getter.
void checkModels(const std::vector<Row>& rows, Faults& faults) {
    constexpr unsigned kReadSetting = 0xE001;
    constexpr unsigned kWriteSetting = 0xE002;
    std::map<std::pair<Question, std::string_view>, Binding> first;
    std::map<Question, Binding> readers;
    const std::vector<Binding> all = bindings(rows);
    const auto compare = [&](const Binding& own, const Binding& other, const char* relation) {
        if (own.path != other.path) {
            faults.add(own.row->index + kFirstLine, "model: \"" + own.path + "\", but \"" +
                                                        other.path + "\" for " +
                                                        std::string(other.row->name) + relation);
        }
    };
    for (const Binding& each : all) {
        const Question question{each.opcode, each.ext, each.ofElement, each.object};
        readers.emplace(question, each);
        const auto [known, isNew] = first.emplace(std::pair(question, each.reply), each);
        compare(each, known->second, ", which reads the same");
    }
    for (const Binding& each : all) {
        const auto reader =
            readers.find(Question{kReadSetting, each.ext, each.ofElement, each.object});
        if (each.opcode == kWriteSetting && reader != readers.end()) {
            compare(each, reader->second, ", which reads what this one sets");
        }
    }
}

}  // namespace

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || !std::filesystem::is_regular_file(path)) {
        throw Malformed(path + ":1: cannot be read\n");
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

Table::Table(std::string_view text, std::string file)
    : text_(std::make_unique<const std::string>(text)), file_(std::move(file)) {
    Faults faults(file_);
    std::string_view rest = *text_;
    if (take(rest, '\n') != heading()) {
        faults.add(1, "the heading is not: " + heading());
    }
    faults.raise();
    while (!rest.empty()) {
        const std::string_view line = take(rest, '\n');
        const int index = static_cast<int>(rows_.size());
        checkLine(line, index, faults);
        rows_.push_back(rowOf(line, index));
    }
    faults.raise();
    checkNames(rows_, faults);
    checkOpcodes(rows_, faults);
    checkModels(rows_, faults);
    faults.raise();
}

Table Table::read(const std::string& path) {
    return Table(readFile(path), path);
}

std::string Table::place(const Row& row) const {
    return file_ + ":" + std::to_string(row.index + kFirstLine);
}

}  // namespace varnock::catalogue
