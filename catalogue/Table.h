#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/Row.h"

namespace varnock::catalogue {

/// What is wrong with a file: a line "file:line: message" for each fault.
class Malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The rows of a table of calls, all of them checked.
class Table {
  public:
    /// Throws Malformed with every fault of the text; `file` is its name in the messages.
    Table(std::string_view text, std::string file);
    /// Likewise; a file that cannot be read is malformed, too.
    static Table read(const std::string& path);

    /// In the order of the interface. They live as long as the table.
    const std::vector<Row>& rows() const { return rows_; }

    /// Its name in messages.
    const std::string& file() const { return file_; }
    /// "file:line" of a row.
    std::string place(const Row& row) const;

  private:
    std::unique_ptr<const std::string> text_;  // does not move with the table: the rows point to it
    std::string file_;
    std::vector<Row> rows_;
};

/// The whole of a file. Throws Malformed when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace varnock::catalogue
