#include "cli/registry/RegistryCheck.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <set>

#include "runtime/registry/RegistryFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::registryformat;

constexpr std::size_t kMaxShown = 100;

class Check {
  public:
    explicit Check(std::string_view file) : rest_(file) {}

    std::vector<RegistryProblem> run() {
        while (!open_.empty() && !rest_.empty()) {
            takeLine();
        }
        finish();
        return std::move(problems_);
    }

  private:
    void finish() {
        if (!hasLocalMachine_) {
            addMissing(std::string(kLocalMachine) + " is missing");
        }
        if (!open_.empty()) {
            addMissing("the file ends before its keys do: its end closes all open keys");
            return;
        }
        while (rest_.starts_with('\n')) {
            ++line_;
            rest_.remove_prefix(1);
        }
        if (!rest_.empty()) {
            ++line_;
            add(rest_.substr(0, rest_.find('\n')),
                "after the empty line that ends the file: not read, like everything that follows");
        }
    }

    void takeLine() {
        ++line_;
        const std::size_t newline = rest_.find('\n');
        std::string_view line = rest_.substr(0, newline);
        rest_ = newline != rest_.npos ? rest_.substr(newline + 1) : std::string_view();
        if (line.size() > kLongestLine) {
            add(line, "only the first " + std::to_string(kLongestLine) + " characters are read");
            line = line.substr(0, kLongestLine);
        }
        if (line.find('\0') != line.npos) {
            add(line, "the line is read up to its NUL byte");
            line = line.substr(0, line.find('\0'));
        }
        if (line.empty()) {
            open_.pop_back();
        } else if (line[0] == '[' && line.rfind(']') != line.npos) {
            takeKey(line);
        } else {
            takeValue(line);
        }
    }

    void takeKey(std::string_view line) {
        const std::string name(line.substr(1, line.rfind(']') - 1));
        if (line.back() != ']') {
            add(line, "the text after the bracket is not read");
        }
        enter(line, name);
        hasLocalMachine_ = hasLocalMachine_ || (open_.size() == 1 && name == kLocalMachine);
        open_.emplace_back();
    }

    void takeValue(std::string_view line) {
        const std::size_t equals = line.find('=');
        const std::string_view marked = equals != line.npos ? line.substr(equals) : "";
        if (marked.starts_with(kNumberMarker)) {
            checkNumber(line, std::string(marked.substr(strlen(kNumberMarker))));
        } else if (marked.starts_with(kBinaryMarker)) {
            checkBytes(line, marked.substr(strlen(kBinaryMarker)));
        } else if (!marked.starts_with(kStringMarker) && !marked.starts_with(kExpandMarker)) {
            add(line, "neither a key nor a value: the line is skipped");
            return;
        }
        if (open_.size() == 1) {
            problems_.push_back({line_, shown(line), "a value outside all keys", false});
        }
        enter(line, std::string(line.substr(0, equals)));
    }

    void checkNumber(std::string_view line, const std::string& text) {
        char* end = nullptr;
        const long number = strtol(text.c_str(), &end, 10);
        if (end == text.c_str()) {
            add(line, "not a number: the line is skipped");
        } else if (*end != '\0') {
            add(line, "the text after the number is not read");
        } else if (number < -2147483648L || number > 4294967295L) {
            add(line, "only the low 32 bits of the number are read");
        }
    }

    void checkBytes(std::string_view line, std::string_view text) {
        if (text.find_first_not_of("0123456789abcdefABCDEF ") != text.npos) {
            add(line, "the bytes are read only up to the first invalid character");
            return;
        }
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find(' ', begin), text.size());
            if (end - begin > 2) {
                add(line, "only the low 8 bits of each number are read");
                return;
            }
            begin = end + 1;
        }
    }

    /// Of two entries with the same name in a key the last one is used, whatever their types.
    void enter(std::string_view line, const std::string& name) {
        if (!open_.back().insert(name).second) {
            add(line, "replaces the entry of the same name above");
        }
    }

    void add(std::string_view line, const std::string& problem) {
        problems_.push_back({line_, shown(line), problem, true});
    }
    void addMissing(const std::string& problem) {
        problems_.push_back({line_ + 1, {}, problem, false});
    }
    static std::string shown(std::string_view line) {
        return std::string(line.substr(0, kMaxShown));
    }

    std::string_view rest_;
    std::size_t line_ = 0;
    std::vector<std::set<std::string>> open_{1};  ///< the names in each open key
    bool hasLocalMachine_ = false;
    std::vector<RegistryProblem> problems_;
};

}  // namespace

std::vector<RegistryProblem> checkRegistry(std::string_view file) {
    return Check(file).run();
}

}  // namespace varnockctl
