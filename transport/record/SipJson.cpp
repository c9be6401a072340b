#include "transport/SipJson.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "transport/record/JsonText.h"
#include "util/StringMapper.h"

namespace {

using Value = SipJson::Value;
using rapidjson::SizeType;

constexpr std::string_view kKeyRoot = "SIP";
constexpr std::string_view kKeyVersion = "V";
constexpr std::string_view kKeyCommands = "CMD";
constexpr std::string_view kKeyOpCode = "OC";
constexpr std::string_view kKeyOpCodeExt = "OE";
constexpr std::string_view kKeyObjectId = "OI";
constexpr std::string_view kKeyCabinetNr = "CA";
constexpr std::string_view kKeyStatus = "ST";
constexpr std::string_view kKeyData = "DA";
constexpr std::string_view kKeyBlock = "RAW";

constexpr int kDocumentVersion = 1;

constexpr varnock::JsonHeap& heap = varnock::jsonHeap;

std::string_view textOf(const Value& name) {
    return {name.GetString(), name.GetStringLength()};
}

/// Names have two or three characters; comparing them inline is faster than a call.
bool isName(std::string_view name, std::string_view key) {
    if (name.size() != key.size()) {
        return false;
    }
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (name[i] != key[i]) {
            return false;
        }
    }
    return true;
}

/// The member `key`, the first of several; null unless `value` is an object that has it.
const Value* find(const Value& value, std::string_view key) {
    if (!value.IsObject()) {
        return nullptr;
    }
    for (const auto& member : value.GetObject()) {
        if (isName(textOf(member.name), key)) {
            return &member.value;
        }
    }
    return nullptr;
}

Value* find(Value& value, std::string_view key) {
    return const_cast<Value*>(find(std::as_const(value), key));
}

/// The array `key` of an object, else null.
const Value* findArray(const Value& value, std::string_view key) {
    const Value* found = find(value, key);
    return found != nullptr && found->IsArray() ? found : nullptr;
}

/// Adds a value to an object without a member of this name. REQUIRES: `key` outlives the object.
void add(Value& object, std::string_view key, Value&& value) {
    // AddMember() stores the new capacity before it allocates. After a failure the object must not
    // believe in it: its members are untouched, so its own bytes are put back.
    unsigned char before[sizeof object];
    std::memcpy(before, static_cast<const void*>(&object), sizeof before);
    try {
        object.AddMember(Value(key.data(), static_cast<SizeType>(key.size())), std::move(value),
                         heap);
    } catch (const std::bad_alloc&) {
        std::memcpy(static_cast<void*>(&object), before, sizeof before);
        throw;
    }
}

/// Sets a value in an object: replaces the existing one, or appends a member. REQUIRES: as for
/// `add`.
void put(Value& object, std::string_view key, Value&& value) {
    if (Value* existing = find(object, key)) {
        *existing = std::move(value);
    } else {
        add(object, key, std::move(value));
    }
}

/// Removes every member of this name, so that no duplicate becomes visible, and keeps the order of
/// the others. One pass, because an imported text can contain many thousand duplicates.
bool removeMember(Value& object, std::string_view key) {
    if (find(object, key) == nullptr) {
        return false;
    }
    Value::Member* const begin = &*object.MemberBegin();
    Value::Member* const end = begin + object.MemberCount();
    Value::Member* kept = begin;
    for (Value::Member* member = begin; member != end; ++member) {
        if (textOf(member->name) == key) {
            continue;
        }
        if (kept != member) {
            kept->name = std::move(member->name);
            kept->value = std::move(member->value);
        }
        ++kept;
    }
    object.EraseMember(object.MemberBegin() + (kept - begin), object.MemberEnd());
    return true;
}

/// An element of a byte block: a negative number counts as its bit pattern, anything else as 0.
unsigned int blockElement(const Value& element) {
    if (element.IsUint()) {
        return element.GetUint();
    }
    return element.IsInt() ? static_cast<unsigned int>(element.GetInt()) : 0;
}

/// The block of bytes in the data; null if there is none or its first element cannot be a byte.
const Value* findBlock(const Value& data) {
    const Value* block = findArray(data, kKeyBlock);
    return block != nullptr && !block->Empty() && (*block)[0].IsUint() ? block : nullptr;
}

Value makeBlock(const std::vector<unsigned char>& bytes) {
    Value elements(rapidjson::kArrayType);
    elements.Reserve(static_cast<SizeType>(bytes.size()), heap);
    // Constructed in place, which is twice as fast as moving. The space is there: nothing is
    // thrown, and saying so keeps the moved value out of memory, which is twice as fast again.
    const auto append = [&elements](unsigned char byte) noexcept {
        elements.PushBack(Value(), heap);
        new (elements.End() - 1) Value(static_cast<unsigned int>(byte));
    };
    for (const unsigned char byte : bytes) {
        append(byte);
    }
    Value block(rapidjson::kObjectType);
    add(block, kKeyBlock, std::move(elements));
    return block;
}

