#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/Machine.h"
#include "catalogue/Bindings.h"
#include "catalogue/ModelValue.h"

namespace varnock::agent {

struct Exchange;

/// A value in a reply.
struct Piece {
    catalogue::ModelPath path;
    catalogue::ModelValue notation;
    unsigned offset = 0;  ///< in the bytes of a reply that several values share
    unsigned width = 0;   ///< in bytes there
};

/// How one command is answered.
struct Route {
    const catalogue::Row* row;
    std::optional<unsigned> object;  ///< nothing: every object
    std::vector<Piece> pieces;       ///< the path of a reply of another form is in the first
    Answer (*answer)(Exchange&);
};

/// Finds the route of a command; built from the catalogue.
class CommandTable {
  public:
    CommandTable();
    CommandTable(const CommandTable&) = delete;
    CommandTable& operator=(const CommandTable&) = delete;

    /// The routes for the opcode and extension, one for each object where those differ; null if the
    /// catalogue does not have the command.
    const std::vector<Route>* find(unsigned opcode, unsigned ext) const;

  private:
    void add(const catalogue::Binding& binding);

    std::vector<catalogue::Binding> bindings_;  ///< the paths of the routes point to its texts
    std::unordered_map<std::uint64_t, std::vector<Route>> routes_;
};

}  // namespace varnock::agent
