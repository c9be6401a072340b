#include "transport/SwitchClient.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <new>

#include "runtime/Version.h"
#include "transport/AgentSocket.h"
#include "transport/channel/FrameBuffer.h"
#include "transport/channel/RequestChannel.h"
#include "transport/channel/TransportTrace.h"
#include "transport/client/EventThread.h"
#include "transport/record/RecordText.h"
#include "transport/record/ThreadMemory.h"

using varnock::CommandStatus;
using varnock::EventThread;
using varnock::FrameBuffer;
using varnock::RecordText;
using varnock::SpareBlock;
using varnock::traceAt;

namespace {

/// The frame of the longest accepted text is larger than RAGD_BUFFER_MAX by its header.
constexpr unsigned int kLargestFrame = CSwitchClient::RAGD_BUFFER_MAX + varnock::kFrameHeader;

/// The operation whose reply Reply() stores.
constexpr unsigned short kKeptReply = 0xE002;

/// The buffer of one request. The thread keeps it for its next request, unless a frame was long: of
/// a megabyte that is hardly used, the system provides only the first pages.
class RequestBuffer {
  public:
    RequestBuffer() {
        void* const spare = varnock::takeSpare(SpareBlock::frame);
        buffer_ = spare != nullptr ? FrameBuffer::adopt(spare) : FrameBuffer(kLargestFrame);
    }
    ~RequestBuffer() {
        if (buffer_ && isKept_) {
            varnock::keepSpare(SpareBlock::frame, buffer_.release());
        }
    }
    RequestBuffer(const RequestBuffer&) = delete;
    RequestBuffer& operator=(const RequestBuffer&) = delete;

    FrameBuffer& buffer() { return buffer_; }
    /// Call when the request is over: that many bytes of the buffer have been used.
    void keepAfter(std::size_t used) { isKept_ = used <= kKeptSize; }

  private:
    static constexpr std::size_t kKeptSize = 0x10000;

    FrameBuffer buffer_;
    bool isKept_ = false;
};

/// Writes the frame of a record. Returns the length of the text with its NUL; if it exceeds
/// RAGD_BUFFER_MAX, there is no frame.
std::size_t writeFrame(const SipJson& record, FrameBuffer& buffer) {
    varnock::TextSink sink(buffer.textBegin(), CSwitchClient::RAGD_BUFFER_MAX - 1);
    RecordText::write(record, sink);
    const std::size_t length = sink.size() + 1;
    if (sink.isInPlace()) {
        buffer.finish(sink.size());
    } else if (length <= CSwitchClient::RAGD_BUFFER_MAX) {
        buffer.put(sink.text());
    }
    return length;
}

/// Stores a failure in the record, which needs memory itself.
unsigned int fail(SipJson& cmd, unsigned int status) {
    try {
        cmd.SetStatus(status);
    } catch (const std::bad_alloc&) {
        // The caller still gets the status as the result.
    }
    return status;
}

unsigned int failForMemory(SipJson& cmd) {
    traceAt(1, "CSwitchClient::Request: ERROR No memory available\n");
    return fail(cmd, toNumber(CommandStatus::noMemory));
}

}  // namespace

CSwitchClient::CSwitchClient(const char* applicationName) {
    static_assert(sizeof(EventThread) <= sizeof eventThread_);
    static_assert(alignof(EventThread) <= alignof(std::max_align_t));
    new (eventThread_) EventThread([this](SipJson& event) { Event(event); });
    if (applicationName != nullptr && *applicationName != '\0') {
        SetApplicationName(applicationName);
    }
}

CSwitchClient::~CSwitchClient() {
    eventThread().~EventThread();
}

EventThread& CSwitchClient::eventThread() const {
    return *std::launder(reinterpret_cast<EventThread*>(eventThread_));
}

void CSwitchClient::Reply(unsigned short opcode, unsigned short opcodeExt, unsigned short,
                          unsigned short, unsigned char, unsigned char* data,
                          unsigned short dataLength) {
    unsigned short word = 0;
    if (opcode == kKeptReply && opcodeExt == 0 && dataLength == sizeof word && data != nullptr) {
        memcpy(&word, data, sizeof word);
        storedReplyWord_ = word;
    }
}

void CSwitchClient::Reply(SipJson&) {}

