#include <KRM_TBLComputerSystem.h>
#include <cimple/cimple.h>
#include <gtest/gtest.h>

#include <string>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "tests/support/TraceCapture.h"
#include "transport/SipJson.h"

namespace provider {
namespace {

using varnock::test::TraceCapture;

constexpr unsigned int kOpcodeCabinetNr = 0xE204;
constexpr unsigned int kOpcodeComponentText = 0x0C00;

/// Answers the two commands from which the keys are built.
class FakeClient final : public KOLMClient {
  public:
    int request(SipJson& command) override {
        if (command.OpCode() == kOpcodeCabinetNr && cabinetKnown) {
            command.SetDataWord(9, 0);
            return KOLM_SUCCESS;
        }
        if (command.OpCode() == kOpcodeComponentText && !serialNumber.empty()) {
            EXPECT_EQ(command.CabinetNr(), 9u);
            command.SetDataString(serialNumber.c_str(), 0);
            return KOLM_SUCCESS;
        }
        command.SetStatus(5);
        return KOLM_FAILED;
    }
    KOLMEvents* events() override { return nullptr; }

    bool cabinetKnown = true;
    std::string serialNumber = "YK1234";
};

class ComputerSystemKeys : public testing::Test {
  protected:
    FakeClient client;
    ShPtr<KOLMCalls> calls = newKOLMCalls(&client);
};

TEST_F(ComputerSystemKeys, KeyIsTheCabinetAlone) {
    const KOLMKey key = createCSKey(calls.get());
    EXPECT_EQ(key.cabinetNr, 9u);
    EXPECT_EQ(key.objectId, 0u);
    EXPECT_EQ(key.opCodeExt, 0u);
}

TEST_F(ComputerSystemKeys, NameIsTheSerialNumberOfTheChassis) {
    const cimple::Ref<cimple::KRM_TBLComputerSystem> system = createComputerSystemKeys(calls.get());
    EXPECT_EQ(system.count(), 1u);
    EXPECT_EQ(system->Name.null, 0);
    EXPECT_STREQ(system->Name.value.c_str(), "YK1234");
    EXPECT_EQ(system->CreationClassName.null, 0);
    EXPECT_STREQ(system->CreationClassName.value.c_str(), "KRM_TBLComputerSystem");
}

TEST_F(ComputerSystemKeys, NothingElseIsSet) {
    const cimple::Ref<cimple::KRM_TBLComputerSystem> system = createComputerSystemKeys(calls.get());
    EXPECT_NE(system->EnabledState.null, 0);
    EXPECT_NE(system->RequestedState.null, 0);
    EXPECT_NE(system->EnabledDefault.null, 0);
    EXPECT_NE(system->OperationalStatus.null, 0);
    EXPECT_NE(system->Caption.null, 0);
}

TEST_F(ComputerSystemKeys, RaisesWithoutASerialNumber) {
    client.serialNumber.clear();
    const TraceCapture trace(1);
    try {
        createComputerSystemKeys(calls.get());
        FAIL() << "no exception";
    } catch (const BaseException& failure) {
        EXPECT_STREQ(failure.toString().c_str(),
                     "BaseException: file=\"CIM/Provider/Include/HelperComputerSystem\" line=17 "
                     "message=\"createComputerSystemKeys(): KRM_TBLComputerSystem.Name is NULL\"");
    }
    EXPECT_TRUE(trace.contains("KRM_TBL             : traceAndThrow(): BaseException: "));
}

TEST_F(ComputerSystemKeys, FailureOfTheCabinetNumberPasses) {
    client.cabinetKnown = false;
    try {
        createComputerSystemKeys(calls.get());
        FAIL() << "no exception";
    } catch (const BaseException& failure) {
        const std::string text = failure.toString().c_str();
        EXPECT_NE(text.find("getIdentificationCabinetNumber(): KolmRequest() failed"),
                  std::string::npos)
            << text;
    }
}

}  // namespace
}  // namespace provider
