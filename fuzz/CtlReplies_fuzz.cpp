#include <locale.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/contract/Schema.h"
#include "fuzz/FuzzedReplies.h"

// Any replies to the subcommands of varnockctl that ask the agent. Whatever it sends, the answer is
// one JSON document that follows the schema of its subcommand.
//
// Input: the subcommand, for a call its number (2 bytes), flags; then the replies as in Calls_fuzz.

namespace {

using varnock::fuzz::FuzzedClient;
using varnock::fuzz::Input;
using varnock::fuzz::require;
using varnockctl::Answer;
using varnockctl::Options;

/// Enough for a whole machine with some components of each kind.
constexpr std::size_t kMostExchanges = 400;

/// The compiled schema of a subcommand.
const rapidjson::SchemaDocument& schemaOf(const std::string& command) {
    static std::map<std::string, std::unique_ptr<rapidjson::SchemaDocument>> compiled;
    auto& schema = compiled[command];
    if (schema == nullptr) {
        rapidjson::Document document;
        document.Parse(varnockctl::schemaText(command).c_str());
        require(!document.HasParseError(), "the schema is not JSON");
        schema = std::make_unique<rapidjson::SchemaDocument>(document);
    }
    return *schema;
}

Answer runTypedCall(const Options& options, const varnockctl::Call& call) {
    varnockctl::CallArguments arguments;
    const auto give = [&](unsigned int option, const char* value) {
        return (call.takes & option) != 0 ? std::optional<std::string>(value) : std::nullopt;
    };
    arguments.cabinet = give(varnockctl::optionCabinet, "0");
    arguments.object = give(varnockctl::optionObject, "0");
    arguments.ext = give(varnockctl::optionExt, "1");
    arguments.value = give(varnockctl::optionValue, call.largestValue != 0 ? "1" : "text");
    arguments.node = give(varnockctl::optionNode, "node");
    return varnockctl::runCall(options, std::string(call.name), arguments);
}

Answer run(const std::string& command, const Options& options, unsigned int number) {
    if (command == "inventory") {
        return varnockctl::runInventory(options);
    }
    if (command == "sensors") {
        return varnockctl::runSensors(options);
    }
    if (command == "raw") {
        varnockctl::RawRecord record;
        record.opcode = "1";
        return varnockctl::runRaw(options, record);
    }
    const auto calls = varnockctl::callTable();
    return runTypedCall(options, calls[number % calls.size()]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string kCommands[] = {"call", "call", "raw", "inventory", "sensors", "call"};
    Input input(data, size);
    const std::string& command = kCommands[input.byte() % std::size(kCommands)];
    const unsigned int number = input.word();
    const unsigned int flags = input.byte();
    const std::vector<std::string> replies = varnock::fuzz::repliesIn(input);
    // A refusal ends a listing at once; without a connection each of its calls would fail.
    FuzzedClient client(replies, (flags & 1) != 0, kMostExchanges,
                        FuzzedClient::End::userIsRefused);
    client.begin();
    Options options;
    options.format = varnockctl::Format::json;
    options.yes = true;
    options.client = &client;
    Answer answer;
    try {
        answer = run(command, options, number);
    } catch (const varnockctl::Failure& failure) {
        answer = varnockctl::failed(failure);
    }
    const std::string text = varnockctl::documentText(answer);
    for (const char* locale : {"de_DE.UTF-8", "C.UTF-8", "C"}) {
        if (setlocale(LC_ALL, locale) != nullptr) {
            require(varnockctl::documentText(answer) == text, "the locale changes the document");
        }
    }
    constexpr unsigned int kStrict = rapidjson::kParseValidateEncodingFlag;
    rapidjson::Document document;
    document.Parse<kStrict>(text.c_str(), text.size());
    require(!document.HasParseError(), "not one JSON document");
    rapidjson::SchemaValidator validator(schemaOf(command));
    require(document.Accept(validator), "not a document of the schema");
    require(document.HasMember("error") == (answer.status != varnockctl::ExitStatus::done),
            "a status without an error, or the reverse");
    return 0;
}
