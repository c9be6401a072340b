#include <errno.h>

#include <memory>
#include <system_error>
#include <utility>

#include "cli/Commands.h"
#include "cli/metrics/OpenMetrics.h"
#include "cli/metrics/Scrape.h"
#include "cli/output/Failure.h"
#include "cli/output/Sanitizing.h"
#include "tools/ReplacedFile.h"

namespace varnockctl {
namespace {

Json labelsOf(const Sample& sample, JsonAllocator& allocator) {
    Json out(rapidjson::kObjectType);
    for (const auto& [name, value] : sample.labels) {
        out.AddMember(text(name, allocator), text(value, allocator), allocator);
    }
    return out;
}

/// One row for each sample.
Json samplesOf(const Scraped& scraped, JsonAllocator& allocator) {
    Json rows(rapidjson::kArrayType);
    for (const MetricFamily& family : scraped.families) {
        for (const Sample& sample : family.samples) {
            Json row(rapidjson::kObjectType);
            add(row, "metric", family.name, allocator);
            add(row, "labels", labelsOf(sample, allocator), allocator);
            add(row, "value", Json(sample.value), allocator);
            add(row, "unit", family.unit.empty() ? Json() : text(family.unit, allocator),
                allocator);
            rows.PushBack(row, allocator);
        }
    }
    return rows;
}

std::size_t seriesOf(const Scraped& scraped) {
    std::size_t count = 0;
    for (const MetricFamily& family : scraped.families) {
        count += family.samples.size();
    }
    return count;
}

/// The samples; as a table, the text that Prometheus reads.
Answer printed(const Scraped& scraped) {
    Answer answer;
    answer.status = scraped.status;
    answer.shown = "samples";
    answer.table = openMetrics(scraped.families);
    answer.isFile = true;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, "samples", samplesOf(scraped, allocator), allocator);
    return answer;
}

/// Every user can read the file.
void write(const std::string& file, const std::string& text) try {
    constexpr mode_t kReadableByAll = 0644;
    varnock::replaceFile(file, text, kReadableByAll);
} catch (const std::system_error& failure) {
    const int error = failure.code().value();
    const bool isRefused = error == EACCES || error == EPERM || error == EROFS;
    throw Failure(isRefused ? ExitStatus::permission : ExitStatus::notAvailable,
                  file + ": " + failure.code().message());
}

Answer written(const Scraped& scraped, const std::string& file) {
    write(file, sanitizing::text(openMetrics(scraped.families)));
    Answer answer;
    answer.status = scraped.status;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, "file", file, allocator);
    add(answer.document, "series", Json(static_cast<uint64_t>(seriesOf(scraped))), allocator);
    return answer;
}

bool isReading(const Scraped& scraped) {
    return scraped.status == ExitStatus::done || scraped.status == ExitStatus::partial;
}

/// A reading that failed is a text too, which says so, but no other document.
Answer answerOf(const Scraped& scraped, const Options& options, const std::string& file) {
    const bool writes = !file.empty() && !options.dryRun;
    Answer answer = writes ? written(scraped, file) : printed(scraped);
    if (!isReading(scraped) && (writes || options.format != Format::table)) {
        return failed({scraped.status, scraped.problem});
    }
    if (!scraped.problem.empty()) {
        answer.fail(scraped.status, scraped.problem);
    }
    return answer;
}

}  // namespace

Answer runMetrics(const Options& options, const MetricsOptions& metrics) {
    Options reading = options;
    reading.dryRun = false;  // nothing is changed by reading
    const auto scrape = std::make_shared<Scrape>(reading);
    const Scraped scraped = scrape->await(metrics.patience);
    Answer answer;
    try {
        answer = answerOf(scraped, options, metrics.file);
    } catch (const Failure& failure) {
        answer = failed(failure);
    }
    answer.held = scrape;
    return answer;
}

}  // namespace varnockctl