/// Little-endian and unmasked, so that an element above 255 carries into the next byte; a missing
/// position counts as 0. Only a block of exactly two elements is masked.
unsigned int assembleBlock(const Value& block) {
    const SizeType size = block.Size();
    if (size == 2) {
        return (blockElement(block[0]) & 0xFF) | (blockElement(block[1]) & 0xFF) << 8;
    }
    unsigned int value = 0;
    for (SizeType i = 0; i < size && i < 4; ++i) {
        value += blockElement(block[i]) << (8 * i);
    }
    return value;
}

/// The bytes of a number in its smallest width.
unsigned int widthOf(std::uint64_t number) {
    if (number < 0x100) {
        return 1;
    }
    if (number < 0x10000) {
        return 2;
    }
    return number <= 0xFFFFFFFF ? 4 : 8;
}

/// Texts end at their first NUL, those with an escaped \u0000 too.
void appendText(const Value& text, std::vector<unsigned char>& out) {
    const std::string bytes = CStringMapper::StringToUTF8(text.GetString());
    out.insert(out.end(), bytes.begin(), bytes.end());
    out.push_back(0);
}

unsigned long textSize(const Value& text) {
    return std::strlen(text.GetString()) + 1;
}

void blockToBytes(const Value& data, std::vector<unsigned char>& out) {
    out.clear();
    const Value* block = findBlock(data);
    if (block == nullptr) {
        return;
    }
    out.resize(block->Size());
    unsigned char* next = out.data();
    for (const Value& element : block->GetArray()) {
        *next++ = static_cast<unsigned char>(blockElement(element));
    }
}

/// A list ends with an empty text, as in a double-NUL-terminated string list.
void listToBytes(const Value& list, std::vector<unsigned char>& out) {
    out.clear();
    if (list.Empty() || !list[0].IsString()) {
        return;
    }
    for (const Value& element : list.GetArray()) {
        if (element.IsString()) {
            appendText(element, out);
        }
    }
    out.push_back(0);
}

void numberToBytes(std::uint64_t number, std::vector<unsigned char>& out) {
    out.clear();
    const unsigned int width = widthOf(number);
    for (unsigned int i = 0; i < width; ++i) {
        out.push_back(static_cast<unsigned char>(number >> (8 * i)));
    }
}

/// The size of a list of texts or numbers; the first element determines the kind, elements of
/// another kind do not count.
unsigned long listSize(const Value& list) {
    if (list.Empty()) {
        return 0;
    }
    const bool texts = list[0].IsString();
    unsigned long size = texts ? 1 : 0;
    for (const Value& element : list.GetArray()) {
        if (texts) {
            size += element.IsString() ? textSize(element) : 0;
        } else if (list[0].IsNumber() && element.IsNumber()) {
            size += element.IsUint64() ? widthOf(element.GetUint64()) : 8;
        }
    }
    return size;
}

}  // namespace

class SipJson::Document : public varnock::JsonDocument {
  public:
    Document() : GenericDocument(&heap, varnock::kJsonStackCapacity, &heap) {}

    /// The cached array of commands; null if there was none.
    Value* commands() const { return commands_; }
    /// Makes the root an empty object.
    void reset() {
        commands_ = nullptr;
        SetObject();
    }
    /// Must be called whenever the root or its direct members have changed.
    void findCommands() {
        Value* sip = find(*this, kKeyRoot);
        commands_ = sip != nullptr ? find(*sip, kKeyCommands) : nullptr;
    }

  private:
    Value* commands_ = nullptr;  ///< cached for nearly every access
};

SipJson::SipJson() : document_(std::make_unique<Document>()) {
    ClassInit();
}

SipJson::SipJson(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                 unsigned int cabinetNr, unsigned int status)
    : SipJson() {
    SetCmd(opcode, opcodeExt, objectId, cabinetNr, status);
}

SipJson::~SipJson() = default;

void SipJson::ClassInit() {
    document_->reset();
    commandIndex_ = 0;
    JsonInit();
}

void SipJson::JsonInit() {
    if (!document_->IsObject()) {
        return;
    }
    Value sip(rapidjson::kObjectType);
    add(sip, kKeyVersion, Value(kDocumentVersion));
    add(sip, kKeyCommands, Value(rapidjson::kArrayType));
    put(*document_, kKeyRoot, std::move(sip));
    document_->findCommands();
}

