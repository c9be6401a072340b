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

/// The tag at the start of every trace message of the provider layer.
inline const std::string kTag = "KRM_TBL             : ";

/// Calls on a recording client with scripted replies. The request of the construction is discarded.
class RecordedCalls : public testing::Test {
  protected:
    RecordedCalls() { client.takeSent(); }

    /// The text of the BaseException that a call throws; "" if it throws none.
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

/// A trace message of this layer, without the header of the trace entry.
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
