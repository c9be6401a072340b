#include "agent/described/CommandTable.h"

#include <charconv>
#include <utility>

#include "agent/described/Exchange.h"
#include "agent/model/CallRows.h"

namespace varnock::agent {
namespace {

using catalogue::Binding;

// Beside the key of one extension: a key for every extension, and for a component text of any
// class.
constexpr std::uint64_t kEveryExtension = std::uint64_t{1} << 32;
constexpr std::uint64_t kEveryClass = std::uint64_t{2} << 32;
constexpr int kOpcodeShift = 34;

std::uint64_t keyOf(std::uint64_t opcode, std::uint64_t ext) {
    return opcode << kOpcodeShift | ext;
}

std::uint64_t keyOf(const Binding& binding) {
    if (!binding.ext) {
        return keyOf(binding.opcode, kEveryExtension);
    }
    return keyOf(binding.opcode, *binding.ext | (binding.ofElement ? kEveryClass : 0));
}

using Handler = Answer (*)(Exchange&);

Handler handlerFor(const Binding& binding) {
    constexpr std::pair<std::string_view, Handler> forms[] = {
        {"each byte", answerBytes},
        {"each word", answerWords},
        {"lines", answerLines},
        {"parent", answerParent},
        {"PCI addresses", answerPciAddresses},
        {"PCI header", answerPciHeader},
        {"log entries", answerLogEntries},
        {"power samples", answerPowerSamples},
        {"alarm identity", answerAlarmIdentity},
        {"components", answerScan},
    };
    for (const auto& [form, handler] : forms) {
        if (binding.reply == form) {
            return handler;
        }
    }
    if (binding.reply == "none") {
        return binding.row->coding == "-" ? acceptValue : acceptAction;
    }
    return binding.reply.find(" at ") != std::string_view::npos ? answerShared : answerValue;
}

Piece pieceOf(const Binding& binding) {
    // A value that a client sends has the width of its data.
    const std::string_view field = binding.reply == "none" ? binding.row->data : binding.reply;
    Piece piece{.path = catalogue::modelPath(binding.path),
                .notation = catalogue::modelValue(*binding.row, field)};
    piece.width = binding.reply.starts_with("byte") ? 1 : 2;
    if (const auto at = binding.reply.rfind(' '); at != std::string_view::npos) {
        std::from_chars(binding.reply.data() + at + 1, binding.reply.data() + binding.reply.size(),
                        piece.offset);
    }
    return piece;
}

}  // namespace

CommandTable::CommandTable() : bindings_(catalogue::bindings(callRows())) {
    for (const Binding& binding : bindings_) {
        add(binding);
    }
}

const std::vector<Route>* CommandTable::find(unsigned opcode, unsigned ext) const {
    const std::uint64_t keys[] = {keyOf(opcode, ext), keyOf(opcode, kEveryExtension),
                                  keyOf(opcode, (ext & 0xFF) | kEveryClass)};
    for (const std::uint64_t key : keys) {
        if (const auto found = routes_.find(key); found != routes_.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

/// Calls that read values at other offsets of a reply share its route; calls that read the same are
/// one.
void CommandTable::add(const Binding& binding) {
    std::vector<Route>& routes = routes_[keyOf(binding)];
    for (Route& route : routes) {
        if (route.object != binding.object) {
            continue;
        }
        const Piece piece = pieceOf(binding);
        const bool isNew =
            route.answer == answerShared &&
            std::none_of(route.pieces.begin(), route.pieces.end(),
                         [&](const Piece& each) { return each.offset == piece.offset; });
        if (isNew) {
            route.pieces.push_back(piece);
        }
        return;
    }
    routes.push_back({binding.row, binding.object, {pieceOf(binding)}, handlerFor(binding)});
}

}  // namespace varnock::agent
