#include "cli/metrics/Scrape.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "cli/calls/MachineReader.h"
#include "cli/metrics/MetricReader.h"
#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

void addSample(std::vector<MetricFamily>& families, const std::string& name, std::string_view unit,
               std::string_view help, Sample sample) {
    auto family = std::find_if(families.begin(), families.end(),
                               [&](const MetricFamily& known) { return known.name == name; });
    if (family == families.end()) {
        family = families.insert(family, {name, unit, std::string(help), {}});
    }
    family->samples.push_back(std::move(sample));
}

/// The metrics about the reading itself.
void addReport(Scraped& scraped, std::chrono::duration<double> duration) {
    const auto add = [&](const char* name, std::string_view unit, const char* help, double value) {
        addSample(scraped.families, name, unit, help, {{}, value});
    };
    const bool isUp = scraped.status == ExitStatus::done || scraped.status == ExitStatus::partial;
    add("varnock_up", "", "Whether the management agent answers (1) or not (0).", isUp ? 1 : 0);
    add("varnock_scrape_success", "",
        "Whether everything has been read that the machine has (1) or not (0).",
        scraped.status == ExitStatus::done ? 1 : 0);
    add("varnock_scrape_duration_seconds", "seconds", "How long the reading took.",
        duration.count());
    add("varnock_scrape_calls", "", "How many calls the reading took.",
        static_cast<double>(scraped.calls));
    add("varnock_scrape_failed_calls", "",
        "How many of the calls failed. A value that the machine does not have is no failure.",
        static_cast<double>(scraped.failures));
}

}  // namespace

Scrape::Scrape(const Options& options)
    : thread_([this, options] {
          try {
              run(options);
              ended_.set_value();
          } catch (const std::exception&) {
              ended_.set_exception(std::current_exception());
          }
      }) {}

void Scrape::readMachine(const Options& options) {
    Session session(options);
    JsonDocument values;
    MachineReader machine(session, values.GetAllocator());
    MetricReader metrics(machine, [&](const std::string& name, std::string_view unit,
                                      std::string_view help, Sample sample) {
        const varnock::ScopedLock guard(mutex_);
        addSample(scraped_.families, name, unit, help, std::move(sample));
        scraped_.calls = machine.calls();
        scraped_.failures = machine.failures();
    });
    metrics.readAll();
    const varnock::ScopedLock guard(mutex_);
    scraped_.calls = machine.calls();
    scraped_.failures = machine.failures();
    scraped_.problem = metrics.problem();
    const bool answered = machine.failures() < machine.calls();
    scraped_.status = scraped_.problem.empty() ? ExitStatus::done
                      : answered               ? ExitStatus::partial
                                               : ExitStatus::refused;
}

void Scrape::run(const Options& options) {
    try {
        readMachine(options);
    } catch (const Failure& failure) {
        const varnock::ScopedLock guard(mutex_);
        scraped_.status = failure.status();
        scraped_.problem = failure.what();
        ++scraped_.failures;
        ++scraped_.calls;
    }
}

Scraped Scrape::await(std::chrono::milliseconds patience) {
    auto end = ended_.get_future();
    const bool hasEnded = end.wait_for(patience) == std::future_status::ready;
    if (hasEnded) {
        end.get();
    }
    varnock::ScopedLock guard(mutex_);
    Scraped out = scraped_;
    guard.unlock();
    if (!hasEnded) {
        out.status = ExitStatus::timeout;
        out.problem = "the agent did not answer within the time limit";
        ++out.calls;
        ++out.failures;
    }
    addReport(out, Clock::now() - start_);
    return out;
}

}  // namespace varnockctl
