#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"
#include "runtime/ProfileFile.h"

// Reads and changes any bytes as a profile file. A simple model of the format gives the value, the
// lists of names and the whole text after a change.
//
// Input: flags, then section, key and value, each ended by a newline, then the file.

namespace {

using varnock::fuzz::Input;
using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;

constexpr std::size_t kLongestLine = 1023;
constexpr std::string_view kBlanks = " \t\n\v\f\r";

/// An argument that may be null.
using Text = std::optional<std::string>;

const char* pointer(const Text& text) {
    return text ? text->c_str() : nullptr;
}

/// A line of the file, as its users see it.
struct Line {
    std::size_t begin;
    std::size_t end;   ///< behind the newline
    std::string text;  ///< up to a NUL
    bool hasNewline;
};

std::vector<Line> linesOf(std::string_view file) {
    std::vector<Line> lines;
    for (std::size_t begin = 0; begin < file.size();) {
        const std::size_t newline = file.find('\n', begin);
        const bool hasNewline = newline != file.npos;
        const std::size_t end = hasNewline ? newline + 1 : file.size();
        const std::string_view whole = file.substr(begin, end - begin - (hasNewline ? 1 : 0));
        lines.push_back({begin, end, std::string(whole.substr(0, kLongestLine)), hasNewline});
        begin = end;
    }
    return lines;
}

void endAtNul(std::string& text) {
    text.resize(std::strlen(text.c_str()));
}

std::string withoutBlanksBefore(const std::string& text) {
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

std::string withoutBlanksBehind(std::string text) {
    text.resize(text.find_last_not_of(kBlanks) + 1);
    return text;
}

bool opens(const std::string& line, const std::string& section) {
    return line.starts_with("[" + section + "]");
}

/// What a reader finds.
struct Reading {
    Text value;
    std::vector<std::string> sections;
    std::vector<std::string> keys;  ///< of the section
};

Reading read(std::string_view file, const std::string& section, const std::string& key) {
    Reading reading;
    bool isInside = false;
    bool isOver = false;
    for (Line& line : linesOf(file)) {
        endAtNul(line.text);
        std::string text = withoutBlanksBefore(line.text);
        if (text.empty() || text[0] == ';') {
            continue;
        }
        text = withoutBlanksBehind(text.substr(0, text.find(';')));
        if (text[0] == '[') {
            if (const std::size_t end = text.find(']'); end != text.npos) {
                reading.sections.push_back(text.substr(1, end - 1));
            }
            isOver = isOver || isInside;
            isInside = opens(text, section);
            continue;
        }
        const std::size_t equals = text.find('=');
        if (!isInside || isOver || equals == text.npos) {
            continue;
        }
        reading.keys.push_back(withoutBlanksBehind(text.substr(0, equals)));
        if (!reading.value && reading.keys.back() == key) {
            reading.value = withoutBlanksBefore(text.substr(equals + 1));
        }
    }
    return reading;
}

/// The text of the file after a change.
std::string changed(const std::string& file, const std::string& section, const Text& key,
                    const Text& value) {
    const std::string line = key && value ? *key + "=" + *value + "\n" : "";
    const auto replaced = [&](std::size_t from, std::size_t to, const char* first) {
        return file.substr(0, from) + first + line + file.substr(to);
    };
    bool isInside = false;
    std::size_t sectionBegin = 0;
    std::size_t begin = 0;  ///< of the line and the empty lines and comments before it
    unsigned int keys = 0;
    for (Line& next : linesOf(file)) {
        if (!next.hasNewline && !next.text.empty()) {
            next.text.pop_back();
        }
        endAtNul(next.text);
        if (next.text.empty() || next.text[0] == ';') {
            continue;
        }
        const std::size_t equals = next.text.find('=');
        if (!isInside) {
            isInside = opens(next.text, section);
            sectionBegin = begin;
        } else if (next.text[0] == '[') {
            if (!key) {
                return replaced(sectionBegin, begin, "");
            }
            return value ? replaced(begin, begin, "") : file;
        } else if (equals != next.text.npos) {
            ++keys;
            if (key && withoutBlanksBehind(next.text.substr(0, equals)) == *key) {
                return replaced(begin, next.end, keys < 2 ? "\n" : "");
            }
        }
        begin = next.end;
    }
    if (!key) {
        return isInside ? file.substr(0, sectionBegin) : file;
    }
    if (!value) {
        return file;
    }
    if (!isInside) {
        return file + "\n[" + section + "]\n\n" + line;
    }
    return file + (file.empty() || file.back() == '\n' ? "" : "\n") + line;
}

std::string listOf(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) {
        list += name + '\0';
    }
    return list;
}

/// What GetPrivateProfileString() places.
std::string placed(const char* section, const char* key, const char* standIn, unsigned int size,
                   const std::string& path) {
    std::string out(size + 1, '\x7E');
    const unsigned int count =
        CSysBase::GetPrivateProfileString(section, key, standIn, out.data(), size, path.c_str());
    require(out[size] == '\x7E', "bytes behind the buffer");
    require(size == 0 || count < size, "more characters than the buffer has");
    require(size == 0 || out[count] == '\0', "no NUL at the end");
    return out.substr(0, count);
}

void checkReading(const PrivateFile& file, const std::string& text, const std::string& section,
                  const std::string& key, unsigned int small) {
    const auto large = static_cast<unsigned int>(2 * text.size() + 100);
    const Reading expected = read(text, section, key);
    const std::string& path = file.path();
    const std::string value = expected.value.value_or("default");
    require(placed(section.c_str(), key.c_str(), "default", large, path) == value, "the value");
    require(placed(nullptr, nullptr, "default", large, path) == listOf(expected.sections),
            "the sections");
    require(placed(section.c_str(), nullptr, "default", large, path) == listOf(expected.keys),
            "the keys");
    // No line is read into a buffer of two characters, which a list needs for its end.
    const std::string cut = small == 2 ? "default" : value;
    require(placed(section.c_str(), key.c_str(), "default", small, path) ==
                cut.substr(0, small < 2 ? 0 : small - 1),
            "a value that is cut");
    require(placed(section.c_str(), nullptr, nullptr, small, path) ==
                listOf(expected.keys).substr(0, small < 2 ? 0 : small - 2),
            "a list that is cut");
    CIniFile ini(path.c_str());
    require(ini.GetString(section.c_str(), key.c_str(), "default") == value, "GetString");
    std::vector<std::string> names;
    ini.GetEnums(names, section.c_str());
    // An empty name ends the list.
    const auto end = std::find(expected.keys.begin(), expected.keys.end(), "");
    require(names == std::vector<std::string>(expected.keys.begin(), end), "GetEnums");
}

/// A name or value that the format can give back.
bool isPlain(const std::string& text) {
    return text.find_first_of(";[]=") == text.npos && text.find_first_not_of(kBlanks) == 0 &&
           withoutBlanksBehind(text) == text && text.size() < kLongestLine / 2;
}

/// True if readers and writers see the same lines: the writer skips no blanks before a line, and
/// takes the last character of the file for a newline.
bool isPlainFile(const std::string& file) {
    for (const Line& line : linesOf(file)) {
        if (!line.hasNewline || line.text.size() == kLongestLine ||
            line.text.find('\0') != line.text.npos || line.text.find_first_of(kBlanks) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const PrivateFile file("profile");
    Input input(data, size);
    const unsigned int flags = input.byte();
    const std::string section = input.line().c_str();
    const std::string name = input.line().c_str();
    const std::string content = input.line().c_str();
    const std::string text(input.rest());
    file.write(text);
    checkReading(file, text, section, name, flags >> 2);

    const Text key = (flags & 1) == 0 ? Text(name) : std::nullopt;
    const Text value = (flags & 2) == 0 ? Text(content) : std::nullopt;
    require(CSysBase::WritePrivateProfileString(section.c_str(), pointer(key), pointer(value),
                                                file.path().c_str()) == 1,
            "a change is refused");
    require(file.read() == changed(text, section, key, value), "the changed file");
    if (key && value && isPlain(section) && isPlain(name) && isPlain(content) &&
        isPlainFile(text)) {
        require(placed(section.c_str(), name.c_str(), nullptr,
                       static_cast<unsigned int>(content.size() + 2), file.path()) == content,
                "a written value is not read back");
    }
    return 0;
}
