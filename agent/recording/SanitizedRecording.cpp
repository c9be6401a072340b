#include "agent/recording/SanitizedRecording.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "agent/Refusal.h"
#include "agent/described/CommandTable.h"
#include "agent/recording/Recording.h"
#include "tools/Hexadecimal.h"
#include "tools/Json.h"

namespace varnock::agent {
namespace {

std::string stringOf(const Json& value) {
    return {value.GetString(), value.GetStringLength()};
}

unsigned numberIn(Json& object, const char* name) {
    const Json* const value = findMember(object, name);
    return value != nullptr && value->IsUint() ? value->GetUint() : 0;
}

/// The bytes of a list of numbers; empty if it has others.
std::string listedBytes(const Json& list) {
    std::string bytes;
    for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
        if (!list[i].IsUint() || list[i].GetUint() > 0xFF) {
            return {};
        }
        bytes += static_cast<char>(list[i].GetUint());
    }
    return bytes;
}

/// Replaces values in the lines of a recording.
class Cleaner {
  public:
    explicit Cleaner(Sanitizer& sanitizer) : sanitizer_(sanitizer) {}

    /// REQUIRES: parseRecordedLine() takes the line.
    std::string line(const std::string& text) {
        JsonDocument document;
        static_cast<void>(parse(document, text));
        auto& memory = document.GetAllocator();
        if (Json* const record = findMember(document, "record")) {
            cleanRecord(*record, memory);
        }
        for (const char* name : {"text", "bytes"}) {
            Json* const digits = findMember(document, name);
            const auto bytes = digits != nullptr ? bytesOfDigits(stringOf(*digits)) : std::nullopt;
            if (bytes) {
                *digits = varnock::text(hexadecimalDigits(inBytes(*bytes)), memory);
            }
        }
        return toString(document, false);
    }

  private:
    void cleanRecord(Json& record, JsonAllocator& memory) {
        Json* const sip = findMember(record, "SIP");
        Json* const commands = sip != nullptr ? findMember(*sip, "CMD") : nullptr;
        for (rapidjson::SizeType i = 0;
             commands != nullptr && commands->IsArray() && i < commands->Size(); ++i) {
            Json& command = (*commands)[i];
            if (Json* const data = findMember(command, "DA")) {
                cleanData(*data, rowOf(command), memory);
            }
        }
    }

    /// The call of a command; one without a value if the catalogue does not have it.
    const catalogue::Row& rowOf(Json& command) const {
        static constexpr catalogue::Row kNone{};
        const auto* routes = table_.find(numberIn(command, "OC"), numberIn(command, "OE"));
        return routes != nullptr ? *routes->front().row : kNone;
    }

    void cleanData(Json& data, const catalogue::Row& row, JsonAllocator& memory) {
        Json* const list = findMember(data, "RAW");
        if (data.IsString()) {
            data = text(sanitizer_.valueOf(row, stringOf(data)), memory);
        } else if (data.IsUint() && privateKindOf(row) == PrivateKind::address) {
            data.SetUint(address(data.GetUint()));
        } else if (list != nullptr && list->IsArray()) {
            const std::string bytes = blockOf(row, listedBytes(*list));
            for (rapidjson::SizeType i = 0; i < bytes.size(); ++i) {
                (*list)[i].SetUint(static_cast<unsigned char>(bytes[i]));
            }
        }
    }

    /// Four bytes of an address may be a number.
    unsigned address(unsigned number) {
        std::string bytes(sizeof number, '\0');
        std::memcpy(bytes.data(), &number, sizeof number);
        bytes = sanitizer_.addressBytes(bytes);
        std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }

    std::string blockOf(const catalogue::Row& row, const std::string& bytes) {
        if (privateKindOf(row) == PrivateKind::address) {
            return sanitizer_.addressBytes(bytes);
        }
        return row.reply == "components" ? inBytes(component(bytes)) : inBytes(bytes);
    }

    /// The record of a component has its serial number as the seventh of its texts.
    std::string component(std::string bytes) {
        constexpr std::size_t kHead = 6;
        constexpr int kTextsBefore = 6;
        std::size_t begin = std::min(kHead, bytes.size());
        for (int i = 0; i < kTextsBefore && begin < bytes.size(); ++i) {
            begin = std::min(bytes.find('\0', begin), bytes.size() - 1) + 1;
        }
        const std::size_t length = std::min(bytes.find('\0', begin), bytes.size()) - begin;
        const std::string serial = bytes.substr(begin, length);
        return bytes.replace(begin, length, sanitizer_.value(PrivateKind::label, serial));
    }

    /// Replaces within the texts that stand in a block, whose sizes remain.
    std::string inBytes(const std::string& bytes) {
        const auto isPrintable = [](char c) { return c >= ' ' && c <= '~'; };
        std::string result;
        for (std::size_t i = 0; i < bytes.size();) {
            std::size_t end = i;
            while (end < bytes.size() && isPrintable(bytes[end])) {
                ++end;
            }
            std::string run = sanitizer_.text(bytes.substr(i, end - i));
            run.resize(end - i, ' ');
            result += run;
            for (i = end; i < bytes.size() && !isPrintable(bytes[i]); ++i) {
                result += bytes[i];
            }
        }
        return result;
    }

    CommandTable table_;
    Sanitizer& sanitizer_;
};

}  // namespace

std::string sanitizedRecording(const std::string& lines, Sanitizer& sanitizer) {
    Cleaner cleaner(sanitizer);
    std::string result;
    // The first time only makes the values known.
    for (int round = 0; round < 2; ++round) {
        result.clear();
        std::istringstream stream(lines);
        unsigned number = 0;
        for (std::string line; std::getline(stream, line);) {
            ++number;
            if (!parseRecordedLine(line)) {
                throw Refusal("line " + std::to_string(number) + ": not a line of a recording");
            }
            result += cleaner.line(line);
            result += '\n';
        }
    }
    return result;
}

void writeSanitized(const std::string& lines, Sanitizer sanitizer, const std::string& path) {
    const std::string sanitized = sanitizedRecording(lines, sanitizer);
    std::ofstream file(path, std::ios::trunc);
    file << sanitized;
    file.close();
    if (!file) {
        throw Refusal(path + ": cannot write the recording: " + std::strerror(errno));
    }
}

}  // namespace varnock::agent
