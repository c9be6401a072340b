#include "CIM/Provider/Include/Exceptions.h"

#include <gtest/gtest.h>

#include <climits>
#include <exception>
#include <string>
#include <type_traits>
#include <vector>

#include "CIM/Provider/Include/MessageText.h"
#include "runtime/Debug.h"
#include "tests/support/EveryAllocation.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/VirtualSlot.h"

namespace provider {
namespace {

using varnock::test::TraceCapture;

const CimErrorException kDenied("f", 74, "m", CIM_ERR_ACCESS_DENIED);
const HandlerException kHandler("CIM/Provider/Include/KOLMClient", -3, "say \"no\"", -9);
const BaseException kBase("a.cpp", 1, "");

TEST(Exceptions, NameTheirClass) {
    EXPECT_STREQ(kBase.className().c_str(), "BaseException");
    EXPECT_STREQ(kHandler.className().c_str(), "HandlerException");
    EXPECT_STREQ(kDenied.className().c_str(), "CimErrorException");
}

TEST(Exceptions, FullTextGivesPlaceMessageAndNumber) {
    EXPECT_STREQ(kBase.fullText().c_str(), "file=\"a.cpp\" line=1 message=\"\"");
    EXPECT_STREQ(kHandler.fullText().c_str(),
                 "file=\"CIM/Provider/Include/KOLMClient\" line=-3 message=\"say \"no\"\" id=-9");
    EXPECT_STREQ(kDenied.fullText().c_str(), "file=\"f\" line=74 message=\"m\" cimErr=2");
}

TEST(Exceptions, ToStringPutsTheClassBeforeTheFullText) {
    EXPECT_STREQ(kDenied.toString().c_str(),
                 "CimErrorException: file=\"f\" line=74 message=\"m\" cimErr=2");
    EXPECT_STREQ(kBase.toString().c_str(), "BaseException: file=\"a.cpp\" line=1 message=\"\"");
}

TEST(Exceptions, ToStringAsksTheDerivedClass) {
    class Custom : public BaseException {
      public:
        Custom() : BaseException("f", 2, "m") {}
        cimple::String className() const override { return "Custom"; }
        cimple::String fullText() const override { return "text"; }
    };
    EXPECT_STREQ(Custom().toString().c_str(), "Custom: text");
}

TEST(Exceptions, NullFileNameShowsAsEmpty) {
    EXPECT_STREQ(BaseException(nullptr, 5, "m").fullText().c_str(),
                 "file=\"\" line=5 message=\"m\"");
}

TEST(Exceptions, WithoutMemoryForItsMessageItIsEmpty) {
    SKIP_IF_MALLOC_IS_REPLACED();
    using namespace varnock::test;
    const std::size_t failures = forEveryAllocation([](const FailingCallNumber& number) {
        FailingMalloc failure(number.n, number.times);
        const cimple::String message = varnock::messageText({"a long name of a call", ": failed"});
        failure.end();
        const bool happened = failure.happened();
        EXPECT_STREQ(message.c_str(), happened ? "" : "a long name of a call: failed");
        EXPECT_STREQ(BaseException("f", 1, message).fullText().c_str(),
                     happened ? "file=\"f\" line=1 message=\"\""
                              : "file=\"f\" line=1 message=\"a long name of a call: failed\"");
        return happened;
    });
    EXPECT_GT(failures, 0u);
}

TEST(Exceptions, CarryAnyCimError) {
    const CimErrorException odd("f", 1, "m", static_cast<CimError>(-4711));
    EXPECT_EQ(odd.getCimError(), static_cast<CimError>(-4711));
    EXPECT_STREQ(odd.fullText().c_str(), "file=\"f\" line=1 message=\"m\" cimErr=-4711");
}

TEST(Exceptions, CopiesAreIndependent) {
    HandlerException copy("x", 1, "y", 2);
    copy = kHandler;
    EXPECT_STREQ(copy.toString().c_str(), kHandler.toString().c_str());
    EXPECT_EQ(copy.getId(), -9);
    const CimErrorException other(kDenied);
    EXPECT_STREQ(other.toString().c_str(), kDenied.toString().c_str());
    EXPECT_EQ(other.getCimError(), CIM_ERR_ACCESS_DENIED);
}

TEST(Exceptions, DeriveFromNoStandardException) {
    EXPECT_FALSE((std::is_base_of_v<std::exception, BaseException>));
    EXPECT_FALSE((std::is_base_of_v<std::exception, HandlerException>));
    EXPECT_FALSE((std::is_base_of_v<std::exception, CimErrorException>));
}

TEST(Exceptions, NumberIsCaughtWithoutKnowingTheClass) {
    try {
        traceAndThrow(kHandler);
    } catch (const HandlerExceptionInfo& info) {
        EXPECT_EQ(info.getId(), -9);
    }
    try {
        traceAndThrow(kDenied);
    } catch (const CimErrorExceptionInfo& info) {
        EXPECT_EQ(info.getCimError(), CIM_ERR_ACCESS_DENIED);
    }
}

TEST(Exceptions, EveryClassIsCaughtAsItsBase) {
    EXPECT_THROW(traceAndThrow(kBase), BaseException);
    EXPECT_THROW(traceAndThrow(kHandler), BaseException);
    EXPECT_THROW(traceAndThrow(kDenied), BaseException);
}

TEST(Exceptions, ThrowingKeepsTheType) {
    EXPECT_THROW(traceAndThrow(kHandler), HandlerException);
    EXPECT_THROW(traceAndThrow(kDenied), CimErrorException);
}

TEST(Exceptions, ThrowingTracesTheText) {
    const TraceCapture trace(1);
    EXPECT_THROW(traceAndThrow(kDenied), CimErrorException);
    EXPECT_EQ(trace.messages(),
              (std::vector<std::string>{
                  "KRM_TBL             : traceAndThrow(): CimErrorException: file=\"f\" line=74 "
                  "message=\"m\" cimErr=2"}));
}

TEST(Exceptions, MessageIsNeverTakenAsAFormat) {
    const TraceCapture trace(1);
    EXPECT_THROW(traceAndThrow(BaseException("f", 1, "100%s%n")), BaseException);
    EXPECT_TRUE(trace.contains("message=\"100%s%n\""));
}

/// Counts the calls for its text.
class Costly : public BaseException {
  public:
    explicit Costly(int& built) : BaseException("f", 1, "m"), built_(&built) {}
    cimple::String fullText() const override {
        ++*built_;
        return BaseException::fullText();
    }

