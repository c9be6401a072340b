#include "agent/Responder.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "agent/FrameBuffer.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

bool holdsCommand(const SipJson& record) {
    constexpr unsigned kMissing = 0xFFFFFFFF;
    return record.GetCmdValue(0, "OC", kMissing) != kMissing;
}

Answer enrol(Session& session, const Command& command) {
    const auto expected =
        session.channel == Channel::requests ? varnock::Channel::request : varnock::Channel::event;
    Answer::Bytes options;
    if (command.extension != static_cast<unsigned>(expected) ||
        !command.record.GetDataStream(options) || options.size() != kRegistrationSize) {
        return Status::invalid;
    }
    const auto* name = reinterpret_cast<const char*>(options.data());
    session.client.assign(name, strnlen(name, kRegistrationNameSize));
    session.registered = true;
    Answer::Bytes reply(kRegistrationSize);
    std::copy_n(options.begin(), kRegistrationNameSize, reply.begin());
    const auto descriptor = static_cast<std::int32_t>(session.fd);
    std::memcpy(&reply[kRegistrationDescriptor], &descriptor, sizeof descriptor);
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
        // Setting a byte block removes the status.
        reply.SetRequestDataStream(*bytes);
        reply.SetStatus(status);
    }
    return reply.Export();
}

}  // namespace

Response Responder::respond(Session& session, const SipJson& request, std::optional<Status> given) {
    Answer answer = given ? Answer(*given) : this->answer(session, request);
    std::string text = compose(request, answer);
    if (!fitsFrame(text)) {
        text = compose(request, Status::noMemory);
    }
    return {std::move(text), std::move(answer.reason), std::move(answer.path)};
}

std::string Responder::reply(Session& session, const std::string& request) {
    SipJson record;
    record.Import(request.c_str());
    return respond(session, record).text;
}

Answer Responder::answer(Session& session, const SipJson& record) try {
    if (!holdsCommand(record)) {
        return Status::invalid;
    }
    const Command command{record.OpCode(), record.OpCodeExt(), record.ObjectId(),
                          record.CabinetNr(), record};
    return command.opcode == kRegisterOpcode ? enrol(session, command) : machine_.answer(command);
} catch (const std::bad_alloc&) {
    return Status::noMemory;
} catch (const std::exception& failure) {
    char program[64];
    std::snprintf(program, sizeof program, "varnock-agent: command 0x%04X", record.OpCode());
    console::say(program, failure.what());
    return Status::failed;
}

}  // namespace varnock::agent
