#include <string.h>
#include <unistd.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/Commands.h"
#include "cli/batch/BatchInput.h"
#include "cli/batch/BatchRequest.h"
#include "cli/calls/CallRunner.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"
#include "transport/AgentSocket.h"

namespace varnockctl {
namespace {

/// Runs the calls of a batch over one connection.
class Batch {
  public:
    explicit Batch(const Options& options)
        : options_(options),
          format_(options.format == Format::table ? Format::jsonl : options.format),
          session_(options) {}

    Answer run();

  private:
    [[nodiscard]] bool answer(const std::string& line);
    void runLine(const std::string& line, Json& item, JsonAllocator& allocator);
    void runCall(const BatchRequest& request, Json& item, JsonAllocator& allocator);

    const Options& options_;
    const Format format_;
    BatchInput input_{STDIN_FILENO};
    Session session_;
    bool isDoubtful_ = false;  ///< the connection broke: ask for the agent before the next call
    std::uint64_t number_ = 0;
    std::uint64_t failed_ = 0;
};

void addError(Json& item, ExitStatus status, std::string_view message, JsonAllocator& allocator) {
    Json error(rapidjson::kObjectType);
    add(error, "status", Json(static_cast<int>(status)), allocator);
    add(error, "message", message, allocator);
    add(item, "error", std::move(error), allocator);
}

void Batch::runCall(const BatchRequest& request, Json& item, JsonAllocator& allocator) {
    const Call& call = callNamed(request.call);
    add(item, "call", request.call, allocator);
    checkArguments(call, request.arguments);
    const bool changes = changesState(*findCall(request.call));
    if (changes && !options_.yes && !options_.dryRun) {
        throw Failure(ExitStatus::usage, request.call +
                                             " changes the state of the machine; it "
                                             "needs --yes");
    }
    if (!changes && options_.dryRun) {
        throw Failure(ExitStatus::usage, request.call +
                                             " changes nothing; --dry-run is only for "
                                             "calls that change state");
    }
    // The library would wait ten minutes for an agent that has gone.
    if (isDoubtful_) {
        requireAgent(RequestSocketPath());
        isDoubtful_ = false;
    }
    Outcome outcome = varnockctl::run(session_, request.call, request.arguments, allocator);
    if (options_.dryRun) {
        Json records(rapidjson::kArrayType);
        for (const Exchange& exchange : session_.client().exchanges()) {
            records.PushBack(text(exchange.sent, allocator), allocator);
        }
        add(item, "records", std::move(records), allocator);
        return;
    }
    if (outcome.verdict.reason.empty()) {
        add(item, "value", std::move(outcome.value), allocator);
        return;
    }
    isDoubtful_ = outcome.verdict.status == ExitStatus::noAgent ||
                  outcome.verdict.status == ExitStatus::unintelligible;
    throw Failure(outcome.verdict.status, outcome.verdict.reason);
}

void Batch::runLine(const std::string& line, Json& item, JsonAllocator& allocator) {
    Json id;
    try {
        if (input_.isTooLong()) {
            throw Failure(ExitStatus::usage, "the line is longer than 1 MiB");
        }
        const BatchRequest request = parseBatchRequest(line, id, allocator);
        if (!id.IsNull()) {
            add(item, "id", std::move(id), allocator);
        }
        runCall(request, item, allocator);
    } catch (const Failure& failure) {
        if (!id.IsNull()) {
            add(item, "id", std::move(id), allocator);
        }
        addError(item, failure.status(), failure.what(), allocator);
        ++failed_;
    }
}

/// False if the output has no reader any more.
bool Batch::answer(const std::string& line) {
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    Json item(rapidjson::kObjectType);
    add(item, "line", Json(++number_), allocator);
    runLine(line, item, allocator);
    // One who waits for the answer before sending more gets it.
    return printItem("answers", item, "", format_, input_.isPausing() ? Flush::now : Flush::later);
}

Answer Batch::run() {
    std::string line;
    while (input_.next(line) && answer(line)) {
    }
    if (input_.error() != 0) {
        throw Failure(ExitStatus::notAvailable,
                      std::string("standard input: ") + strerror(input_.error()));
    }
    Answer answer = listAnswer("answers");
    if (failed_ > 0) {
        answer.status = ExitStatus::partial;
        answer.problem =
            std::to_string(failed_) + " of " + std::to_string(number_) + " lines have no value";
    }
    return answer;
}

}  // namespace

Answer runBatch(const Options& options) {
    if (options.format == Format::csv) {
        throw Failure(ExitStatus::usage,
                      "the answers of batch differ in their members: not in CSV");
    }
    return Batch(options).run();
}

}  // namespace varnockctl
