#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "agent/model/Node.h"
#include "catalogue/Shape.h"

/// Files that describe a machine.
namespace varnock::agent {

/// The largest file that is read.
inline constexpr std::size_t kMachineFileLimit = std::size_t{4} << 20;
/// A file with more faults shows these only.
inline constexpr std::size_t kFaultsShown = 50;

/// What a file lacks: a line "file:line:column: member: expected X, found Y" for each fault.
class BadMachineFile : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a machine can have.
const catalogue::Shape& machineShape();

class JsonText;

/// Compares a value of a text with the shape of a machine. Throws BadMachineFile.
void checkMachine(const JsonText& text, const Node& machine);

/// The beginning of a text for a message, without control characters.
std::string excerpt(std::string_view text);

/// A value for a message: an excerpt in quotes, or what kind of value it is.
std::string excerpt(const Node& value);

/// The text of a file. Throws BadMachineFile if it cannot be read or is too large.
std::string textOfFile(const std::string& path);

/// A machine from the text of a file. Throws BadMachineFile.
void readMachine(const std::string& text, const std::string& file, Document& machine);

/// A machine from a file. Throws BadMachineFile.
void loadMachine(const std::string& path, Document& machine);

/// The file of a name: a path if it has a slash or ends with ".json", else one of this kind,
/// "machine" or "scenario", that comes with the agent. Throws BadMachineFile if there is none of
/// the name.
std::string shippedPath(const std::string& kind, const std::string& name);

inline std::string machinePath(const std::string& name) {
    return shippedPath("machine", name);
}

}  // namespace varnock::agent
