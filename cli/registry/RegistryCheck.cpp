#include "cli/registry/RegistryCheck.h"

#include <stdlib.h>

#include <algorithm>
#include <set>

#include "cli/registry/RegistryEntries.h"
#include "cli/registry/RegistryLines.h"
#include "runtime/registry/RegistryFormat.h"

namespace varnockctl {
namespace {

using namespace varnock::registryformat;

constexpr std::size_t kMaxShown = 100;

class Check {
  public:
    explicit Check(std::string_view file) : file_(file) {}

    std::vector<RegistryProblem> run() {
        while (!open_.empty() && offset_ < file_.size()) {
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
        for (; offset_ < file_.size() && file_[offset_] == '\n'; ++offset_) {
            ++line_;
        }
        if (offset_ < file_.size()) {
            ++line_;
            add(registryLineAt(file_, offset_).text,
                "after the empty line that ends the file: not read, like everything that follows");
        }
    }

    void takeLine() {
        ++line_;
        const RegistryLine line = registryLineAt(file_, offset_);
        offset_ = line.next;
        if (line.text.size() > kLongestLine) {
            add(line.text,
                "only the first " + std::to_string(kLongestLine) + " characters are read");
        }
        if (line.text.substr(0, kLongestLine).find('\0') != line.text.npos) {
            add(line.read, "the line is read up to its NUL byte");
        }
        switch (line.kind) {
            case RegistryLine::Kind::end:
                open_.pop_back();
                break;
            case RegistryLine::Kind::key:
                takeKey(line);
                break;
            case RegistryLine::Kind::value:
                takeValue(line);
                break;
            case RegistryLine::Kind::other:
                add(line.read, "neither a key nor a value: the line is skipped");
                break;
        }
    }

    void takeKey(const RegistryLine& line) {
        if (line.read.back() != ']') {
            add(line.read, "the text after the bracket is not read");
        }
        enter(line);
        const std::string name(line.name);
        if (open_.size() == 1 && !isRegistryRoot(name)) {
            addUnreachable(line, "not one of the five root keys: programs do not look for it");
        }
        if (name.find('\\') != name.npos) {
            addUnreachable(line, "a backslash separates keys: no path leads to this one");
        }
        hasLocalMachine_ = hasLocalMachine_ || (open_.size() == 1 && name == kLocalMachine);
        open_.emplace_back();
    }

    void takeValue(const RegistryLine& line) {
        if (line.marker == kNumberMarker) {
            checkNumber(line);
        } else if (line.marker == kBinaryMarker) {
            checkBytes(line.read, line.data);
        }
        if (open_.size() == 1) {
            problems_.push_back({line_, shown(line.read), "a value outside all keys", false});
        }
        enter(line);
    }

    void checkNumber(const RegistryLine& line) {
        const std::string text(line.data);
        char* end = nullptr;
        const long number = strtol(text.c_str(), &end, 10);
        if (!line.isRead()) {
            add(line.read, "not a number: the line is skipped");
        } else if (*end != '\0') {
            add(line.read, "the text after the number is not read");
        } else if (number < -2147483648L || number > 4294967295L) {
            add(line.read, "only the low 32 bits of the number are read");
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
    void enter(const RegistryLine& line) {
        if (!open_.back().insert(std::string(line.name)).second) {
            add(line.read, "replaces the entry of the same name above");
        }
    }

    void add(std::string_view line, const std::string& problem) {
        problems_.push_back({line_, shown(line), problem, true});
    }
    void addUnreachable(const RegistryLine& line, const std::string& problem) {
        problems_.push_back({line_, shown(line.read), problem, false});
    }
    void addMissing(const std::string& problem) {
        problems_.push_back({line_ + 1, {}, problem, false});
    }
    static std::string shown(std::string_view line) {
        return std::string(line.substr(0, kMaxShown));
    }

    const std::string_view file_;
    std::size_t offset_ = 0;
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
