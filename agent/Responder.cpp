#include "agent/Responder.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>

#include "agent/FrameBuffer.h"

namespace varnock::agent {
namespace {

constexpr unsigned kRegister = 0xFFA0;
constexpr unsigned kRequestChannel = 0x1100;
constexpr unsigned kEventChannel = 0x1200;

// The options block of a registration: the client's name, then its descriptor, the rest reserved.
constexpr std::size_t kOptionsSize = 224;
constexpr std::size_t kNameSize = 64;
constexpr std::size_t kDescriptorOffset = 68;

bool holdsCommand(const SipJson& record) {
    constexpr unsigned kMissing = 0xFFFFFFFF;
    return record.GetCmdValue(0, "OC", kMissing) != kMissing;
}

Answer enrol(Session& session, const Command& command) {
    const unsigned expected =
        session.channel == Channel::kRequests ? kRequestChannel : kEventChannel;
    Answer::Bytes options;
    if (command.extension != expected || !command.record.GetDataStream(options) ||
        options.size() != kOptionsSize) {
        return Status::kInvalid;
    }
    const auto* name = reinterpret_cast<const char*>(options.data());
    session.client.assign(name, strnlen(name, kNameSize));
    session.registered = true;
    Answer::Bytes reply(kOptionsSize);
    std::copy_n(options.begin(), kNameSize, reply.begin());
    const auto descriptor = static_cast<std::int32_t>(session.fd);
    std::memcpy(&reply[kDescriptorOffset], &descriptor, sizeof descriptor);
    return reply;
}

std::string compose(const SipJson& request, const Answer& answer) {
    const auto status = static_cast<unsigned>(answer.status);
    SipJson reply(request.OpCode(), request.OpCodeExt(), request.ObjectId(), request.CabinetNr(),
                  status);
    if (const auto* number = std::get_if<unsigned>(&answer.data)) {
        reply.SetDataDWord(*number, status);
    } else if (const auto* text = std::get_if<std::string>(&answer.data)) {
        reply.SetDataString(text->c_str(), status);
    } else if (const auto* bytes = std::get_if<Answer::Bytes>(&answer.data)) {
        // Setting a byte block takes the status away.
        reply.SetRequestDataStream(*bytes);
        reply.SetStatus(status);
    }
    return reply.Export();
}

}  // namespace

std::string Responder::reply(Session& session, const std::string& request) {
    SipJson record;
    record.Import(request.c_str());
    std::string text = compose(record, answer(session, record));
    return fitsFrame(text) ? text : compose(record, Status::kNoMemory);
}

Answer Responder::answer(Session& session, const SipJson& record) try {
    if (!holdsCommand(record)) {
        return Status::kInvalid;
    }
    const Command command{record.OpCode(), record.OpCodeExt(), record.ObjectId(),
                          record.CabinetNr(), record};
    return command.opcode == kRegister ? enrol(session, command) : machine_.answer(command);
} catch (const std::bad_alloc&) {
    return Status::kNoMemory;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "varnock-agent: command 0x%04X: %s\n", record.OpCode(), failure.what());
    return Status::kFailed;
}

}  // namespace varnock::agent
