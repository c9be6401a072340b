#include "tests/soak/Load.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <utility>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "runtime/Debug.h"
#include "tests/soak/Sockets.h"
#include "tests/support/CallTable.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

namespace varnock::soak {
namespace {

using test::CallArguments;
using test::CallEntry;

/// The documented failures of a request, those of a plain frame, and of a typed call.
constexpr CommandStatus kStatuses[] = {
    CommandStatus::failed,       CommandStatus::invalid,         CommandStatus::noChannel,
    CommandStatus::wrongState,   CommandStatus::hungUp,          CommandStatus::transferFailed,
    CommandStatus::timedOut,     CommandStatus::noMemory,        CommandStatus::notAvailable,
    CommandStatus::missing,      CommandStatus::notAllowed,      CommandStatus::noSuchObject,
    CommandStatus::accessDenied, CommandStatus::successOfRecord, CommandStatus::successUndefined};
constexpr int kFrameResults[] = {-3, -6, -9, -15};
constexpr int kCimErrors[] = {provider::CIM_ERR_FAILED, provider::CIM_ERR_ACCESS_DENIED,
                              provider::CIM_ERR_INVALID_PARAMETER, provider::CIM_ERR_NOT_FOUND,
                              provider::CIM_ERR_NOT_SUPPORTED};

/// Opcodes that any agent answers, and whose replies repeat the numbers of the request.
constexpr unsigned int kOpcodes[] = {0x0600, 0x0601, 0x0604, 0x0920, 0x1700, 0xE104, 0xE204};

template <class Codes, class Code>
bool isOneOf(const Codes& codes, Code code) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

/// A client that reports each of its requests as progress.
class WatchedClient final : public provider::KOLMClient {
  public:
    WatchedClient(ShPtr<provider::KOLMClient> client, Place& place)
        : client_(std::move(client)), place_(place) {}

    int request(SipJson& command) override {
        ++requests_;
        place_.touch();
        return client_->request(command);
    }
    provider::KOLMEvents* events() override { return client_->events(); }
    unsigned long requests() const { return requests_; }

  private:
    ShPtr<provider::KOLMClient> client_;
    Place& place_;
    unsigned long requests_ = 0;
};

/// The requests of one thread.
class Worker {
  public:
    Worker(Random random, Place& place, Findings& findings)
        : random_(random),
          place_(place),
          findings_(findings),
          client_(attach(), place),
          calls_(provider::newKOLMCalls(&client_)) {}

    void step();
    unsigned long requests() const { return requests_ + client_.requests(); }
    const std::map<std::string, unsigned long>& failures() const { return failures_; }

  private:
    ShPtr<provider::KOLMClient> attach() {
        place_.enter("getKOLMClient");
        return provider::getKOLMClient("soak");
    }
    void callTyped();
    void sendRecord();
    void sendFrame();
    void failWith(const std::string& failure, bool isDocumented);
    unsigned int number();

