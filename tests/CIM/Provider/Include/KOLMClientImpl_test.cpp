#include "CIM/Provider/Include/KOLMClientImpl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/Exceptions.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/VirtualSlot.h"
#include "transport/SipJson.h"

namespace provider {
namespace {

using varnock::test::TraceCapture;

/// A client object with scripted results.
class FakeKolm final : public IVirtualKOLM {
  public:
    int Attach(std::string name, int impersonate) override {
        names.push_back(std::move(name));
        EXPECT_EQ(impersonate, 1);
        if (attachResult == KOLM_SUCCESS) {
            ++attaches;
        }
        return attachResult;
    }
    int Detach() override {
        --attaches;
        ++detaches;
        return KOLM_SUCCESS;
    }
    int KolmRequest(SipJson& command) override {
        ++requests;
        command.SetStatus(77);
        return requestResult;
    }
    KOLMEvents* kolmEvents() override { return &KOLMSwitch; }

    int attachResult = KOLM_SUCCESS;
    int requestResult = KOLM_SUCCESS;
    int attaches = 0;
    int detaches = 0;
    int requests = 0;
    std::vector<std::string> names;
};

class ClientOverFakeKolm : public testing::Test {
  protected:
    ClientOverFakeKolm() { current = &kolm; }
    ~ClientOverFakeKolm() override { current = nullptr; }

    static int giveFake(IVirtualKOLM** out) {
        *out = current;
        return KOLM_SUCCESS;
    }
    static int giveNothing(IVirtualKOLM**) { return KOLM_FAILED; }

    /// The text of the exception that a request throws; empty if it throws none.
    static std::string requestFailure(KOLMClient& client) {
        SipJson record(0x0300, 0, 0, 0, SipJson::noStatus);
        try {
            client.request(record);
        } catch (const BaseException& failure) {
            return failure.toString().c_str();
        }
        return "";
    }

    static FakeKolm* current;
    FakeKolm kolm;
};

FakeKolm* ClientOverFakeKolm::current = nullptr;

TEST_F(ClientOverFakeKolm, HoldsOneAttachForItsLife) {
    {
        KOLMClientImpl client("name", giveFake);
        EXPECT_EQ(kolm.attaches, 1);
        SipJson record;
        EXPECT_EQ(client.request(record), 0);
        EXPECT_EQ(client.request(record), 0);
        EXPECT_EQ(kolm.attaches, 1);
    }
    EXPECT_EQ(kolm.attaches, 0);
    EXPECT_EQ(kolm.detaches, 1);
    EXPECT_EQ(kolm.names, std::vector<std::string>{"name"});
}

TEST_F(ClientOverFakeKolm, TracesItsLife) {
    const TraceCapture trace(5);
    { const KOLMClientImpl client("name", giveFake); }
    EXPECT_EQ(trace.messages(), (std::vector<std::string>{
                                    "KRM_TBL             : KOLMClientImpl::KOLMClientImpl()",
                                    "KRM_TBL             : KOLMClientImpl::~KOLMClientImpl()"}));
}

TEST_F(ClientOverFakeKolm, RaisesWhenThereIsNoWayToTheAgent) {
    const TraceCapture trace(1);
    EXPECT_THROW(KOLMClientImpl("name", giveNothing), BaseException);
    ASSERT_EQ(trace.messages().size(), 1u);
    EXPECT_TRUE(
        trace.contains("KRM_TBL             : traceAndThrow(): BaseException: "
                       "file=\"CIM/Provider/Include/KOLMClient\" line="));
    EXPECT_TRUE(trace.contains("message=\"KOLMClientImpl(): GetKolmClient() failed\""));
}

TEST_F(ClientOverFakeKolm, FailedAttachIsOnlyTracedAtFirst) {
    kolm.attachResult = KOLM_FAILED;
    const TraceCapture trace(1);
    { const KOLMClientImpl client("name", giveFake); }
    EXPECT_EQ(trace.messages(),
              std::vector<std::string>{"KRM_TBL             : Failed to attach Kolm Client"});
    EXPECT_EQ(kolm.detaches, 0);
}

TEST_F(ClientOverFakeKolm, EachRequestTriesTheAttachAgain) {
    kolm.attachResult = KOLM_ACCESS_DENIED;
    KOLMClientImpl client("name", giveFake);
    const std::string failure = requestFailure(client);
    EXPECT_NE(failure.find("BaseException: file=\"CIM/Provider/Include/KOLMClient\" line="),
              std::string::npos)
        << failure;
    EXPECT_NE(failure.find("message=\"AttachClientIfNecessary(): Attach() failed\""),
              std::string::npos)
        << failure;
    EXPECT_NE(requestFailure(client), "");
    EXPECT_EQ(kolm.requests, 0);

    kolm.attachResult = KOLM_SUCCESS;
    EXPECT_EQ(requestFailure(client), "");
    EXPECT_EQ(requestFailure(client), "");
    EXPECT_EQ(kolm.requests, 2);
    EXPECT_EQ(kolm.attaches, 1);
    EXPECT_EQ(kolm.names, std::vector<std::string>(4, "name"));
}

TEST_F(ClientOverFakeKolm, RefusedRequestRaisesAccessDenied) {
    KOLMClientImpl client("name", giveFake);
    kolm.requestResult = KOLM_ACCESS_DENIED;
    SipJson record;
    const TraceCapture trace(1);
    try {
        client.request(record);
        FAIL() << "no exception";
    } catch (const CimErrorException& denied) {
        EXPECT_EQ(denied.getCimError(), CIM_ERR_ACCESS_DENIED);
        const std::string text = denied.toString().c_str();
        EXPECT_NE(text.find("message=\"KOLMClientImpl(): KolmRequest() failed\" cimErr=2"),
                  std::string::npos)
            << text;
        EXPECT_NE(text.find("file=\"CIM/Provider/Include/KOLMClient\""), std::string::npos);
    }
    EXPECT_TRUE(trace.contains("traceAndThrow(): CimErrorException: "));
}

TEST_F(ClientOverFakeKolm, OtherFailuresAreReturned) {
    KOLMClientImpl client("name", giveFake);
    kolm.requestResult = KOLM_FAILED;
    SipJson record(0x0300, 0, 0, 0, SipJson::noStatus);
    EXPECT_EQ(client.request(record), 2);
    EXPECT_EQ(record.Status(), 77u);
}

TEST_F(ClientOverFakeKolm, GivesTheEventsOfItsWay) {
    KOLMClientImpl client("name", giveFake);
    EXPECT_EQ(client.events(), static_cast<KOLMEvents*>(&KOLMSwitch));
}

/// An attach succeeds at the second try of each thread, and only while both threads are attaching.
class MeetingKolm final : public IVirtualKOLM {
  public:
    int Attach(std::string, int) override {
        if (first.exchange(false)) {
            return KOLM_FAILED;
        }
        meeting.arrive_and_wait();
        ++attaches;
        return KOLM_SUCCESS;
    }
    int Detach() override {
        --attaches;
        return KOLM_SUCCESS;
    }
    int KolmRequest(SipJson&) override { return KOLM_SUCCESS; }
    KOLMEvents* kolmEvents() override { return nullptr; }

