#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "tests/support/CallTable.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {

/// The tag that every trace message of the provider layer begins with.
inline const std::string kTag = "KRM_TBL             : ";

/// Calls over a client that records and replies as told. The request of construction is forgotten.
class CallsTest : public testing::Test {
  protected:
    CallsTest() { client.takeSent(); }

    /// The exception text of a call that throws a BaseException; "" when it does not.
    template <class Call>
    static std::string failureOf(const Call& call) {
        try {
            call();
        } catch (const provider::BaseException& exception) {
            return exception.toString().c_str();
        }
        return "";
    }

    RecordingClient client;
    ShPtr<provider::KOLMCalls> calls = provider::newKOLMCalls(&client);
    const provider::KOLMKey key{0x11, 0x22, 0x33};
};

/// A message of the trace, without what the trace puts before it.
inline std::string message(const std::string& text) {
    return kTag + text;
}

/// Matches the text of a BaseException of this layer with this message.
inline auto isFailure(const std::string& text) {
    return testing::AllOf(
        testing::StartsWith("BaseException: file=\"CIM/Provider/Include/KOLMCalls\" line="),
        testing::EndsWith(" message=\"" + text + "\""));
}

}  // namespace varnock::test
