#pragma once

#include <cstdint>
#include <optional>

#include "agent/Machine.h"
#include "agent/model/Node.h"
#include "catalogue/ModelValue.h"

namespace varnock::agent {

/// When a value is read.
struct Moment {
    std::int64_t epoch = 0;  ///< seconds since the epoch
    double sinceStart = 0;   ///< seconds since the machine was switched on
};

/// The value as the data of a reply: a number, a text, or the bytes of an address. Nothing if the
/// value is not in its notation or out of the range of its field. A curve gives its value of the
/// moment.
[[nodiscard]] std::optional<Answer::Data> dataOf(const Node& value,
                                                 const catalogue::ModelValue& notation,
                                                 const Moment& moment);

/// The number in such data; nothing for other data.
[[nodiscard]] std::optional<unsigned> numberIn(const std::optional<Answer::Data>& data);

/// True for a value in the notation, and for a curve whose points are all in it.
[[nodiscard]] bool isValid(const Node& value, const catalogue::ModelValue& notation);

/// True for a curve whose value can change after this time.
[[nodiscard]] bool changesAfter(const Node& value, double sinceStart);

/// The value of the moment, in its notation: of a curve, that between its points; other values as
/// they are.
[[nodiscard]] Node valueAt(const Node& value, const catalogue::ModelValue& notation,
                           const Moment& moment, JsonHeap& heap);

/// The value of a number or of the bytes of an address in its notation. Text data is the value
/// itself.
[[nodiscard]] Node valueOf(const Answer::Data& data, const catalogue::ModelValue& notation,
                           JsonHeap& heap);

}  // namespace varnock::agent
