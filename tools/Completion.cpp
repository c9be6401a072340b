#include "tools/Completion.h"

#include <algorithm>
#include <span>

#include "tools/CommandTree.h"

namespace varnock {
namespace {

/// The name by which an option is remembered: the last one, which is the long one if there is one.
std::string keyOf(const CLI::Option& option) {
    return namesOf(option).back();
}

/// Reads complete words as the parser would.
class Reader {
  public:
    explicit Reader(const CLI::App& program) { typed_.command = &program; }

    void read(const std::string& word) {
        if (const CLI::Option* option = std::exchange(waiting_, nullptr)) {
            typed_.options[keyOf(*option)] = word;
        } else if (onlyArguments_ || word.size() < 2 || word[0] != '-') {
            readArgument(word);
        } else if (word == "--") {
            onlyArguments_ = true;
        } else if (word[1] == '-') {
            readLong(word);
        } else {
            readShort(word.substr(1));
        }
    }

    const Typed& typed() const { return typed_; }
    /// The option whose value comes next, or null.
    const CLI::Option* waiting() const { return waiting_; }
    bool onlyArguments() const { return onlyArguments_; }

  private:
    void readArgument(const std::string& word) {
        const auto subcommands = subcommandsOf(*typed_.command);
        const auto found =
            std::find_if(subcommands.begin(), subcommands.end(),
                         [&](const CLI::App* each) { return each->get_name() == word; });
        if (found == subcommands.end() || onlyArguments_) {
            typed_.arguments.push_back(word);
        } else {
            typed_.command = *found;
            typed_.arguments.clear();
        }
    }

    void readLong(const std::string& word) {
        const std::size_t equals = word.find('=');
        const CLI::Option* option = findOption(*typed_.command, word.substr(0, equals));
        if (option == nullptr) {
            return;
        }
        typed_.options[keyOf(*option)] = equals == word.npos ? "" : word.substr(equals + 1);
        waiting_ = takesValue(*option) && equals == word.npos ? option : nullptr;
    }

    /// A cluster of flags; the last one may have a value, attached or in the next word.
    void readShort(const std::string& letters) {
        for (std::size_t i = 0; i < letters.size(); ++i) {
            const CLI::Option* option = findOption(*typed_.command, std::string("-") + letters[i]);
            if (option == nullptr) {
                return;
            }
            typed_.options[keyOf(*option)] = letters.substr(i + 1);
            if (takesValue(*option)) {
                waiting_ = i + 1 == letters.size() ? option : nullptr;
                return;
            }
        }
    }

    Typed typed_{};
    const CLI::Option* waiting_ = nullptr;
    bool onlyArguments_ = false;
};

class Completer {
  public:
    Completer(const Reader& reader, ValueSource& source) : reader_(reader), source_(source) {}

    std::vector<Candidate> complete(const std::string& word) {
        const std::size_t equals = word.find('=');
        if (reader_.waiting() != nullptr) {
            addValues(*reader_.waiting(), word, "");
        } else if (word.starts_with("--") && equals != word.npos && !reader_.onlyArguments()) {
            const CLI::Option* option = findOption(command(), word.substr(0, equals));
            if (option != nullptr && takesValue(*option)) {
                addValues(*option, word.substr(equals + 1), word.substr(0, equals + 1));
            }
        } else if (word.starts_with('-') && !reader_.onlyArguments()) {
            addOptions(word);
        } else {
            addSubcommands(word);
            addArguments(word);
        }
        return std::move(found_);
    }

  private:
    const CLI::App& command() const { return *reader_.typed().command; }

    void add(Candidate candidate, const std::string& prefix, const std::string& lead) {
        if (candidate.text.starts_with(prefix)) {
            candidate.text.insert(0, lead);
            found_.push_back(std::move(candidate));
        }
    }

    void addSubcommands(const std::string& word) {
        if (reader_.onlyArguments()) {
            return;
        }
        for (const CLI::App* each : subcommandsOf(command())) {
            add({each->get_name(), each->get_description()}, word, "");
        }
    }

    void addArguments(const std::string& word) {
        const auto arguments = argumentsOf(command());
        const std::size_t position = reader_.typed().arguments.size();
        if (position < arguments.size()) {
            addValues(*arguments[position], word, "");
        } else if (!arguments.empty() && isRepeatable(*arguments.back())) {
            addValues(*arguments.back(), word, "");
        }
    }

    void addOptions(const std::string& word) {
        for (const CLI::App* at = &command(); at != nullptr; at = at->get_parent()) {
            for (const CLI::Option* option : optionsOf(*at)) {
                addNames(*at, *option, word);
            }
        }
    }

    /// The help option of each parent is that of the command.
    void addNames(const CLI::App& owner, const CLI::Option& option, const std::string& word) {
        const bool isParentsHelp = &owner != &command() && &option == owner.get_help_ptr();
        const bool isGiven = reader_.typed().options.contains(keyOf(option));
        if (isParentsHelp || (isGiven && !isRepeatable(option)) ||
            !source_.offers(reader_.typed(), option)) {
            return;
        }
        for (const std::string& name : namesOf(option)) {
            add({name, option.get_description()}, word, "");
        }
    }

    void addValues(const CLI::Option& option, const std::string& prefix, const std::string& lead) {
        const std::vector<std::string> choices = choicesOf(option);
        for (const std::string& choice : choices) {
            add({choice, ""}, prefix, lead);
        }
        const std::string name = valueNameOf(option);
        if (!choices.empty()) {
            return;
        }
        if (name == "FILE" || name == "DIR") {
            found_.push_back({name == "DIR" ? kDirectories : kFiles, ""});
            return;
        }
        for (Candidate& value : source_.values(reader_.typed(), option, prefix)) {
            add(std::move(value), prefix, lead);
        }
    }

    const Reader& reader_;
    ValueSource& source_;
    std::vector<Candidate> found_;
};

}  // namespace

std::vector<Candidate> complete(const CLI::App& program, const std::vector<std::string>& words,
                                ValueSource& source) {
    if (words.empty()) {
        return {};
    }
    Reader reader(program);
    for (const std::string& word : std::span(words).first(words.size() - 1)) {
        reader.read(word);
    }
    return Completer(reader, source).complete(words.back());
}

std::string completionText(const std::vector<Candidate>& candidates) {
    std::string text;
    for (const Candidate& candidate : candidates) {
        text += candidate.text;
        if (!candidate.description.empty()) {
            text += '\t' + candidate.description;
        }
        text += '\n';
    }
    return text;
}

}  // namespace varnock
