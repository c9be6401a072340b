#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace varnock::test {

/// A row of tests/data/catalogue.tsv, which says what every typed call is to do. The file is kept
/// by hand and not derived from the code, so that it can judge the code.
struct CatalogueRow {
    std::size_t index;
    std::string operation;
    std::string arguments;
    std::string returnType;
    std::string opcode;
    std::string extension;
    std::string object;
    std::string cabinet;
    std::string result;
    std::string failure;
    std::string note;

    /// The name by which callTable() has the call.
    std::string callName() const;
    /// The name in the call's trace texts.
    std::string traceName() const;
    /// False for the calls that send nothing, or whose command is another call's.
    bool hasCommand() const;
};

/// The rows in their order. Throws std::runtime_error when the file cannot be understood.
std::vector<CatalogueRow> readCatalogue(const std::string& path);

}  // namespace varnock::test