void CSwitchClient::Event(SipJson&) {}

bool CSwitchClient::SetApplicationName(const char* name) {
    if (name == nullptr) {
        return false;
    }
    eventThread().setName(name);
    return true;
}

int CSwitchClient::Attach() {
    SetClientName(TovQXObjectName);
    attached_ = 1;
    return 1;
}

int CSwitchClient::Detach() {
    attached_ = 0;
    OnUnload();
    return 1;
}

void CSwitchClient::OnUnload() {
    RagdClientDestroyTSD();
    RagdClientDestroyKEY();
}

bool CSwitchClient::IsAttached() const {
    return attached_ != 0;
}

unsigned int CSwitchClient::GetLastError() const {
    return 0;
}

unsigned int CSwitchClient::Request(SipJson& cmd, unsigned short timeoutMs, unsigned int,
                                    unsigned int extraTimeoutMs) {
    const unsigned int room = UINT_MAX - timeoutMs;
    try {
        return exchange(cmd, timeoutMs + std::min(extraTimeoutMs, room));
    } catch (const std::exception&) {
        return failForMemory(cmd);
    }
}

unsigned int CSwitchClient::exchange(SipJson& cmd, unsigned int timeoutMs) {
    RequestBuffer request;
    FrameBuffer& buffer = request.buffer();
    if (!buffer) {
        return failForMemory(cmd);
    }
    const std::size_t length = writeFrame(cmd, buffer);
    if (length > RAGD_BUFFER_MAX) {
        traceAt(1,
                "CSwitchClient::Request: ERROR Json-String exceeds memmory buffer, "
                "JsonStringLen=%d, RAGD_BUFFER_MAX=%d \n",
                static_cast<int>(length), static_cast<int>(RAGD_BUFFER_MAX));
        return fail(cmd, toNumber(CommandStatus::noMemory));
    }
    const unsigned int requestLength = buffer.length();
    const int received =
        varnock::sendRequest(buffer.frame(), kLargestFrame, RAGD_BUFFER_MAX, timeoutMs);
    if (received >= 0) {
        request.keepAfter(std::max(length, static_cast<std::size_t>(received)));
    }
    const unsigned int status =
        received < 0 ? fail(cmd, static_cast<unsigned int>(-received))
                     : acceptReply(cmd, buffer.text(static_cast<std::size_t>(received)));
    if (Debug.IsOn(1)) {
        Debug.Print(1,
                    "CSwitchClient::Request: Receive response OC=0x%04X, OE=0x%04X, CB=0x%08X, "
                    "OI=0x%08X, Status=0x%04X, len=%d\n",
                    cmd.OpCode(), cmd.OpCodeExt(), cmd.CabinetNr(), cmd.ObjectId(), cmd.Status(),
                    received < 0 ? requestLength : buffer.length());
    }
    return status;
}

unsigned int CSwitchClient::acceptReply(SipJson& cmd, char* text) {
    RecordText::import(cmd, text);
    const unsigned int status = cmd.Status();
    if (status == CommandStatus::success) {
        return status;
    }
    if (status == CommandStatus::successToo) {
        cmd.SetStatus(toNumber(CommandStatus::success));
        return cmd.Status();
    }
    if (Debug.IsOn(1)) {
        Debug.Print(1,
                    "CSwitchClient::Request: Got Unexpected Status of Command OC=0x%04X, "
                    "OE=0x%04X (Status=0x%02X)\n",
                    cmd.OpCode(), cmd.OpCodeExt(), status);
    }
    return status;
}

bool CSwitchClient::EnableEvents(int enable, int) {
    return eventThread().enable(enable != 0);
}

void CSwitchClient::WakeupThread_EventMain() {
    eventThread().wake();
}

void CSwitchClient::CloseEventTerminatePipe() {
    eventThread().closePipe();
}

void* CSwitchClient::Thread_EventMain(void* context) {
    auto* const client = static_cast<CSwitchClient*>(context);
    return EventThread::entry(client != nullptr ? &client->eventThread() : nullptr);
}

void CSwitchClient::EventMain() {
    eventThread().serve();
}

void CSwitchClient::StopEventThread() {
    eventThread().stop();
}

int CSwitchClient::EventFd() const {
    return eventThread().eventFd();
}
