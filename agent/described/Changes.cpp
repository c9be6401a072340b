// Commands that change the machine.

#include <charconv>

#include "agent/described/Exchange.h"

namespace varnock::agent {
namespace {

using catalogue::ModelValue;

/// What the client sends, if it is of the kind that the call sends.
std::optional<Answer::Data> sentData(const Exchange& exchange) {
    const SipJson& record = exchange.command.record;
    if (exchange.piece().notation.kind == ModelValue::Kind::text) {
        std::string text;
        return record.GetDataString(text) ? std::optional<Answer::Data>(std::move(text))
                                          : std::nullopt;
    }
    unsigned number = 0;
    return record.GetCmdUIntData(0, number) ? std::optional<Answer::Data>(number) : std::nullopt;
}

Answer refused(const char* reason) {
    Answer answer(Status::invalid);
    answer.reason = reason;
    return answer;
}

/// Writes to a value that the machine has.
Answer store(Exchange& exchange, Node value) {
    const Place place = exchange.find();
    if (place.value == nullptr) {
        return exchange.absent(place.absence);
    }
    return exchange.model.write(exchange.piece().path, exchange.arguments, std::move(value))
               ? Answer(Status::success)
               : exchange.absent(Absence::value);
}

}  // namespace

Answer acceptValue(Exchange& exchange) {
    const auto data = sentData(exchange);
    if (!data) {
        return refused("the command has no data of the kind that it sets");
    }
    Node value = valueOf(*data, exchange.piece().notation, exchange.model.heap());
    if (!isValid(value, exchange.piece().notation)) {
        return refused("the data is out of the range of the value");
    }
    return store(exchange, std::move(value));
}

/// Sets the code in the row, or clears a list.
Answer acceptAction(Exchange& exchange) {
    constexpr std::string_view set = "set ";
    const std::string_view coding = exchange.route.row->coding;
    if (!coding.starts_with(set)) {
        return store(exchange, Node(rapidjson::kArrayType));
    }
    const std::string_view code = coding.substr(set.size());
    return store(exchange, Node(code.data(), static_cast<rapidjson::SizeType>(code.size()),
                                exchange.model.heap()));
}

}  // namespace varnock::agent
