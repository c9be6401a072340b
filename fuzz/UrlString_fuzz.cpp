#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Fuzzing.h"
#include "util/UrlString.h"

// Runs a sequence of operations with arbitrary texts, positions and counts on a parameter string
// and on a simple model of the format, and compares every text and every result.

namespace {

using varnock::fuzz::Input;
using varnock::fuzz::require;

struct Value {
    std::size_t offset;
    std::string text;
};

bool isBlank(char c) {
    return std::string_view(" \t\n\v\f\r").find(c) != std::string_view::npos;
}

std::size_t serviceEnd(const std::string& text) {
    return std::min(text.find_first_of("?:\""), text.size());
}

std::size_t listBegin(const std::string& text) {
    const std::size_t end = serviceEnd(text);
    if (text.compare(end, 2, ":?") == 0) {
        return end + 2;
    }
    return text.compare(end, 1, "?") == 0 ? end + 1 : 0;
}

std::optional<Value> findValue(const std::string& text, const std::string& name) {
    if (listBegin(text) == 0 || name.empty()) {
        return std::nullopt;
    }
    for (std::size_t at = 0; at + name.size() <= text.size(); ++at) {
        if (text.compare(at, name.size(), name) != 0) {
            continue;
        }
        std::string_view before(text.data(), at);
        while (!before.empty() && isBlank(before.back())) {
            before.remove_suffix(1);
        }
        if (before.empty() || (before.back() != '&' && before.back() != '?')) {
            continue;
        }
        std::size_t begin = text.find(':', at);
        if (begin == text.npos) {
            continue;
        }
        for (++begin; begin < text.size() && isBlank(text[begin]); ++begin) {
            continue;
        }
        std::size_t end = begin;
        for (unsigned int quotes = 0; end < text.size(); ++end) {
            if (text[end] == '&' && quotes % 2 == 0) {
                break;
            }
            quotes += text[end] == '"';
        }
        return Value{begin, text.substr(begin, end - begin)};
    }
    return std::nullopt;
}

/// The decoded items of a value, which are separated by commas outside quotes.
std::string decoded(const std::string& value, std::size_t limit) {
    std::vector<std::string> items(1);
    bool isQuoted = false;
    for (const char c : value) {
        if (c == '"') {
            isQuoted = !isQuoted;
        }
        if (c == ',' && !isQuoted) {
            items.emplace_back();
        } else {
            items.back().push_back(c);
        }
    }
    std::string out;
    for (const std::string& item : items) {
        if (item.find('"') != item.npos) {
            isQuoted = false;
            for (const char c : item) {
                if (c == '"') {
                    isQuoted = !isQuoted;
                } else if (isQuoted) {
                    out.push_back(c);
                }
            }
        } else if (!item.empty()) {
            out.push_back(static_cast<char>(std::strtoul(item.c_str(), nullptr, 0) & 0xFF));
        }
    }
    return out.substr(0, limit);
}

/// The model: the text that the operations must produce.
class Model {
  public:
    std::string text;

    void replace(const std::string& part, int start, int count) {
        const auto [from, size] = clamped(start, count);
        text.replace(from, size, part);
    }
    void clear(int start, int count) {
        if (start <= static_cast<int>(text.size())) {
            replace("", start, count);
        }
    }
    void append(const std::string& part, int at) {
        const bool isInside = at >= 0 && static_cast<std::size_t>(at) <= text.size();
        if (isInside) {
            text.resize(static_cast<std::size_t>(at));
        }
        text += part;
    }
    std::string extract(int start, int count) const {
        const auto [from, size] = clamped(start, count);
        return text.substr(from, size);
    }
    void setService(const std::string& service) {
        const std::size_t end = serviceEnd(text);
        if (text.compare(end, 2, ":?") == 0) {
            text = service + text.substr(end);
        } else if (text.compare(end, 1, "?") == 0) {
            text = service + ":" + text.substr(end);
        } else {
            text = service + ":?" + text;
        }
    }
    void setValue(const std::string& name, const std::string& value) {
        if (const auto old = findValue(text, name)) {
            text.replace(old->offset, old->text.size(), value);
            return;
        }
        if (!text.empty() && text.back() != '&' && text.back() != '?') {
            text += '&';
        }
        text += name + ":" + value;
    }

