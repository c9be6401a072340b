#include "catalogue/Bindings.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>

#include "catalogue/Text.h"

namespace varnock::catalogue {
namespace {

constexpr unsigned kComponentText = 0x0C00;
constexpr unsigned kPartNumber = 0x01;
constexpr std::string_view kObjects = "[object]";

std::optional<unsigned> number(std::string_view text) {
    const int base = text.starts_with("0x") ? 16 : 10;
    text.remove_prefix(base == 16 ? 2 : 0);
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

std::string_view part(const std::vector<std::string_view>& parts, std::size_t index) {
    return parts.size() == 1 ? parts.front() : parts[std::min(index, parts.size() - 1)];
}

/// The extensions of a cell, where the object of the key selects one of two.
std::vector<std::string_view> extensionsOf(std::string_view cell) {
    constexpr std::string_view between = " for object 0, else ";
    const std::size_t at = cell.find(between);
    return at == std::string_view::npos
               ? partsOf(cell)
               : std::vector{cell.substr(0, at), cell.substr(at + between.size())};
}

void bind(const Row& row, std::vector<Binding>& all) {
    const auto opcodes = partsOf(row.opcode);
    const auto extensions = extensionsOf(row.ext);
    const auto objects = partsOf(row.object);
    const auto replies = partsOf(row.reply);
    const auto paths = partsOf(row.model);
    const std::size_t commands = std::max({opcodes.size(), extensions.size(), objects.size()});
    for (std::size_t i = 0; i < commands; ++i) {
        Binding binding{.row = &row,
                        .opcode = *number(part(opcodes, i)),
                        .ext = number(part(extensions, i)),
                        .object = number(part(objects, i)),
                        .reply = part(replies, i),
                        .path = std::string(part(paths, i))};
        if (mentions(row.ext, "(key opCodeExt << 8)")) {
            binding.ext = number(row.ext.substr(0, row.ext.find(' ')));
            binding.ofElement = true;
        }
        all.push_back(std::move(binding));
    }
}

std::string parentOf(const std::string& path) {
    return path.substr(0, path.rfind('.'));
}

/// The texts of components that have lists of their own, by class and attribute. A class without a
/// list has object 0 alone.
void bindElements(std::vector<Binding>& all) {
    std::map<unsigned, std::string> lists;
    std::set<unsigned> bound;
    for (const Binding& each : all) {
        if (each.opcode == kComponentText && !each.ofElement) {
            bound.insert(*each.ext);
            if ((*each.ext & 0xFF) == kPartNumber) {
                lists.emplace(*each.ext >> 8, parentOf(each.path));
            }
        }
    }
    const std::vector<Binding> rows = all;
    for (const Binding& each : rows) {
        if (!each.ofElement) {
            continue;
        }
        for (const auto& [componentClass, list] : lists) {
            Binding own = each;
            own.ofElement = false;
            own.ext = componentClass << 8 | *each.ext;
            own.path = list + each.path.substr(each.path.rfind('.'));
            own.object = list.ends_with(kObjects) ? each.object : 0;
            if (!bound.contains(*own.ext)) {
                all.push_back(std::move(own));
            }
        }
    }
}

}  // namespace

std::vector<Binding> bindings(std::span<const Row> rows) {
    std::vector<Binding> all;
    for (const Row& row : rows) {
        if (hasCommand(row)) {
            bind(row, all);
        }
    }
    bindElements(all);
    return all;
}

}  // namespace varnock::catalogue
