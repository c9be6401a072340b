#include "bench/support/SdBusPeer.h"

#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace varnock::bench {
namespace {

constexpr const char* kPath = "/varnock/bench";
constexpr const char* kInterface = "varnock.Bench";
constexpr const char* kMethod = "GetNumberFans";

const SdBusPeer* peer = nullptr;

int checked(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + strerror(-result));
    }
    return result;
}

int answer(sd_bus_message* call, void*, sd_bus_error*) {
    std::uint32_t opcode = 0;
    std::uint32_t extension = 0;
    std::uint32_t object = 0;
    std::uint32_t cabinet = 0;
    const int read = sd_bus_message_read(call, "uuuu", &opcode, &extension, &object, &cabinet);
    return read < 0 ? read
                    : sd_bus_reply_method_return(call, "uuuuuu", opcode, extension, object, cabinet,
                                                 0U, 4U);
}

const sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD(kMethod, "uuuu", "uuuuuu", answer, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

sd_bus* startBus(int descriptor, bool isServer) {
    sd_bus* bus = nullptr;
    checked(sd_bus_new(&bus), "sd_bus_new");
    checked(sd_bus_set_fd(bus, descriptor, descriptor), "sd_bus_set_fd");
    checked(sd_bus_set_anonymous(bus, 1), "sd_bus_set_anonymous");
    if (isServer) {
        checked(sd_bus_set_server(
                    bus, 1,
                    SD_ID128_MAKE(76, 61, 72, 6e, 6f, 63, 6b, 62, 65, 6e, 63, 68, 70, 65, 65, 72)),
                "sd_bus_set_server");
        checked(sd_bus_add_object_vtable(bus, nullptr, kPath, kInterface, kMethods, nullptr),
                "sd_bus_add_object_vtable");
    }
    checked(sd_bus_start(bus), "sd_bus_start");
    return bus;
}

[[noreturn]] void serve(int descriptor) {
    sd_bus* const bus = startBus(descriptor, true);
    for (;;) {
        const int handled = sd_bus_process(bus, nullptr);
        if (handled < 0 || (handled == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)) {
            _exit(0);
        }
    }
}

}  // namespace

SdBusPeer::SdBusPeer() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error("socketpair");
    }
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        serve(ends[1]);
    }
    close(ends[1]);
    bus_ = startBus(ends[0], false);
    peer = this;
}

SdBusPeer::~SdBusPeer() {
    peer = nullptr;
    sd_bus_close_unref(bus_);
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

int SdBusPeer::call() const {
    sd_bus_message* reply = nullptr;
    if (sd_bus_call_method(bus_, nullptr, kPath, kInterface, kMethod, nullptr, &reply, "uuuu",
                           0x0300U, 0U, 0U, 0U) < 0) {
        return -1;
    }
    std::uint32_t numbers[6] = {};
    const int read = sd_bus_message_read(reply, "uuuuuu", &numbers[0], &numbers[1], &numbers[2],
                                         &numbers[3], &numbers[4], &numbers[5]);
    sd_bus_message_unref(reply);
    return read < 0 ? -1 : static_cast<int>(numbers[5]);
}

const SdBusPeer& SdBusPeer::instance() {
    return *peer;
}

}  // namespace varnock::bench
