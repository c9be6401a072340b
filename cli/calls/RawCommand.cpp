#include <cctype>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/Commands.h"
#include "cli/calls/Catalogue.h"
#include "cli/calls/Session.h"
#include "cli/calls/Verdict.h"
#include "cli/output/Failure.h"
#include "tools/Console.h"

namespace varnockctl {
namespace {

std::vector<unsigned char> parseHex(const std::string& given) {
    std::vector<unsigned char> bytes;
    std::string digits;
    for (const char c : given) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0) {
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
    const unsigned int opcode = parseNumber(raw.opcode, "OC");
    SipJson record(opcode, parseNumber(raw.ext, "--ext"), parseNumber(raw.object, "--object"),
                   parseNumber(raw.cabinet, "--cabinet"), SipJson::noStatus);
    setData(record, raw.data);
    if (options.dryRun) {
        return recordAnswer(record.Export(), "record");
    }
    Session session(options);
    if (changesState(opcode)) {
        confirmCall(options, "Operation " + raw.opcode);
    }
    try {
        // The status of the record tells the result.
        static_cast<void>(session.client().request(record));
    } catch (const provider::CimErrorException& exception) {
        throw Failure(ExitStatus::permission, exception.toString().c_str());
    } catch (const provider::BaseException& exception) {
        throw Failure(ExitStatus::noAgent, exception.toString().c_str());
    }
    Answer answer = recordAnswer(record.Export(), "reply");
    if (!SipJson::CmdStatusSuccess(record.Status())) {
        answer.status = exitStatusOf(record.Status());
        say(describeStatus(record.Status()));
    }
    return answer;
}

}  // namespace varnockctl
