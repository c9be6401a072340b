#include "catalogue/Units.h"

#include <gtest/gtest.h>

namespace varnock::test {
namespace {

TEST(Units, AreFoundByTheNameInTheCatalogue) {
    ASSERT_NE(catalogue::findUnit("MHz"), nullptr);
    EXPECT_EQ(catalogue::findUnit("MHz")->symbols[1].text, "GHz");
    EXPECT_EQ(catalogue::findUnit("MHz")->symbols[1].factor, 1000);
    EXPECT_EQ(catalogue::findUnit("agent's unit"), nullptr);
}

TEST(Units, VocabulariesNameCodes) {
    ASSERT_NE(catalogue::findVocabulary("processor status"), nullptr);
    EXPECT_EQ(catalogue::findVocabulary("processor status")->codes[1].name, "enabled");
    EXPECT_EQ(catalogue::findVocabulary("yes or no"), nullptr);
}

TEST(Units, ACodeIsFoundByItsNameAndANameByItsCode) {
    const catalogue::Vocabulary& health = *catalogue::findVocabulary("health");
    EXPECT_EQ(catalogue::nameOf(health, 3), "failed");
    EXPECT_EQ(catalogue::nameOf(health, 77), "");
    EXPECT_EQ(catalogue::numberOf(health, "failed"), 3U);
    EXPECT_EQ(catalogue::numberOf(health, "broken"), std::nullopt);
}

}  // namespace
}  // namespace varnock::test
