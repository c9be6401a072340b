#include "examples/provider/Guarded.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace varnock::test {
namespace {

using provider::BaseException;

/// The result of an operation that throws this.
template <class Exception>
int statusOf(const Exception& exception) {
    cimple::Error::clear();
    return krm::guarded<cimple::Get_Instance_Status>(
        provider::toGetInstanceStatus, [&]() -> cimple::Get_Instance_Status { throw exception; });
}

TEST(Guarded, GivesStatusAndMessage) {
    EXPECT_EQ(statusOf(provider::CimErrorException("f", 1, "no", provider::CIM_ERR_ACCESS_DENIED)),
              cimple::GET_INSTANCE_ACCESS_DENIED);
    EXPECT_STREQ(cimple::Error::get(), "message=\"no\" cimErr=2");
    EXPECT_EQ(statusOf(BaseException("f", 1, "broken")), cimple::GET_INSTANCE_FAILED);
    EXPECT_STREQ(cimple::Error::get(), "message=\"broken\"");
    EXPECT_EQ(statusOf(std::runtime_error("other")), cimple::GET_INSTANCE_FAILED);
    EXPECT_STREQ(cimple::Error::get(), "other");
}

TEST(Guarded, CutsTheTextBelowWhatEndsTheProcess) {
    const std::string longText(300, 'x');
    statusOf(BaseException("f", 1, longText.c_str()));
    EXPECT_EQ(std::strlen(cimple::Error::get()), 127U);
    statusOf(std::runtime_error(longText));
    EXPECT_EQ(std::strlen(cimple::Error::get()), 127U);
    krm::setErrorText("100 %s");
    EXPECT_STREQ(cimple::Error::get(), "100 %s");
}

TEST(Guarded, CutsBetweenCharacters) {
    const std::string head(125, 'x');
    EXPECT_EQ(krm::shortened((head + "ab").c_str()), head + "ab");
    EXPECT_EQ(krm::shortened((head + "abc").c_str()), head + "ab");
    EXPECT_EQ(krm::shortened((head + "\xC3\xA4").c_str()), head + "\xC3\xA4");
    EXPECT_EQ(krm::shortened((head + "a\xC3\xA4").c_str()), head + "a");
    EXPECT_EQ(krm::shortened((head + "\xE2\x82\xAC").c_str()), head);
    EXPECT_EQ(krm::shortened((head + "\xF0\x9F\x98\x80").c_str()), head);
    EXPECT_EQ(krm::shortened((std::string(124, 'x') + "\xF0\x9F\x98\x80").c_str()),
              std::string(124, 'x'));
}

TEST(Guarded, CutsTextThatIsNotUtf8) {
    EXPECT_GE(krm::shortened(std::string(300, '\x80').c_str()).size(), 124U);
    EXPECT_EQ(krm::shortened(std::string(300, '\xFF').c_str()).size(), 127U);
}

}  // namespace
}  // namespace varnock::test
