// Replies that carry values as they stand in the model.

#include "agent/described/Exchange.h"

namespace varnock::agent {
namespace {

/// The value in an element of a list: the element itself, or one of its members.
const Node* inElement(const Node& element, const Piece& piece, std::size_t steps) {
    return steps == piece.path.steps.size() ? &element
                                            : memberOf(element, piece.path.steps[steps].member);
}

/// Calls `use` with each value of the list that the path goes through.
template <typename Use>
Answer answerEach(Exchange& exchange, Use use) {
    const Piece& piece = exchange.piece();
    const Place place = exchange.find();
    if (place.value == nullptr || !place.value->IsArray()) {
        return exchange.absent(place.absence);
    }
    Answer::Bytes bytes;
    for (unsigned i = piece.path.steps[place.steps - 1].literal; i < place.value->Size(); ++i) {
        const Node* value = inElement((*place.value)[i], piece, place.steps);
        const auto data =
            value != nullptr ? dataOf(*value, piece.notation, exchange.model.now()) : std::nullopt;
        if (data) {
            use(bytes, *data);
        }
    }
    return bytes;
}

unsigned numberOf(const Answer::Data& data) {
    const auto* number = std::get_if<unsigned>(&data);
    return number != nullptr ? *number : 0;
}

}  // namespace

Answer answerValue(Exchange& exchange) {
    const Piece& piece = exchange.piece();
    const Place place = exchange.find();
    if (place.value == nullptr) {
        return exchange.absent(place.absence);
    }
    if (piece.path.counts) {
        return place.value->IsArray() ? Answer(place.value->Size())
                                      : exchange.absent(Absence::value);
    }
    auto data = dataOf(*place.value, piece.notation, exchange.model.now());
    if (!data) {
        return exchange.absent(Absence::value);
    }
    Answer answer(Status::success);
    answer.data = std::move(*data);
    return answer;
}

/// Up to the first value that the machine does not have.
Answer answerShared(Exchange& exchange) {
    Answer::Bytes bytes;
    for (const Piece& piece : exchange.route.pieces) {
        const Place place = exchange.model.find(piece.path, exchange.arguments);
        const auto number =
            place.value != nullptr
                ? numberIn(dataOf(*place.value, piece.notation, exchange.model.now()))
                : std::nullopt;
        if (!number) {
            return bytes.empty() ? exchange.absent(place.absence) : Answer(std::move(bytes));
        }
        bytes.resize(piece.offset);
        piece.width == 1 ? appendByte(bytes, *number) : appendWord(bytes, *number);
    }
    return bytes;
}

Answer answerBytes(Exchange& exchange) {
    return answerEach(exchange, [](Answer::Bytes& bytes, const Answer::Data& data) {
        appendByte(bytes, numberOf(data));
    });
}

Answer answerWords(Exchange& exchange) {
    return answerEach(exchange, [](Answer::Bytes& bytes, const Answer::Data& data) {
        appendWord(bytes, numberOf(data));
    });
}

Answer answerLines(Exchange& exchange) {
    return answerEach(exchange, [](Answer::Bytes& bytes, const Answer::Data& data) {
        if (const auto* text = std::get_if<std::string>(&data)) {
            appendText(bytes, *text);
        }
    });
}

}  // namespace varnock::agent
