#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Fuzzing.h"
#include "transport/SipJson.h"

// Imports any text as a reply of the agent, calls every getter, exports the record and uses it
// again for the next request. The result is compared with a plain parse of the text.

namespace {

using varnock::fuzz::require;

constexpr char kEmptyRecord[] = R"({"SIP":{"V":1,"CMD":[]}})";

/// The depth of the brackets outside strings.
std::size_t nesting(const std::string& text) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString && c == '\\') {
            ++i;
        } else if (c == '"') {
            inString = !inString;
        } else if (!inString && (c == '[' || c == '{')) {
            deepest = std::max(deepest, ++depth);
        } else if (!inString && (c == ']' || c == '}') && depth != 0) {
            --depth;
        }
    }
    return deepest;
}

/// The text that the record must export after importing `text`.
std::string expected(const std::string& text) {
    if (nesting(text) > 256) {
        return kEmptyRecord;
    }
    rapidjson::Document document;
    document.Parse(text.c_str());
    if (document.HasParseError()) {
        return kEmptyRecord;
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

/// The results of the getters for one command.
struct Answers {
    explicit Answers(const SipJson& record, int index)
        : opCode(record.GetCmdValue(index, "OC", 7)),
          opCodeExt(record.GetCmdValue(index, "OE", 7)),
          objectId(record.GetCmdValue(index, "OI", 7)),
          cabinetNr(record.GetCmdValue(index, "CA", 7)),
          status(record.GetCmdValue(index, "ST", 7)),
          read(record.GetCmdUIntData(index, number)),
          hasText(record.GetCmdDataString(index, text, 0)),
          hasTail(record.GetCmdDataString(index, tail, 3)),
          hasBytes(record.GetCmdDataStream(index, bytes)),
          size(record.GetCmdDataSize(index)),
          atLeast(record.HasCmdDataSize(index, 4, 1)),
          exactly(record.HasCmdDataSize(index, 4, 0)),
          present(record.HasCmdDataSize(index, 0, 0)) {}

    bool operator==(const Answers&) const = default;

    unsigned int number = 0;
    std::string text;
    std::string tail;
    std::vector<unsigned char> bytes;
    unsigned int opCode;
    unsigned int opCodeExt;
    unsigned int objectId;
    unsigned int cabinetNr;
    unsigned int status;
    bool read;
    bool hasText;
    bool hasTail;
    bool hasBytes;
    unsigned long size;
    bool atLeast;
    bool exactly;
    bool present;
};

/// The member of a value; null if the value is no object or has none of this name.
const rapidjson::Value* memberOf(const rapidjson::Value* value, const char* name) {
    if (value == nullptr || !value->IsObject()) {
        return nullptr;
    }
    const auto found = value->FindMember(name);
    return found != value->MemberEnd() ? &found->value : nullptr;
}

/// A command of a plain parse; null if there is none.
const rapidjson::Value* commandIn(const rapidjson::Document& document, int index) {
    const rapidjson::Value* const commands = memberOf(memberOf(&document, "SIP"), "CMD");
    const bool isThere = commands != nullptr && commands->IsArray() && index >= 0 &&
                         static_cast<rapidjson::SizeType>(index) < commands->Size();
    return isThere ? &(*commands)[static_cast<rapidjson::SizeType>(index)] : nullptr;
}

unsigned int numberIn(const rapidjson::Value* command, const char* name) {
    const rapidjson::Value* const value = memberOf(command, name);
    return value != nullptr && value->IsUint() ? value->GetUint() : 7;
}

/// True for a block of at least four bytes. A larger element is cut in the bytes, not in the
/// number.
bool isPlainBlock(const rapidjson::Value* block) {
    const auto isByte = [](const rapidjson::Value& element) {
        return element.IsUint() && element.GetUint() < 256;
    };
    return block != nullptr && block->IsArray() && block->Size() >= 4 &&
           std::all_of(block->Begin(), block->End(), isByte);
}

/// Compares the results with a plain parse of the exported text.
void checkModel(const Answers& answers, const rapidjson::Value* command) {
    require(answers.opCode == numberIn(command, "OC"), "OC");
    require(answers.opCodeExt == numberIn(command, "OE"), "OE");
    require(answers.objectId == numberIn(command, "OI"), "OI");
    require(answers.cabinetNr == numberIn(command, "CA"), "CA");
    require(answers.status == numberIn(command, "ST"), "ST");
    const rapidjson::Value* const data = memberOf(command, "DA");
    require(answers.present == (data != nullptr), "the presence of data");
    if (data == nullptr) {
        return;
    }
    if (data->IsNumber()) {
        const bool isNumber = data->IsInt() || data->IsUint();
        require(answers.read == isNumber && !answers.hasText, "a number");
        require(!isNumber || answers.number == static_cast<unsigned int>(data->GetInt64()),
                "the number");
        require(answers.size == (data->IsInt64() || data->IsUint64() ? 8 : 0), "its size");
    } else if (data->IsString()) {
        require(answers.hasText && answers.text == data->GetString() && !answers.hasTail, "a text");
        require(answers.hasBytes && answers.bytes.size() >= answers.text.size() + 1 &&
                    answers.bytes.back() == 0,
                "the bytes of a text");
    } else if (data->IsNull()) {
        require(answers.hasText && answers.text.empty() && !answers.read, "null");
    } else if (isPlainBlock(memberOf(data, "RAW"))) {
        unsigned int number = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            number |= static_cast<unsigned int>(answers.bytes[i]) << (8 * i);
        }
        require(answers.read && answers.number == number, "the number of a block");
        require(answers.size == answers.bytes.size(), "the size of a block");
    }
}

void checkIndexless(const SipJson& record, const Answers& first) {
    std::string text;
    std::vector<unsigned char> bytes;
    require(record.UIntValue() == (first.read ? first.number : 0), "UIntValue");
    require(record.DataByte() == record.UIntValue(), "DataByte");
    require(record.DataWord() == record.UIntValue(), "DataWord");
    require(record.DataDWord() == record.UIntValue(), "DataDWord");
    require(record.GetDataString(text) == first.hasText && text == first.text, "GetDataString");
    require(record.GetDataStream(bytes) == first.hasBytes && bytes == first.bytes, "GetDataStream");
    require(record.Success() == SipJson::CmdStatusSuccess(record.Status()), "Success");
    require(record.HasReplyData() == (record.Success() && first.present), "HasReplyData");
}

void checkGetters(const SipJson& record, const SipJson& again) {
    rapidjson::Document document;
    document.Parse(record.Export().c_str());
    require((record.GetCmds() == nullptr) == (again.GetCmds() == nullptr), "GetCmds");
    for (const int index : {0, 1, -1, 1000000}) {
        const Answers answers(record, index);
        require(answers == Answers(again, index), "an exported record answers otherwise");
        checkModel(answers, commandIn(document, index));
        require(answers.present || !(answers.read || answers.hasText || answers.hasBytes),
                "data without data");
        if (index == 0) {
            checkIndexless(record, answers);
        }
    }
    require(record.OpCode() == again.OpCode(), "OpCode");
    require(record.OpCodeExt() == again.OpCodeExt(), "OpCodeExt");
    require(record.ObjectId() == again.ObjectId(), "ObjectId");
    require(record.CabinetNr() == again.CabinetNr(), "CabinetNr");
    require(record.Status() == again.Status(), "Status");
}

/// Runs the setters on the imported record, then starts a new command, which must reset it.
void checkSetters(SipJson& record) {
    const bool settable = record.SetDataWord(513, 0);
    require(!settable || (record.UIntValue() == 513 && record.HasReplyData()), "SetDataWord");
    require(record.SetDataByte(200, 12) == settable, "SetDataByte");
    require(!settable || (record.DataByte() == 200 && record.Status() == 12), "a byte");
    require(record.SetDataDWord(0xFFFFFFFE, 0) == settable, "SetDataDWord");
    require(!settable || record.DataDWord() == 0xFFFFFFFE, "a double word");
    std::string text;
    require(record.SetDataString("text", 12) == settable, "SetDataString");
    require(!settable || (record.GetDataString(text) && text == "text"), "a text that was set");
    require(record.SetRequestDataStream({1, 2}) == settable, "SetRequestDataStream");
    require(!settable || (record.DataWord() == 0x201 && record.Status() == 22), "block");
    require(record.SetStatus(19) == settable, "SetStatus");
    require(record.ClearData() == settable, "ClearData");
    require(record.SetCmd(1, 2, 3, 4, 5), "SetCmd");
    require(record.OpCode() == 1 && record.OpCodeExt() == 2 && record.ObjectId() == 3 &&
                record.CabinetNr() == 4 && record.Status() == 5,
            "values of SetCmd");
    record.Clear();
    require(record.OpCode() == 0, "Clear");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string whole(reinterpret_cast<const char*>(data), size);
    const std::string text = whole.c_str();  // the texts of frames end at their NUL
    SipJson record(1, 2, 3, 4, 0);
    record.Import(text.c_str());
    const std::string exported = record.Export();
    require(exported == expected(text), "the export differs from a plain parse");
    SipJson again;
    again.Import(exported.c_str());
    checkGetters(record, again);
    checkSetters(record);
    return 0;
}
