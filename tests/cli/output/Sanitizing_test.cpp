#include "cli/output/Sanitizing.h"

#include <gtest/gtest.h>

#include "cli/calls/Catalogue.h"

namespace varnockctl {
namespace {

JsonDocument parsed(const char* text) {
    JsonDocument document;
    document.Parse(text);
    return document;
}

void learn(const char* call, const char* value) {
    sanitizing::learn(*findCall(call), parsed(value));
}

// One test: what has begun does not end within a process.
TEST(Sanitizing, ReplacesWhatWasLearnedInTextsAndValues) {
    learn("getChassisSerialNumber", R"("EARLY123")");
    sanitizing::learnHost("early.example");
    JsonDocument document =
        parsed(R"({"a":["SN123456",1],"b":{"c":"on 02:00:5E:10:20:40"},"d":"x"})");
    sanitizing::apply(document, document.GetAllocator());
    EXPECT_STREQ(document["a"][0].GetString(), "SN123456");
    EXPECT_EQ(sanitizing::text("SN123456"), "SN123456");
    EXPECT_FALSE(sanitizing::isOn());

    sanitizing::begin();
    EXPECT_TRUE(sanitizing::isOn());
    learn("getChassisSerialNumber", R"("SN123456")");
    learn("getFanDesignation", R"("Fan One")");
    learn("getNetworkInfoIfIpAddress", "[203,0,113,40]");
    learn("getNetworkInfoIfIpAddress", "[203,0,1130,40]");
    learn("getFanDesignation", R"([{"serialNumber":"ZX98765"}])");
    sanitizing::learnHost("rack7.example");
    sanitizing::learnHost("");
    sanitizing::apply(document, document.GetAllocator());
    const std::string replaced = document["a"][0].GetString();
    EXPECT_NE(replaced, "SN123456");
    EXPECT_EQ(replaced.size(), 8U);
    EXPECT_EQ(sanitizing::text("the SN123456"), "the " + replaced);
    EXPECT_EQ(std::string(document["b"]["c"].GetString()).find("02:00:5E:10:20:40"),
              std::string::npos);
    EXPECT_STREQ(document["d"].GetString(), "x");
    EXPECT_EQ(sanitizing::text("Fan One"), "Fan One");
    for (const char* secret : {"203.0.113.40", "ZX98765", "rack7.example"}) {
        EXPECT_EQ(sanitizing::text(std::string("at ") + secret + " now").find(secret),
                  std::string::npos)
            << secret;
    }
}

}  // namespace
}  // namespace varnockctl
