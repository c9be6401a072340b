// Prints the manual pages of the subcommands at build time.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/CommandLine.h"
#include "runtime/StartMode.h"
#include "tools/CommandTree.h"
#include "tools/LibraryTrace.h"
#include "tools/ManualPage.h"

constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;

namespace {

/// Links the file that keeps the library's trace out of the output of a build.
void (*const volatile kQuietLibrary)() = varnock::showLibraryTrace;

[[nodiscard]] bool write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    return static_cast<bool>(file);
}

/// Replaces the contents of the folder, so that no page of a former subcommand stays.
[[nodiscard]] bool writePages(const char* page, const std::filesystem::path& folder) {
    const std::ifstream file(page);
    std::ostringstream text;
    text << file.rdbuf();
    CLI::App program;
    varnockctl::CommandLine unused;
    varnockctl::describeCommands(program, unused);
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    bool isWritten = file && text;
    for (const CLI::App* command : varnock::subcommandsOf(program)) {
        isWritten = isWritten && write(folder / ("varnockctl-" + command->get_name() + ".1"),
                                       varnock::manualPage(*command, text.str()));
    }
    return isWritten;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        if (count == 3 && kQuietLibrary != nullptr && writePages(arguments[1], arguments[2])) {
            return 0;
        }
        fputs("usage: varnockctl_manual PAGE FOLDER\n", stdout);
    } catch (const std::exception& exception) {
        puts(exception.what());
    }
    return 1;
}
