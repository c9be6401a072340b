#include <gtest/gtest.h>
#include <pthread.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/Exceptions.h"
#include "tests/support/PosixThread.h"
#include "tests/support/TraceCapture.h"
#include "transport/SipJson.h"

namespace {

using varnock::test::TraceCapture;

class Recorder : public provider::KOLMEventsListener {
  public:
    virtual ~Recorder() = default;
    void onSystemMessageLogEntry(unsigned int sequenceNumber) override {
        systemLog.push_back(sequenceNumber);
    }
    void onDriverMonitorLogEntry(unsigned int sequenceNumber) override {
        driverLog.push_back(sequenceNumber);
    }

    std::vector<unsigned int> systemLog;
    std::vector<unsigned int> driverLog;
};

using Numbers = std::vector<unsigned int>;

std::string pointerText(const void* pointer) {
    char text[32];
    snprintf(text, sizeof text, "%p", pointer);
    return text;
}

SipJson& fill(SipJson& event, unsigned int opcode, unsigned int sequenceNumber) {
    event.SetCmd(opcode, 0, 0, 0, SipJson::noStatus);
    event.SetDataDWord(sequenceNumber, 0);
    return event;
}

class CIMKolmClientEvents : public testing::Test {
  protected:
    void deliver(unsigned int opcode, unsigned int sequenceNumber) {
        SipJson event;
        client.Event(fill(event, opcode, sequenceNumber));
    }

