#include "tests/support/Catalogue.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace varnock::test {

namespace {

constexpr std::size_t kColumns = 11;

std::vector<std::string> columnsOf(const std::string& line) {
    std::vector<std::string> columns;
    std::istringstream stream(line);
    for (std::string column; std::getline(stream, column, '\t');) {
        columns.push_back(column);
    }
    columns.resize(std::max(columns.size(), kColumns));  // an empty note at the end
    return columns;
}

CatalogueRow rowOf(const std::string& line) {
    const std::vector<std::string> c = columnsOf(line);
    if (c.size() != kColumns || c[1].empty()) {
        throw std::runtime_error("not a row of the catalogue: " + line);
    }
    return {std::stoul(c[0]), c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], c[10]};
}

}  // namespace

std::string CatalogueRow::callName() const {
    const bool alternate = arguments.find("UmDiffAlternate") != std::string::npos;
    return alternate ? operation + "@" + opcode : operation;
}

std::string CatalogueRow::traceName() const {
    for (const std::string mark : {"trace name \"", "trace text says \""}) {
        if (const std::size_t found = note.find(mark); found != std::string::npos) {
            const std::size_t begin = found + mark.size();
            return note.substr(begin, note.find('"', begin) - begin);
        }
    }
    return operation;
}

bool CatalogueRow::hasCommand() const {
    return opcode.rfind("0x", 0) == 0;
}

std::vector<CatalogueRow> readCatalogue(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) {
        throw std::runtime_error("cannot read " + path);
    }
    std::vector<CatalogueRow> rows;
    while (std::getline(file, line)) {
        rows.push_back(rowOf(line));
    }
    return rows;
}

}  // namespace varnock::test
