#pragma once

#include <sstream>
#include <string>

namespace varnock {

/// What a program says instead of running a command.
struct Explanation {
    bool isMistake;    ///< of the user; else the help or the version, which was asked for
    std::string text;  ///< of a mistake one sentence
};

/// The explanation for what the parser of the command line has thrown.
template <class Parser, class Thrown>
Explanation explain(const Parser& parser, const Thrown& thrown) {
    std::ostringstream out;
    std::ostringstream err;
    if (parser.exit(thrown, out, err) == 0) {
        return {false, out.str()};
    }
    return {true, thrown.what()};
}

}  // namespace varnock
