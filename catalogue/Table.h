#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Row.h"

namespace varnock::catalogue {

/// The faults of a file: a line "file:line: message" for each.
class Malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The rows of a table of calls, all of them checked.
class Table {
  public:
    /// Throws Malformed with all faults of the text; `file` is its name in the messages.
    Table(std::string_view text, std::string file);
    /// The same; an unreadable file is also malformed.
    static Table read(const std::string& path);

    /// In the order of the interface; valid during the lifetime of the table.
    const std::vector<Row>& rows() const { return rows_; }

    /// Its name in messages.
    const std::string& file() const { return file_; }
    /// "file:line" of a row.
    std::string place(const Row& row) const;

  private:
    std::unique_ptr<const std::string>
        text_;  ///< must not move with the table: the rows point to it
    std::string file_;
    std::vector<Row> rows_;
};

/// The contents of a file. Throws Malformed if it cannot be read.
std::string readFile(const std::string& path);

}  // namespace varnock::catalogue