  private:
    int* built_;
};

TEST(Exceptions, TextIsBuiltOnlyWhenLevelOneIsTraced) {
    int built = 0;
    {
        const TraceCapture trace(0);
        EXPECT_THROW(traceAndThrow(Costly(built)), Costly);
        EXPECT_TRUE(trace.messages().empty());
    }
    EXPECT_EQ(built, 0);
    const TraceCapture trace(1);
    EXPECT_THROW(traceAndThrow(Costly(built)), Costly);
    EXPECT_EQ(built, 1);
}

TEST(NumberTexts, Decimal) {
    EXPECT_STREQ(toDecString(-1).c_str(), "-1");
    EXPECT_STREQ(toDecString(0).c_str(), "0");
    EXPECT_STREQ(toDecString(INT_MIN).c_str(), "-2147483648");
    EXPECT_STREQ(toDecString(0xFFFFFFFFu).c_str(), "4294967295");
}

TEST(NumberTexts, Hexadecimal) {
    EXPECT_STREQ(toHexString(-1).c_str(), "ffffffff");
    EXPECT_STREQ(toHexString(0).c_str(), "0");
    EXPECT_STREQ(toHexString(0xABCu).c_str(), "abc");
    EXPECT_STREQ(toHexString(0xFFFFFFFFu).c_str(), "ffffffff");
}

TEST(NumberTexts, AreCutWhenAFormatAsksForTooMuch) {
    const char* const volatile format = "%040d";  // hidden from the compiler, which would warn
    EXPECT_EQ(toStringImpl(format, 5).size(), 31u);
}

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
using varnock::test::virtualSlot;

TEST(Exceptions, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&BaseException::toString), 2u);
    EXPECT_EQ(virtualSlot(&BaseException::className), 3u);
    EXPECT_EQ(virtualSlot(&BaseException::fullText), 4u);
    EXPECT_EQ(virtualSlot(&HandlerExceptionInfo::getId), 0u);
    EXPECT_EQ(virtualSlot(&CimErrorExceptionInfo::getCimError), 0u);
    EXPECT_EQ(virtualSlot(&HandlerException::className), 3u);
    EXPECT_EQ(virtualSlot(&HandlerException::fullText), 4u);
    EXPECT_EQ(virtualSlot(&HandlerException::getId), 5u);
    EXPECT_EQ(virtualSlot(&CimErrorException::className), 3u);
    EXPECT_EQ(virtualSlot(&CimErrorException::fullText), 4u);
    EXPECT_EQ(virtualSlot(&CimErrorException::getCimError), 5u);
    EXPECT_EQ(virtualSlot(&BaseException::trace), varnock::test::kNotVirtual);
}
#endif

}  // namespace
}  // namespace provider