    CCIMKolmClient client;
    Recorder listener;
};

TEST_F(CIMKolmClientEvents, SystemMessageLogEntryGoesToTheListener) {
    client.setListener(&listener);
    const TraceCapture trace(5);
    deliver(0x0B11, 0xDEADBEEF);
    EXPECT_EQ(listener.systemLog, Numbers{0xDEADBEEF});
    EXPECT_TRUE(listener.driverLog.empty());
    EXPECT_EQ(
        trace.messages(),
        (std::vector<std::string>{"KRM_TBL             : CCIMKolmClient::Event(): OpCode=b11",
                                  "KRM_TBL             : CCIMKolmClient::Event(): nSeqNr=deadbeef",
                                  "KRM_TBL             : CCIMKolmClient::Event(): " +
                                      pointerText(&listener) + "->onSystemMessageLogEntry(b11)"}));
}

TEST_F(CIMKolmClientEvents, DriverMonitorLogEntryGoesToTheListener) {
    client.setListener(&listener);
    const TraceCapture trace(5);
    deliver(0x181B, 17);
    EXPECT_EQ(listener.driverLog, Numbers{17});
    EXPECT_TRUE(listener.systemLog.empty());
    EXPECT_EQ(
        trace.messages(),
        (std::vector<std::string>{"KRM_TBL             : CCIMKolmClient::Event(): OpCode=181b",
                                  "KRM_TBL             : CCIMKolmClient::Event(): nSeqNr=11",
                                  "KRM_TBL             : CCIMKolmClient::Event(): " +
                                      pointerText(&listener) + "->onDriverMonitorLogEntry(181b)"}));
}

TEST_F(CIMKolmClientEvents, UnknownEventIsDropped) {
    client.setListener(&listener);
    const TraceCapture trace(1);
    deliver(0x0B12, 1);
    EXPECT_TRUE(listener.systemLog.empty() && listener.driverLog.empty());
    EXPECT_EQ(trace.messages(),
              std::vector<std::string>{
                  "KRM_TBL             : CCIMKolmClient::Event(): unknown OpCode=b12"});
}

TEST_F(CIMKolmClientEvents, EventWithoutDataIsDropped) {
    client.setListener(&listener);
    const TraceCapture trace(1);
    SipJson event(0x0B11, 0, 0, 0, 0);
    client.Event(event);
    EXPECT_TRUE(listener.systemLog.empty());
    EXPECT_EQ(trace.messages(),
              std::vector<std::string>{
                  "KRM_TBL             : CCIMKolmClient::Event(): !Sip.HasReplyData()"});
}

TEST_F(CIMKolmClientEvents, EventWithDataButWithoutSuccessIsDropped) {
    client.setListener(&listener);
    SipJson event;
    fill(event, 0x0B11, 1).SetStatus(5);
    client.Event(event);
    SipJson silent;
    silent.Import(R"({"SIP":{"V":1,"CMD":[{"OC":2833,"DA":1}]}})");
    client.Event(silent);
    EXPECT_TRUE(listener.systemLog.empty());
}

TEST_F(CIMKolmClientEvents, EventWithoutListenerIsDropped) {
    const TraceCapture trace(1);
    deliver(0x181B, 1);
    deliver(0x0B11, 1);
    EXPECT_EQ(trace.messages(),
              std::vector<std::string>(2, "KRM_TBL             : CCIMKolmClient::Event(): !mSel"));
}

TEST_F(CIMKolmClientEvents, MalformedEventIsDropped) {
    client.setListener(&listener);
    for (const char* text : {"", "{", "5", "[]", "{\"SIP\":{\"V\":1,\"CMD\":[]}}",
                             "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":\"x\",\"ST\":0,\"DA\":1}]}}"}) {
        SipJson event;
        event.Import(text);
        client.Event(event);
    }
    EXPECT_TRUE(listener.systemLog.empty() && listener.driverLog.empty());
}

TEST_F(CIMKolmClientEvents, SettingAListenerReturnsTheOneBefore) {
    Recorder second;
    const TraceCapture trace(5);
    EXPECT_EQ(client.setListener(&listener), nullptr);
    EXPECT_EQ(client.setListener(&second), &listener);
    EXPECT_EQ(client.setListener(nullptr), &second);
    const std::string tag = "KRM_TBL             : CCIMKolmClient::setListener(): mSel=";
    EXPECT_EQ(trace.messages(), (std::vector<std::string>{
                                    tag + pointerText(nullptr) + ", sel=" + pointerText(&listener),
                                    tag + pointerText(&listener) + ", sel=" + pointerText(&second),
                                    tag + pointerText(&second) + ", sel=" + pointerText(nullptr)}));
}

TEST_F(CIMKolmClientEvents, EventsGoToTheListenerOfTheMoment) {
    Recorder second;
    client.setListener(&listener);
    deliver(0x0B11, 1);
    client.setListener(&second);
    deliver(0x0B11, 2);
    client.setListener(nullptr);
    deliver(0x0B11, 3);
    EXPECT_EQ(listener.systemLog, Numbers{1});
    EXPECT_EQ(second.systemLog, Numbers{2});
}

/// Throws an exception selected by the event's number.
class Thrower final : public Recorder {
  public:
    void onSystemMessageLogEntry(unsigned int sequenceNumber) override {
        if (sequenceNumber == 1) {
            throw provider::HandlerException("f", 1, "m", 2);
        }
        if (sequenceNumber == 2) {
            throw std::runtime_error("why");
        }
        Recorder::onSystemMessageLogEntry(sequenceNumber);
    }
};

TEST_F(CIMKolmClientEvents, ProviderExceptionOfTheListenerIsTracedWithItsText) {
    Thrower thrower;
    client.setListener(&thrower);
    const TraceCapture trace(1);
    deliver(0x0B11, 1);
    deliver(0x0B11, 3);
    EXPECT_EQ(thrower.systemLog, Numbers{3});
    EXPECT_EQ(
        trace.messages(),
        std::vector<std::string>{
            "KRM_TBL             : CCIMKolmClient::Event(): listener " + pointerText(&thrower) +
            " failed: HandlerException: file=\"f\" line=1 message=\"m\" id=2"});
}

TEST_F(CIMKolmClientEvents, OtherExceptionsOfTheListenerAreLeftToTheEventThread) {
    Thrower thrower;
    client.setListener(&thrower);
    EXPECT_THROW(deliver(0x0B11, 2), std::runtime_error);
}

/// Cancels the calling thread.
class Canceller final : public Recorder {
  public:
    void onDriverMonitorLogEntry(unsigned int) override {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }
};

TEST_F(CIMKolmClientEvents, CancellationPassesTheListenerCall) {
    Canceller canceller;
    client.setListener(&canceller);
    varnock::test::PosixThread thread([this] { deliver(0x181B, 1); });
    EXPECT_TRUE(thread.join());
}

TEST_F(CIMKolmClientEvents, NothingIsTracedWhenTraceIsOff) {
    client.setListener(&listener);
    const TraceCapture trace(0);
    deliver(0x0B11, 1);
    deliver(0x0B12, 1);
    EXPECT_EQ(listener.systemLog, Numbers{1});
    EXPECT_TRUE(trace.messages().empty());
}

}  // namespace
