#pragma once

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/TracedProcess.h"

namespace varnock::test {

/// What goes wrong in one run of an operation. The first run of all has no fault.
struct Fault {
    std::size_t place = 0;
    SystemCall call = {};
    Fate fate = {};

    /// True if the operation must do what it does without a fault.
    bool isHarmless() const { return fate.kind != Fate::Kind::failing; }
    bool isInterruption() const { return fate.kind == Fate::Kind::failing && fate.error == EINTR; }

    std::string text() const {
        const std::string which = std::to_string(place) + ": " + call.name + ' ' + call.path;
        switch (fate.kind) {
            case Fate::Kind::failing:
                return which + " fails: " + strerror(fate.error);
            case Fate::Kind::cutShort:
                return which + " is cut to " + std::to_string(fate.size) + " bytes";
            case Fate::Kind::delayed:
                return which + " is delayed";
            default:
                return "no fault";
        }
    }
};

/// The faults that a call may have: it fails, is interrupted, transfers a part, takes long.
inline std::vector<Fate> fatesOf(const SystemCall& call) {
    std::vector<Fate> fates{{Fate::Kind::failing, call.error, 0}, {Fate::Kind::delayed, 0, 0}};
    if (call.interruptible) {
        fates.push_back({Fate::Kind::failing, EINTR, 0});
    }
    // Event, timer and signal descriptors deliver whole records.
    if (call.transfers && call.result > 1 && !call.path.starts_with("anon_inode:")) {
        fates.push_back({Fate::Kind::cutShort, 0, static_cast<std::size_t>(call.result) / 2});
        fates.push_back({Fate::Kind::cutShort, 0, 1});
    }
    return fates;
}

/// The places of at most `limit` calls of each kind, evenly spread over all of the kind.
inline std::vector<std::size_t> placesOf(const std::vector<SystemCall>& calls, std::size_t limit) {
    std::map<std::string, std::vector<std::size_t>> kinds;
    for (std::size_t place = 0; place < calls.size(); ++place) {
        kinds[calls[place].name].push_back(place);
    }
    std::vector<std::size_t> places;
    for (const auto& [name, all] : kinds) {
        const std::size_t count = std::min(limit, all.size());
        for (std::size_t i = 0; i < count; ++i) {
            places.push_back(count == 1 ? all[0] : all[i * (all.size() - 1) / (count - 1)]);
        }
    }
    std::sort(places.begin(), places.end());
    return places;
}

/// How many calls of the same kind precede a call.
inline std::size_t earlierOfItsKind(const std::vector<SystemCall>& calls, std::size_t place) {
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(place),
                      [&](const SystemCall& call) { return call.name == calls[place].name; }));
}

/// The faults of whole programs take minutes, so a suite takes some calls of each kind. With
/// VARNOCK_EVERY_FAULT=1 in its environment a test program takes them all.
inline std::size_t limitOr(std::size_t limit) {
    return getenv("VARNOCK_EVERY_FAULT") != nullptr ? ~std::size_t{0} : limit;
}

/// Runs an operation without a fault, and then once for each fault of each system call that it has
/// made, or of `limit` calls of each kind. The run gets the fault to expect and what to pass to the
/// tracer. It must end by itself and without a signal. Returns the number of faults that happened.
template <class Run>
std::size_t forEveryFault(const Run& run, std::size_t limit = ~std::size_t{0}) {
    const auto judge = [](const TracedResult& result) {
        EXPECT_FALSE(result.hung);
        EXPECT_LT(result.status, 128) << result.out << result.err;
    };
    const TracedResult reference =
        run(Fault(), [](std::size_t, const SystemCall&) { return Fate{}; });
    judge(reference);
    std::size_t happened = 0;
    for (const std::size_t place : placesOf(reference.calls, limitOr(limit))) {
        for (const Fate& fate : fatesOf(reference.calls[place])) {
            const Fault fault{place, reference.calls[place], fate};
            SCOPED_TRACE(fault.text());
            // Threads may make their calls in another order, and wait more or less often.
            std::size_t before = earlierOfItsKind(reference.calls, place);
            judge(run(fault, [&](std::size_t, const SystemCall& call) {
                if (call.name != fault.call.name || before-- != 0) {
                    return Fate{};
                }
                ++happened;
                return fate;
            }));
            if (testing::Test::HasFailure()) {
                return happened;
            }
        }
    }
    return happened;
}

/// The same of a part of a forked child, which checks the operation itself:
///
///     const std::size_t faults = forEveryFaultOf([](const TracedPart& part, const Fault& fault) {
///         prepare();
///         part.begin();
///         const bool done = operation();
///         part.end();
///         EXPECT_TRUE(done || !fault.isHarmless());
///     });
template <class Body>
std::size_t forEveryFaultOf(const Body& body) {
    return forEveryFault([&](const Fault& fault, const Decision& decide) {
        const TracedResult result =
            runTracedPart([&](const TracedPart& part) { body(part, fault); }, decide);
        EXPECT_EQ(result.status, 0) << result.out << result.err;
        return result;
    });
}

}  // namespace varnock::test
