#include "catalogue/Options.h"

#include <gtest/gtest.h>

namespace varnock::test {
namespace {

using namespace catalogue;

Row rowOf(std::string_view arguments, std::string_view ext, std::string_view object,
          std::string_view cabinet, std::string_view options = "-") {
    Row row{};
    row.arguments = arguments;
    row.ext = ext;
    row.object = object;
    row.cabinet = cabinet;
    row.options = options;
    return row;
}

TEST(Options, AKeyTakesAllItsPartsAndNeedsThoseThatAreSent) {
    const Row component = rowOf("const KOLMKey& key", "0x0000", "key objectId", "key cabinetNr");
    EXPECT_EQ(optionsTaken(component), optionCabinet | optionObject | optionExt);
    EXPECT_EQ(optionsNeeded(component), optionCabinet | optionObject);
    const Row element =
        rowOf("const KOLMKey& key", "0x0F + (key opCodeExt << 8)", "key objectId", "all ones");
    EXPECT_EQ(optionsNeeded(element), optionObject | optionExt);
    const Row cabinetAsObject = rowOf("const KOLMKey& key", "0x0000", "key cabinetNr", "all ones");
    EXPECT_EQ(optionsNeeded(cabinetAsObject), optionCabinet);
    const Row unused = rowOf("const KOLMKey& key", "-", "-", "-");
    EXPECT_EQ(optionsNeeded(unused), 0U);
}

TEST(Options, EveryOtherArgumentIsNeeded) {
    const Row counting = rowOf("cimple::uint32 cabinetNr", "0x0000", "0", "argument");
    EXPECT_EQ(optionsTaken(counting), optionCabinet);
    EXPECT_EQ(optionsNeeded(counting), optionCabinet);
    EXPECT_EQ(optionsNeeded(rowOf("cimple::uint32 objectId", "0x0000", "argument", "all ones")),
              optionObject);
    EXPECT_EQ(optionsNeeded(rowOf("SipJson& record", "-", "-", "-")), optionValue);
    const Row setter = rowOf("const KOLMKey& key, cimple::uint8 value", "0x0084", "0", "all ones");
    EXPECT_EQ(optionsTaken(setter), optionCabinet | optionObject | optionExt | optionValue);
    EXPECT_EQ(optionsNeeded(setter), optionValue);
    const Row node =
        rowOf("const KOLMKey& key, const cimple::String& name", "0x0000", "0", "key cabinetNr");
    EXPECT_EQ(optionsNeeded(node), optionCabinet | optionNode);
}

TEST(Options, NoArgumentsTakeNothing) {
    const Row row = rowOf("-", "0x0000", "0", "all ones");
    EXPECT_EQ(optionsTaken(row), 0U);
    EXPECT_EQ(optionsNeeded(row), 0U);
}

TEST(Options, OnesOfTheRowAreAdded) {
    const Row row = rowOf("const KOLMKey& key", "0x0000", "0", "key cabinetNr", "object ext");
    EXPECT_EQ(optionsFollowing(row), optionCabinet);
    EXPECT_EQ(optionsNeeded(row), optionCabinet | optionObject | optionExt);
}

TEST(Options, AreWrittenAsTheyAreGiven) {
    EXPECT_EQ(optionsText(0), "");
    EXPECT_EQ(optionsText(optionObject | optionCabinet), "--cabinet N --object N");
    EXPECT_EQ(optionsText(optionExt | optionValue | optionNode), "--ext N --value V --node TEXT");
}

}  // namespace
}  // namespace varnock::test
