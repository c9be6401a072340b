#include "agent/Control.h"

#include <unistd.h>

#include "agent/Server.h"

namespace varnock::agent {
namespace {

std::string line(const char* name, std::size_t number) {
    return std::string(name) + ": " + std::to_string(number) + "\n";
}

}  // namespace

std::string Control::reply(Session&, const std::string& request) {
    const std::size_t end = std::min(request.find(' '), request.size());
    const std::string word = request.substr(0, end);
    if (word == "status") {
        return "ok " + status();
    }
    if (word == "event" && end < request.size()) {
        return pushEvent(request.substr(end + 1));
    }
    return "error no such request";
}

std::string Control::status() const {
    return "directory: " + server_.directory() + "\n" +
           line("process", static_cast<std::size_t>(getpid())) +
           line("request connections", server_.connections(Channel::requests)) +
           line("event connections", server_.connections(Channel::events)) +
           line("registered for events", server_.listeners()) +
           line("events pushed", server_.eventsPushed());
}

std::string Control::pushEvent(const std::string& text) {
    SipJson event;
    event.Import(text.c_str());
    constexpr unsigned kMissing = 0xFFFFFFFF;
    if (event.GetCmdValue(0, "OC", kMissing) == kMissing) {
        return "error no command record";
    }
    try {
        return "ok " + line("listeners", server_.pushEvent(event));
    } catch (const FrameTooLong& failure) {
        return std::string("error ") + failure.what();
    }
}

}  // namespace varnock::agent
