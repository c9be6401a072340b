// Checks the catalogue of calls and generates files from it.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "catalogue/CallText.h"
#include "catalogue/Generated.h"
#include "catalogue/Interface.h"
#include "catalogue/Shape.h"
#include "catalogue/Table.h"

namespace varnock::catalogue {
namespace {

constexpr const char* kUsage =
    "usage: call_catalogue page|manual TABLE\n"
    "       call_catalogue generate TABLE HEADER STATEMENTS-FOLDER OUTPUT-FOLDER\n";

std::vector<SourceText> sourcesIn(const std::string& folder) {
    std::vector<SourceText> sources;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".cpp") {
            sources.push_back({entry.path().string(), readFile(entry.path().string())});
        }
    }
    return sources;
}

/// Does not touch an unchanged file, so that it causes no recompilation.
void write(const std::filesystem::path& path, const std::string& text) {
    if (std::filesystem::exists(path) && readFile(path.string()) == text) {
        return;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        throw Malformed(path.string() + ":1: cannot be written\n");
    }
}

void generate(const Table& table, char** arguments) {
    const SourceText header{arguments[0], readFile(arguments[0])};
    std::string faults;
    for (const std::string& each : missingPlaces(table, header, sourcesIn(arguments[1]))) {
        faults += each + "\n";
    }
    if (!faults.empty()) {
        throw Malformed(faults);
    }
    const std::filesystem::path folder = arguments[2];
    std::filesystem::create_directories(folder);
    write(folder / "KolmOverrides.inc", overridesText(table.rows()));
    write(folder / "CallRows.inc", rowsText(table.rows()));
    write(folder / "CallMembers.inc", membersText(table.rows()));
    write(folder / "machine.schema.json", machineSchema(machineShape(table.rows())));
}

void printPage(const std::string& page) {
    if (fwrite(page.data(), 1, page.size(), stdout) != page.size() || fflush(stdout) != 0) {
        throw Malformed("the page cannot be written\n");
    }
}

[[nodiscard]] int run(int count, char** arguments) {
    if (count == 3 && strcmp(arguments[1], "page") == 0) {
        printPage(callsPage(Table::read(arguments[2]).rows()));
        return 0;
    }
    if (count == 3 && strcmp(arguments[1], "manual") == 0) {
        printPage(callsManual(Table::read(arguments[2]).rows()));
        return 0;
    }
    if (count == 6 && strcmp(arguments[1], "generate") == 0) {
        generate(Table::read(arguments[2]), arguments + 3);
        return 0;
    }
    fputs(kUsage, stderr);
    return 2;
}

}  // namespace
}  // namespace varnock::catalogue

int main(int count, char** arguments) {
    try {
        return varnock::catalogue::run(count, arguments);
    } catch (const std::exception& exception) {
        fputs(exception.what(), stderr);
        return 1;
    }
}