  private:
    std::pair<std::size_t, std::size_t> clamped(int start, int count) const {
        const std::size_t from =
            std::min(static_cast<std::size_t>(std::max(start, 0)), text.size());
        const std::size_t rest = text.size() - from;
        return {from, count < 0 ? rest : std::min(static_cast<std::size_t>(count), rest)};
    }
};

using Owned = std::unique_ptr<char, void (*)(void*)>;

std::string byteList(const std::string& bytes) {
    std::string list;
    const std::size_t room = std::min<std::size_t>(bytes.size() * 4, 1024);
    for (const char byte : bytes) {
        const std::string item =
            (list.empty() ? "" : ",") + std::to_string(static_cast<unsigned char>(byte));
        if (list.size() + item.size() + 1 > room) {
            break;
        }
        list += item;
    }
    return list;
}

void checkNumber(CUrlString& url, const std::string& name, const std::optional<Value>& value) {
    const int number = url.GetParamIntVal(name.c_str(), 4711);
    if (!value) {
        require(number == 4711, "a number without a value");
    } else if (value->text.size() < 10) {  // scanf is undefined for numbers that overflow
        int expected = 4711;
        if (std::sscanf(value->text.c_str(), "%i", &expected) != 1) {
            expected = 4711;
        }
        require(number == expected, "GetParamIntVal");
    }
}

void checkBytes(CUrlString& url, const std::string& name, const std::optional<Value>& value,
                int most, int skip) {
    std::vector<unsigned char> out(300, 0xEE);
    const int room = std::min(most, 256);
    const int count = url.GetParamByteStream(name.c_str(), out.data(), room, skip);
    std::string expected;
    if (value) {
        const auto dropped = static_cast<std::size_t>(std::max(skip, 0));
        const auto kept = static_cast<std::size_t>(std::max(room, 0));
        expected = decoded(value->text, std::min<std::size_t>(dropped + kept, 1024));
        expected = expected.size() > dropped ? expected.substr(dropped) : "";
    }
    require(count >= 0 && std::string(out.begin(), out.begin() + count) == expected,
            "GetParamByteStream");
    require(std::all_of(out.begin() + count, out.end(), [](unsigned char c) { return c == 0xEE; }),
            "bytes behind those that were asked for");
}

void checkGetters(CUrlString& url, const Model& model, const std::string& name, int most,
                  int skip) {
    const auto value = findValue(model.text, name);
    int length = -1;
    const int offset = url.GetParamValueOffset(name.c_str(), &length);
    require(offset == (value ? static_cast<int>(value->offset) : 0), "GetParamValueOffset");
    require(length == (value ? static_cast<int>(value->text.size()) : 0), "length of a value");
    const char* text = url.GetParamValueString(name.c_str(), nullptr);
    require(text == (value ? url.GetText() + offset : nullptr), "GetParamValueString");
    const Owned decodedText(url.GetParamStringVal(name.c_str(), "default"), std::free);
    // In both, a byte 0 hides the bytes after it.
    const std::string expected =
        value ? decoded(value->text, std::min<std::size_t>(value->text.size(), 1024)) : "default";
    require(std::string(decodedText.get()) == expected.c_str(), "GetParamStringVal");
    checkNumber(url, name, value);
    checkBytes(url, name, value, most, skip);
}

void perform(CUrlString& url, Model& model, Input& input) {
    switch (input.byte() % 9) {
        case 0: {
            const std::string text = input.text();
            const int at = input.number();
            url.Append(text.c_str(), at);
            model.append(text, at);
            break;
        }
        case 1: {
            const std::string text = input.text();
            const int start = input.number();
            const int count = input.number();
            url.Replace(text.c_str(), start, count);
            model.replace(text, start, count);
            break;
        }
        case 2: {
            const int start = input.number();
            const int count = input.number();
            url.Clear(start, count);
            model.clear(start, count);
            break;
        }
        case 3: {
            const int start = input.number();
            const int count = input.number();
            const Owned part(url.Extract(start, count), std::free);
            require(part.get() == model.extract(start, count), "Extract");
            break;
        }
        case 4: {
            const std::string service = input.text();
            url.SetService(service.c_str());
            model.setService(service);
            break;
        }
        case 5: {
            const std::string name = input.text();
            const std::string value = input.text();
            url.SetParamVal(name.c_str(), value.c_str());
            model.setValue(name, value);
            break;
        }
        case 6: {
            const std::string name = input.text();
            const std::string value = input.text();
            url.SetParamStringVal(name.c_str(), value.c_str());
            model.setValue(name, "\"" + value.substr(0, 1024) + "\"");
            break;
        }
        case 7: {
            const std::string name = input.text();
            const std::string bytes = input.text() + std::string(1, '\0');
            url.SetParamByteStream(name.c_str(),
                                   reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.size()));
            model.setValue(name, byteList(bytes));
            break;
        }
        default: {
            const std::string name = input.text();
            const int most = input.number();
            checkGetters(url, model, name, most, input.number());
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    CUrlString url;
    Model model;
    while (!input.isEmpty()) {
        perform(url, model, input);
        require(url.GetText() == model.text, "the text differs from the model's");
        require(static_cast<std::size_t>(url.GetLength()) == model.text.size(), "GetLength");
    }
    return 0;
}