    std::atomic<bool> first = true;
    std::barrier<> meeting{2};
    std::atomic<int> attaches = 0;
};

MeetingKolm meetingKolm;

TEST(KOLMClientImpl, TwoThreadsThatAttachTogetherKeepOneAttach) {
    {
        KOLMClientImpl client("name", [](IVirtualKOLM** out) {
            *out = &meetingKolm;
            return static_cast<int>(KOLM_SUCCESS);
        });
        const auto send = [&client] {
            SipJson record;
            EXPECT_EQ(client.request(record), 0);
        };
        std::thread other(send);
        send();
        other.join();
        EXPECT_EQ(meetingKolm.attaches, 1);
    }
    EXPECT_EQ(meetingKolm.attaches, 0);
}

TEST(KOLMClient, ToleratesOnlyTheOrdinaryNegativeAnswers) {
    SipJson record(0x0301, 0, 0, 0, 0);
    for (unsigned int status = 0; status < 300; ++status) {
        record.SetStatus(status);
        EXPECT_EQ(KOLMClient::notThrowStatus(record), status == 19 || status == 25) << status;
    }
    SipJson withoutStatus(0x0301, 0, 0, 0, SipJson::noStatus);
    EXPECT_FALSE(KOLMClient::notThrowStatus(withoutStatus));
}

TEST(KolmClientFactory, GivesTheLocalClient) {
    IVirtualKOLM* client = nullptr;
    EXPECT_EQ(KolmClientFactory::GetKolmClient(&client), 0);
    EXPECT_EQ(client, &LocalKolmClient);
}

TEST(KolmClientFactory, RefusesANullPointer) {
    EXPECT_EQ(KolmClientFactory::GetKolmClient(nullptr), 3);
}

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
using varnock::test::virtualSlot;

TEST(KOLMClient, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&KOLMClient::request), 0u);
    EXPECT_EQ(virtualSlot(&KOLMClient::events), 1u);
    struct Next : KOLMClient {
        virtual void next() = 0;
    };
    EXPECT_EQ(virtualSlot(&Next::next), 4u);
}

TEST(IVirtualKOLM, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&IVirtualKOLM::Attach), 0u);
    EXPECT_EQ(virtualSlot(&IVirtualKOLM::Detach), 1u);
    EXPECT_EQ(virtualSlot(&IVirtualKOLM::KolmRequest), 2u);
    EXPECT_EQ(virtualSlot(&IVirtualKOLM::kolmEvents), 3u);
    struct Next final : CLocalKOLM {
        virtual void next() {}
    };
    EXPECT_EQ(virtualSlot(&Next::next), 6u);
}

TEST(KOLMEvents, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&KOLMEvents::enableEvents), 0u);
    EXPECT_EQ(virtualSlot(&KOLMEvents::disableEvents), 1u);
    EXPECT_EQ(virtualSlot(&KOLMEvents::setListener), 2u);
    struct Next : KOLMEvents {
        virtual void next() = 0;
    };
    EXPECT_EQ(virtualSlot(&Next::next), 5u);
}

TEST(KOLMEventsListener, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&KOLMEventsListener::onSystemMessageLogEntry), 0u);
    EXPECT_EQ(virtualSlot(&KOLMEventsListener::onDriverMonitorLogEntry), 1u);
    struct Next : KOLMEventsListener {
        virtual void next() = 0;

      protected:
        ~Next() = default;
    };
    EXPECT_EQ(virtualSlot(&Next::next), 2u);
}

TEST(CCIMKolmClient, VirtualOperationsStandInOrder) {
    EXPECT_EQ(virtualSlot(&CCIMKolmClient::Event), 4u);
    EXPECT_EQ(virtualSlot(&CCIMKolmClient::enableEvents), 5u);
    EXPECT_EQ(virtualSlot(&CCIMKolmClient::disableEvents), 6u);
    EXPECT_EQ(virtualSlot(&CCIMKolmClient::setListener), 7u);
}
#endif

}  // namespace
}  // namespace provider
