#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

/// What the user can type next: the shells' completion scripts ask the program itself.
namespace varnock {

/// A word that can be typed.
struct Candidate {
    std::string text;
    std::string description;  ///< empty or one line
};

/// Files of the shell's own choice, as a candidate.
inline constexpr const char* kFiles = ":files";
inline constexpr const char* kDirectories = ":directories";

/// What has been typed before the word that is completed.
struct Typed {
    const CLI::App* command;                     ///< the innermost subcommand
    std::vector<std::string> arguments;          ///< of that subcommand
    std::map<std::string, std::string> options;  ///< by their long names; flags have an empty value
};

/// The values that the parser does not know. Its functions do not throw.
class ValueSource {
  public:
    ValueSource() = default;
    ValueSource(const ValueSource&) = delete;
    ValueSource& operator=(const ValueSource&) = delete;
    virtual ~ValueSource() = default;

    /// The values of an option or argument that begin with `prefix`; others are ignored.
    virtual std::vector<Candidate> values(const Typed& typed, const CLI::Option& option,
                                          const std::string& prefix) = 0;
    /// Whether an option makes sense after what has been typed.
    virtual bool offers(const Typed& typed, const CLI::Option& option) = 0;
};

/// The candidates for the last of the words, which may be empty; the name of the program is not
/// among the words. Subcommands, options and fixed values come from the parser.
std::vector<Candidate> complete(const CLI::App& program, const std::vector<std::string>& words,
                                ValueSource& source);

/// One line for each candidate: the text, and after a tab the description if there is one.
std::string completionText(const std::vector<Candidate>& candidates);

}  // namespace varnock