void SipJson::Clear() {
    if (Value* commands = GetCmds()) {
        commands->Clear();
    }
    commandIndex_ = 0;
}

bool SipJson::ClearData() {
    Value* commands = GetCmds();
    if (commands == nullptr || commandIndex_ >= commands->Size()) {
        return false;
    }
    Value& command = (*commands)[commandIndex_];
    return command.IsObject() && removeMember(command, kKeyData);
}

const SipJson::Value* SipJson::GetCmds() const {
    const Value* commands = document_->commands();
    return commands != nullptr && commands->IsArray() ? commands : nullptr;
}

SipJson::Value* SipJson::GetCmds() {
    return const_cast<Value*>(std::as_const(*this).GetCmds());
}

SipJson::Value* SipJson::GetCmd() {
    Value* commands = GetCmds();
    if (commands == nullptr) {
        return nullptr;
    }
    if (commandIndex_ >= commands->Size()) {
        commands->PushBack(Value(rapidjson::kObjectType), heap);
        while (commandIndex_ >= commands->Size()) {
            commands->PushBack(Value(), heap);
        }
    }
    return &(*commands)[commandIndex_];
}

/// The current command; null if it is not an object.
SipJson::Value* SipJson::writableCmd() {
    Value* command = GetCmd();
    return command != nullptr && command->IsObject() ? command : nullptr;
}

bool SipJson::SetCmd(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                     unsigned int cabinetNr, unsigned int status) {
    if (GetCmds() == nullptr) {
        ClassInit();  // the record stays usable after any import
    }
    Value& existing = *GetCmd();
    Value command(rapidjson::kObjectType);
    add(command, kKeyOpCode, Value(opcode));
    if (opcodeExt != 0) {
        add(command, kKeyOpCodeExt, Value(opcodeExt));
    }
    if (objectId != 0) {
        add(command, kKeyObjectId, Value(objectId));
    }
    add(command, kKeyCabinetNr, Value(cabinetNr));
    if (status != noStatus) {
        add(command, kKeyStatus, Value(status));
    }
    existing = std::move(command);
    return true;
}

bool SipJson::SetStatus(unsigned int status) {
    Value* command = writableCmd();
    if (command == nullptr) {
        return false;
    }
    put(*command, kKeyStatus, Value(status));
    return true;
}

bool SipJson::setData(Value&& data, unsigned int status) {
    Value* command = writableCmd();
    if (command == nullptr) {
        return false;
    }
    put(*command, kKeyData, std::move(data));
    put(*command, kKeyStatus, Value(status));
    return true;
}

bool SipJson::SetDataByte(unsigned char value, unsigned int status) {
    return SetDataDWord(value, status);
}

bool SipJson::SetDataWord(unsigned short value, unsigned int status) {
    return SetDataDWord(value, status);
}

bool SipJson::SetDataDWord(unsigned int value, unsigned int status) {
    return setData(Value(value), status);
}

bool SipJson::SetDataString(const char* text, unsigned int status) {
    if (text == nullptr) {
        text = "";
    }
    const std::size_t length = std::strlen(text);
    if (length >= std::numeric_limits<SizeType>::max()) {
        return false;
    }
    return setData(Value(text, static_cast<SizeType>(length), heap), status);
}

bool SipJson::SetRequestDataStream(const std::vector<unsigned char>& bytes) {
    Value* command = writableCmd();
    if (command == nullptr || bytes.size() > std::numeric_limits<SizeType>::max()) {
        return false;
    }
    if (bytes.empty()) {
        removeMember(*command, kKeyData);
    } else {
        put(*command, kKeyData, makeBlock(bytes));
    }
    removeMember(*command, kKeyStatus);
    return true;
}

unsigned int SipJson::OpCode() const {
    return number(current(), kKeyOpCode, 0);
}
unsigned int SipJson::OpCodeExt() const {
    return number(current(), kKeyOpCodeExt, 0);
}
unsigned int SipJson::ObjectId() const {
    return number(current(), kKeyObjectId, 0);
}
unsigned int SipJson::CabinetNr() const {
    return number(current(), kKeyCabinetNr, 0);
}
unsigned int SipJson::Status() const {
    return number(current(), kKeyStatus, missingStatus);
}

bool SipJson::Success() const {
    return CmdStatusSuccess(Status());
}

bool SipJson::CmdStatusSuccess(unsigned int status) {
    using varnock::CommandStatus;
    return status == CommandStatus::success || status == CommandStatus::successToo ||
           status == CommandStatus::successOfRecord || status == CommandStatus::successUndefined;
}