    Random random_;
    Place& place_;
    Findings& findings_;
    WatchedClient client_;
    ShPtr<provider::KOLMCalls> calls_;
    unsigned long requests_ = 0;
    std::map<std::string, unsigned long> failures_;
};

void Worker::failWith(const std::string& failure, bool isDocumented) {
    ++failures_[failure];
    if (!isDocumented) {
        findings_.add("not a documented failure: " + failure);
    }
}

/// Small, or at a limit.
unsigned int Worker::number() {
    constexpr unsigned int kLimits[] = {0xFF, 0x100, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    return random_.oneIn(4) ? kLimits[random_.below(std::size(kLimits))] : random_.below(4);
}

void Worker::step() {
    const unsigned int choice = random_.below(100);
    if (choice < 80) {
        callTyped();
    } else if (choice < 90) {
        sendRecord();
    } else if (choice < 97) {
        sendFrame();
    } else if (choice < 98) {
        place_.enter("RagdClientDestroyTSD");
        RagdClientDestroyTSD();
    } else if (choice < 99) {
        attach();
    } else {
        place_.enter("Debug.Print");
        Debug.Print(1, "soak: %u\n", number());
    }
    place_.leave();
}

void Worker::callTyped() {
    const std::vector<CallEntry>& calls = test::callTable();
    const CallEntry& call = calls[random_.below(static_cast<unsigned int>(calls.size()))];
    SipJson record(kOpcodes[random_.below(std::size(kOpcodes))], 0, number(), 0, SipJson::noStatus);
    CallArguments arguments;
    arguments.key = provider::KOLMKey(random_.oneIn(4) ? number() : 0, number(), number());
    arguments.number = number();
    arguments.value = number();
    arguments.text = random_.oneIn(2) ? "soak" : "";
    arguments.record = &record;
    place_.enter(call.name.data());
    try {
        call.run(*calls_, arguments);
    } catch (const provider::CimErrorException& failure) {
        const int error = failure.getCimError();
        failWith("CIM error " + std::to_string(error), isOneOf(kCimErrors, error));
    } catch (const provider::BaseException& failure) {
        failWith(failure.className().c_str(), true);
    } catch (const std::exception& failure) {
        failWith(std::string(call.name) + ": " + failure.what(), false);
    }
}

void Worker::sendRecord() {
    const unsigned int opcode = kOpcodes[random_.below(std::size(kOpcodes))];
    const unsigned int object = number();
    SipJson record(opcode, 0, object, 0, SipJson::noStatus);
    place_.enter("KOLMSwitch.KolmRequest");
    ++requests_;
    const unsigned int status = KOLMSwitch.KolmRequest(record, 0);
    if (status != CommandStatus::success) {
        failWith("status " + std::to_string(status),
                 std::any_of(std::begin(kStatuses), std::end(kStatuses),
                             [&](CommandStatus known) { return status == known; }));
    } else if (record.OpCode() != opcode || record.ObjectId() != object) {
        findings_.add("the reply belongs to another request");
    }
}

void Worker::sendFrame() {
    const unsigned int opcode = kOpcodes[random_.below(std::size(kOpcodes))];
    const SipJson record(opcode, 0, 0, 0, SipJson::noStatus);
    const std::string bytes = frameOf(record.Export());
    std::vector<unsigned int> frame(random_.oneIn(8) ? bytes.size() / 4 + 1 : 16'384);
    std::memcpy(frame.data(), bytes.data(), bytes.size());
    place_.enter("SendRequest");
    ++requests_;
    const int result = SendRequest(frame.data(), static_cast<unsigned int>(4 * frame.size()),
                                   random_.below(60'000));
    if (result < 0) {
        failWith("result " + std::to_string(result), isOneOf(kFrameResults, result));
    } else if (result < 4) {
        findings_.add("SendRequest() returned " + std::to_string(result));
    }
}

/// A new calls object reads the time zone, and is not made when the agent refuses that.
std::unique_ptr<Worker> newWorker(Random& random, Place& place, Tally& tally, Findings& findings) {
    try {
        return std::make_unique<Worker>(Random(random.below(1U << 20), 0), place, findings);
    } catch (const provider::CimErrorException& failure) {
        const int error = failure.getCimError();
        if (!isOneOf(kCimErrors, error)) {
            findings.add("not a documented CIM error: " + std::to_string(error));
        }
        tally.add(0, {{"CIM error " + std::to_string(error), 1}});
        return nullptr;
    }
}

void work(const std::atomic<bool>& isEnding, Random random, Place& place, Tally& tally,
          Findings& findings) {
    try {
        std::unique_ptr<Worker> worker;
        while (worker == nullptr && !isEnding) {
            worker = newWorker(random, place, tally, findings);
        }
        while (!isEnding) {
            worker->step();
        }
        if (worker != nullptr) {
            tally.add(worker->requests(), worker->failures());
        }
    } catch (const std::exception& failure) {
        findings.add(std::string("a thread ended: ") + failure.what());
    } catch (const provider::BaseException& failure) {
        findings.add(std::string("a thread ended: ") + failure.toString().c_str());
    }
    place.enter("the end of the thread");
}

}  // namespace

void Tally::add(unsigned long requests, const std::map<std::string, unsigned long>& failures) {
    const std::lock_guard lock(mutex_);
    requests_ += requests;
    for (const auto& [failure, count] : failures) {
        failures_[failure] += count;
    }
}

unsigned long Tally::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::map<std::string, unsigned long> Tally::failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
}

Load::Load(unsigned int seed, std::vector<Place*> places, Tally& tally, Findings& findings)
    : places_(std::move(places)) {
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads_.emplace_back([this, seed, i, place = places_.at(i), &tally, &findings] {
            work(isEnding_, Random(seed, i), *place, tally, findings);
        });
    }
}

Load::~Load() {
    end();
    for (unsigned int i = 0; i < kThreads; ++i) {
        threads_[i].join();
        places_[i]->leave();
    }
}

}  // namespace varnock::soak
