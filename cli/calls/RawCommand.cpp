#include <string_view>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/Commands.h"
#include "cli/calls/Catalogue.h"
#include "cli/calls/Session.h"
#include "cli/calls/Verdict.h"
#include "cli/explain/Codes.h"
#include "cli/output/Failure.h"
#include "tools/Console.h"

namespace varnockctl {
namespace {

std::vector<unsigned char> parseHex(const std::string& given) {
    std::vector<unsigned char> bytes;
    std::string digits;
    for (const char c : given) {
        if (std::string_view(" \t\n").find(c) == std::string_view::npos) {
            digits += c;
        }
    }
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::string pair = "0x" + digits.substr(i, 2);
        if (pair.size() != 4) {
            throw Failure(ExitStatus::usage, "--stream: the number of hexadecimal digits is odd");
        }
        bytes.push_back(static_cast<unsigned char>(parseNumber(pair, "--stream", 0xFF)));
    }
    return bytes;
}

void setData(SipJson& record, const RawData& data) {
    if (data.byte) {
        record.SetDataByte(static_cast<unsigned char>(parseNumber(*data.byte, "--byte", 0xFF)), 0);
    } else if (data.word) {
        record.SetDataWord(static_cast<unsigned short>(parseNumber(*data.word, "--word", 0xFFFF)),
                           0);
    } else if (data.dword) {
        record.SetDataDWord(parseNumber(*data.dword, "--dword"), 0);
    } else if (data.string) {
        record.SetDataString(data.string->c_str(), 0);
    } else if (data.stream) {
        record.SetRequestDataStream(parseHex(*data.stream));
    }
}

Answer recordAnswer(const std::string& exported, const char* member) {
    Answer answer;
    auto& allocator = answer.document.GetAllocator();
    answer.document.SetObject();
    add(answer.document, member, copyValid(JsonDocument().Parse(exported.c_str()), allocator),
        allocator);
    return answer;
}

}  // namespace

Answer runRaw(const Options& options, const RawRecord& raw) {
    if (options.sanitize) {
        throw Failure(ExitStatus::usage,
                      "--sanitize: what the bytes of a record mean is not known; use call");
    }
    const unsigned int opcode = parseNumber(raw.opcode, "OC");
    SipJson record(opcode, parseNumber(raw.ext, "--ext"), parseNumber(raw.object, "--object"),
                   parseNumber(raw.cabinet, "--cabinet"), SipJson::noStatus);
    setData(record, raw.data);
    if (options.dryRun) {
        Answer answer = recordAnswer(record.Export(), "record");
        answer.table = record.Export() + "\n";
        return answer;
    }
    Session session(options);
    if (changesState(opcode)) {
        confirmCall(options, "Operation " + raw.opcode);
    }
    try {
        // The status of the record tells the result.
        static_cast<void>(session.client().request(record));
    } catch (const provider::CimErrorException&) {
        throw Failure(ExitStatus::permission, "the agent does not allow it to this user");
    } catch (const provider::BaseException&) {
        throw Failure(ExitStatus::noAgent, "the connection to the agent is lost");
    }
    Answer answer = recordAnswer(record.Export(), "reply");
    if (!SipJson::CmdStatusSuccess(record.Status())) {
        answer.fail(exitStatusOf(record.Status()), describeStatus(record.Status()));
        say(explainHint(record.Status()));
    }
    return answer;
}

}  // namespace varnockctl
