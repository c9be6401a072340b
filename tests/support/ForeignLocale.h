#pragma once

#include <locale.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {

/// A locale with a comma in its numbers, with German names of months, and with one more character
/// for white space: 0xA0. Compiled with localedef into a temporary directory.
class ForeignLocale {
  public:
    static constexpr const char* kName = "xx_XX";
    static constexpr char kWhiteSpace = '\xA0';

    ForeignLocale() {
        writeFile(directory_.file("source"), kSource);
        // It warns about the categories that are missing.
        runProcess({"localedef", "--no-archive", "-c", "-i", directory_.file("source"), "-f",
                    "ISO-8859-1", directory_.file(kName)});
    }
    ~ForeignLocale() { setlocale(LC_ALL, "C"); }
    ForeignLocale(const ForeignLocale&) = delete;
    ForeignLocale& operator=(const ForeignLocale&) = delete;

    /// False if there is no localedef, or it lacks what the locale is made of.
    bool exists() const { return std::filesystem::exists(directory_.file(kName) + "/LC_TIME"); }
    /// Makes it the locale of this process. False if that fails.
    bool use() const {
        setenv("LOCPATH", directory_.path().c_str(), 1);
        return setlocale(LC_ALL, kName) != nullptr;
    }
    /// What makes it the locale of a program.
    Subprocess::Environment environment() const {
        return {{"LOCPATH", directory_.path()}, {"LC_ALL", kName}};
    }

  private:
    static constexpr const char* kSource =
        "escape_char /\n"
        "comment_char %\n"
        "LC_CTYPE\n"
        "upper <U0041>;<U0042>;<U0043>;<U0044>;<U0045>;<U0046>\n"
        "lower <U0061>;<U0062>;<U0063>;<U0064>;<U0065>;<U0066>\n"
        "space <U0009>;<U000A>;<U000B>;<U000C>;<U000D>;<U0020>;<U00A0>\n"
        "END LC_CTYPE\n"
        "LC_NUMERIC\n"
        "decimal_point \",\"\n"
        "thousands_sep \".\"\n"
        "grouping 3;3\n"
        "END LC_NUMERIC\n"
        "LC_TIME\n"
        "copy \"de_DE\"\n"
        "END LC_TIME\n"
        "LC_MONETARY\n"
        "copy \"POSIX\"\n"
        "END LC_MONETARY\n"
        "LC_COLLATE\n"
        "copy \"POSIX\"\n"
        "END LC_COLLATE\n"
        "LC_MESSAGES\n"
        "copy \"POSIX\"\n"
        "END LC_MESSAGES\n";

    TemporaryDirectory directory_;
};

}  // namespace varnock::test

/// For a test in that locale.
#define SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale) \
    if (!(locale).exists()) GTEST_SKIP() << "there is no localedef, or it has no German locale"
