#include "catalogue/Generated.h"

#include <gtest/gtest.h>

#include "catalogue/Table.h"
#include "tests/catalogue/TableText.h"

namespace varnock::test {
namespace {

const std::string kNotice = "// Made from catalogue/calls.tsv by the build. Not for editing.\n";

catalogue::Table table() {
    return {tableText({soundRow({{"description", "Says \"on\" or \\."}}),
                       silentRow({{"index", "1"},
                                  {"name", "getFanStatus@0x0301"},
                                  {"opcode", "0x0301"},
                                  {"ext", "key opCodeExt"},
                                  {"object", "0"},
                                  {"cabinet", "all ones"},
                                  {"reply", "byte"},
                                  {"failure", "default"},
                                  {"sends", "yes"},
                                  {"model", "cabinets[number=cabinet].fans[0].status"},
                                  {"arguments", "const KOLMKey& key, UmDiffAlternate"}}),
                       silentRow({{"index", "2"}, {"name", "doIt"}, {"arguments", "-"}})}),
            "t.tsv"};
}

TEST(Generated, DeclaresAnOverrideForEachRow) {
    EXPECT_EQ(catalogue::overridesText(table().rows()),
              kNotice +
                  "\n// 0\n"
                  "cimple::uint8 getFanStatus(const KOLMKey& key) override;\n"
                  "cimple::uint8 getFanStatus(const KOLMKey& key, UmDiffAlternate) override;\n"
                  "cimple::uint8 doIt() override;\n");
}

TEST(Generated, ListsTheMembersWithTheirOptions) {
    EXPECT_EQ(catalogue::membersText(table().rows()),
              kNotice +
                  "VARNOCK_CALL(\"getFanStatus\", optionCabinet | optionObject | optionExt, "
                  "optionCabinet "
                  "| optionObject,\n"
                  "             getFanStatus, cimple::uint8 (KOLMCalls::*)(const KOLMKey& key))\n"
                  "VARNOCK_CALL(\"getFanStatus@0x0301\", optionCabinet | optionObject | optionExt, "
                  "optionExt,\n"
                  "             getFanStatus, cimple::uint8 (KOLMCalls::*)(const KOLMKey& key, "
                  "UmDiffAlternate))\n"
                  "VARNOCK_CALL(\"doIt\", 0, 0,\n"
                  "             doIt, cimple::uint8 (KOLMCalls::*)())\n");
}

TEST(Generated, GivesTheRowsAsInitialisers) {
    const std::string text = catalogue::rowsText(table().rows());
    EXPECT_EQ(text.rfind(kNotice + "{.index = 0,\n .name = \"getFanStatus\",\n .arguments = ", 0),
              0U)
        << text;
    EXPECT_NE(text.find("\n .description = \"Says \\\"on\\\" or \\\\.\"},\n{.index = 1,\n"),
              text.npos)
        << text;
}

}  // namespace
}  // namespace varnock::test
