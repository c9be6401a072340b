#include "cli/calls/Verdict.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

Exchange answered(unsigned int status, bool hasData, bool isNumber) {
    Exchange exchange;
    exchange.result = status == 0 ? 0 : 2;
    exchange.status = status;
    exchange.hasData = hasData;
    exchange.isNumber = isNumber;
    return exchange;
}

Verdict judged(const char* name, const Json& value, const std::vector<Exchange>& exchanges) {
    return judge(*findCall(name), value, exchanges);
}

TEST(Verdict, AReadingOfZeroIsAReading) {
    const Verdict verdict = judged("getFanStatus", Json(0U), {answered(0, true, true)});
    EXPECT_EQ(verdict.status, ExitStatus::done);
    EXPECT_EQ(verdict.reason, "");
}

TEST(Verdict, AZeroWithoutDataIsNotAReading) {
    const Verdict verdict = judged("getFanStatus", Json(0U), {answered(0, false, false)});
    EXPECT_EQ(verdict.status, ExitStatus::notAvailable);
    EXPECT_EQ(verdict.reason, "the reply holds no data");
}

TEST(Verdict, TheStatusOfTheReplyGivesTheReason) {
    const std::pair<unsigned int, ExitStatus> rows[] = {
        {1, ExitStatus::refused},       {3, ExitStatus::noAgent},
        {6, ExitStatus::noAgent},       {9, ExitStatus::unintelligible},
        {15, ExitStatus::timeout},      {17, ExitStatus::refused},
        {19, ExitStatus::notAvailable}, {22, ExitStatus::unintelligible},
        {24, ExitStatus::permission},   {25, ExitStatus::notAvailable},
        {4711, ExitStatus::refused}};
    for (const auto& [status, expected] : rows) {
        const Verdict verdict = judged("getFanStatus", Json(0U), {answered(status, false, false)});
        EXPECT_EQ(verdict.status, expected) << status;
        EXPECT_TRUE(verdict.reason.starts_with("status " + std::to_string(status) + ": "));
    }
}

TEST(Verdict, DataOfAnotherKindCannotBeUnderstood) {
    EXPECT_EQ(judged("getFanStatus", Json(0U), {answered(0, true, false)}).status,
              ExitStatus::unintelligible);
    EXPECT_EQ(judged("getFanName", Json(), {answered(0, true, true)}).status,
              ExitStatus::unintelligible);
}

TEST(Verdict, AnActionIsDoneWhenItsRequestWas) {
    EXPECT_EQ(judged("doClearLog", Json(true), {answered(0, false, false)}).status,
              ExitStatus::done);
    EXPECT_EQ(
        judged("doClearLog", Json(true), {answered(0, false, false), answered(1, false, false)})
            .status,
        ExitStatus::refused);
}

TEST(Verdict, AListThatCameInSpiteOfAFailureStays) {
    Json list(rapidjson::kArrayType);
    JsonDocument document;
    list.PushBack(1, document.GetAllocator());
    EXPECT_EQ(
        judged("getCabNrs", list, {answered(0, true, true), answered(19, false, false)}).status,
        ExitStatus::done);
}

TEST(Verdict, ACallWithoutACommandHasNoValue) {
    EXPECT_EQ(judged("getFanInstanceID", Json(), {}).status, ExitStatus::notAvailable);
    EXPECT_EQ(judged("setConfAlarmQORVAId", Json(true), {}).status, ExitStatus::done);
}

}  // namespace
}  // namespace varnockctl
