// The tools print the same bytes in every locale.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/ForeignLocale.h"

namespace varnock::test {
namespace {

TEST(Locale, ChangesNoOutput) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    LibraryFiles files;
    writeFile(files.file("registry"),
              "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nn=d=1234567\nm=d=\xA0"
              "5\nt=s=\xA0t\n\n\n\n");
    ASSERT_EQ(files.host({"write", "1", "3", "10"}).status, 0);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"registry", "tree", "-o", "json"},
          {"registry", "tree"},
          {"registry", "check"},
          {"trace", "-o", "json"},
          {"trace"},
          {"list", "-o", "csv"},
          {"call", "setAssetTag", "--dry-run", "--timeout", "2.5"},
          {"explain", "3", "-o", "json"}}) {
        files.settings = {{"LC_ALL", "C"}, {"TZ", "UTC0"}};
        const ProcessResult before = files.varnockctl(command);
        files.settings = locale.environment();
        files.settings["TZ"] = "UTC0";
        const ProcessResult after = files.varnockctl(command);
        SCOPED_TRACE(testing::PrintToString(command));
        EXPECT_EQ(after.status, before.status);
        EXPECT_EQ(after.out, before.out);
        EXPECT_NE(after.out + after.err, "");
    }
}

TEST(Locale, LeavesTheNumbersOfAnInventoryValid) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    for (const char* part : {"inventory", "sensors", "doctor"}) {
        const ProcessResult result = runProcess({VARNOCK_AGENT, "run", "--host", "--", VARNOCKCTL,
                                                 part, "--timeout", "9.5", "-o", "json"},
                                                locale.environment());
        EXPECT_TRUE(documentOf(result).IsObject()) << part << result.err;
    }
}

}  // namespace
}  // namespace varnock::test