/// The member `key` of command `index`; null if anything on its path is missing or of another kind.
const SipJson::Value* SipJson::member(int index, std::string_view key) const {
    const Value* commands = GetCmds();
    if (commands == nullptr || index < 0) {
        return nullptr;
    }
    const auto position = static_cast<SizeType>(index);
    return position < commands->Size() ? find((*commands)[position], key) : nullptr;
}

const SipJson::Value* SipJson::data(int index) const {
    return member(index, kKeyData);
}

unsigned int SipJson::GetCmdValue(int index, const char* key, unsigned int defaultValue) const {
    return key != nullptr ? number(index, key, defaultValue) : defaultValue;
}

unsigned int SipJson::number(int index, std::string_view key, unsigned int defaultValue) const {
    const Value* value = member(index, key);
    return value != nullptr && value->IsUint() ? value->GetUint() : defaultValue;
}

bool SipJson::GetCmdUIntData(int index, unsigned int& out) const {
    const Value* value = data(index);
    if (value == nullptr) {
        return false;
    }
    if (value->IsNumber()) {
        if (!value->IsInt() && !value->IsUint()) {
            return false;
        }
        out = blockElement(*value);
        return true;
    }
    const Value* block = findArray(*value, kKeyBlock);
    if (block == nullptr || block->Empty()) {
        return false;
    }
    out = assembleBlock(*block);
    return true;
}

unsigned int SipJson::UIntValue() const {
    unsigned int value = 0;
    GetCmdUIntData(current(), value);
    return value;
}

unsigned int SipJson::DataByte() const {
    return UIntValue();
}
unsigned int SipJson::DataWord() const {
    return UIntValue();
}
unsigned int SipJson::DataDWord() const {
    return UIntValue();
}

bool SipJson::GetCmdDataString(int index, std::string& out, unsigned long offset) const {
    const Value* value = data(index);
    if (value == nullptr) {
        return false;
    }
    if (value->IsString()) {
        if (offset == 0) {
            out = value->GetString();
        }
        return offset == 0;
    }
    if (!value->IsObject() && !value->IsNull()) {
        return false;
    }
    out.clear();
    if (value->IsNull()) {
        return true;
    }
    const Value* block = findBlock(*value);
    if (block == nullptr || block->Size() <= offset) {
        return false;
    }
    std::string bytes;
    bytes.reserve(block->Size() - offset);
    for (auto i = static_cast<SizeType>(offset); i < block->Size(); ++i) {
        bytes.push_back(static_cast<char>(blockElement((*block)[i])));
    }
    CStringMapper::UTF8ToString(out, bytes.c_str());
    return true;
}

bool SipJson::GetDataString(std::string& out) const {
    return GetCmdDataString(current(), out, 0);
}

bool SipJson::GetCmdDataStream(int index, std::vector<unsigned char>& out) const {
    const Value* value = data(index);
    if (value == nullptr) {
        return false;
    }
    if (value->IsObject()) {
        blockToBytes(*value, out);
    } else if (value->IsArray()) {
        listToBytes(*value, out);
    } else if (value->IsUint64()) {  // includes every unsigned 32-bit number
        numberToBytes(value->GetUint64(), out);
    } else if (value->IsString()) {
        out.clear();
        appendText(*value, out);
    } else {
        return false;
    }
    return true;
}

bool SipJson::GetDataStream(std::vector<unsigned char>& out) const {
    return GetCmdDataStream(current(), out);
}

unsigned long SipJson::GetCmdDataSize(int index) const {
    const Value* value = data(index);
    if (value == nullptr) {
        return 0;
    }
    if (value->IsNumber()) {
        return value->IsInt64() || value->IsUint64() ? 8 : 0;
    }
    if (value->IsString()) {
        return textSize(*value);
    }
    if (value->IsBool()) {
        return 1;
    }
    if (value->IsArray()) {
        return listSize(*value);
    }
    const Value* block = findArray(*value, kKeyBlock);
    return block == nullptr ? 0 : block->Size();
}

bool SipJson::HasCmdDataSize(int index, unsigned long size, int atLeast) const {
    const Value* value = data(index);
    if (value == nullptr) {
        return false;
    }
    if (size == 0 || value->IsNumber()) {
        return true;
    }
    const unsigned long present = GetCmdDataSize(index);
    return atLeast != 0 ? present >= size : present == size;
}

bool SipJson::HasReplyData() const {
    return Success() && HasCmdDataSize(current(), 0, 0);
}

std::string SipJson::Export() const {
    return CStringMapper::StringToUTF8(varnock::writeJson(*document_).c_str());
}

void SipJson::Import(const char* text) {
    std::string local = CStringMapper::UTF8ToString(text);
    Clear();
    if (varnock::parseJson(std::move(local), *document_)) {
        document_->findCommands();
    } else {
        ClassInit();
    }
}
