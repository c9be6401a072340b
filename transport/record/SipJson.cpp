#include "transport/SipJson.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "transport/record/JsonText.h"
#include "transport/record/PlainCommand.h"
#include "transport/record/RecordText.h"
#include "transport/record/ThreadMemory.h"
#include "util/StringMapper.h"

namespace {

using Value = SipJson::Value;
using Key = varnock::PlainCommand::Key;
using rapidjson::SizeType;
using varnock::JsonDocument;
using varnock::PlainCommand;
using varnock::TextSink;

constexpr std::string_view kKeyRoot = "SIP";
constexpr std::string_view kKeyVersion = "V";
constexpr std::string_view kKeyCommands = "CMD";
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

/// The value of a short block: its first four bytes, little-endian.
unsigned int assembleBytes(const std::vector<unsigned char>& bytes) {
    unsigned int value = 0;
    for (std::size_t i = 0; i < bytes.size() && i < sizeof value; ++i) {
        value |= static_cast<unsigned int>(bytes[i]) << (8 * i);
    }
    return value;
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

/// The same command as an object.
Value asTree(const PlainCommand& plain) {
    Value command(rapidjson::kObjectType);
    for (const Key key : plain) {
        if (key != Key::data) {
            add(command, PlainCommand::name(key), Value(*plain.number(key)));
        } else if (plain.block().empty()) {
            add(command, PlainCommand::name(key), Value(*plain.data(), heap));
        } else {
            add(command, PlainCommand::name(key), makeBlock(plain.block()));
        }
    }
    return command;
}

/// Appends the bytes from `offset` up to the first zero byte; false if there are none.
bool appendTail(const std::vector<unsigned char>& bytes, unsigned long offset, std::string& out) {
    if (bytes.size() <= offset) {
        return false;
    }
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    out.append(first, std::find(first, bytes.end(), 0));
    return true;
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

/// The record has one of two forms. Plain: no command, or one that a PlainCommand can hold. Else a
/// tree: a JSON document, as it must be for a text of any structure and for users of its values.
/// A plain record turns into a tree when that is needed, and only a new start turns it back.
class SipJson::Document {
  public:
    static void* operator new(std::size_t size) {
        void* const spare = varnock::takeSpare(varnock::SpareBlock::record);
        return spare != nullptr ? spare : ::operator new(size);
    }
    static void operator delete(void* block) {
        varnock::keepSpare(varnock::SpareBlock::record, block);
    }

    /// The command of a plain record; null for a tree, and for a record without commands.
    PlainCommand* plain() { return tree_ == nullptr && hasCommand_ ? &command_ : nullptr; }
    bool isTree() const { return tree_ != nullptr; }
    /// The block of bytes of a plain command; null if it has none.
    const std::vector<unsigned char>* plainBlock() {
        const PlainCommand* command = plain();
        return command != nullptr && !command->block().empty() ? &command->block() : nullptr;
    }

    /// Makes the record plain, without commands.
    void reset() {
        tree_ = nullptr;
        commands_ = nullptr;
        removeCommand();
    }
    /// Makes the record plain, with this command.
    void reset(PlainCommand&& command) {
        reset();
        command_ = std::move(command);
        hasCommand_ = true;
    }
    /// Makes the record this tree.
    void reset(std::unique_ptr<JsonDocument> tree) {
        reset();
        tree_ = std::move(tree);
        findCommands();
    }
    /// The command of a record that is no tree; an empty one is made if it has none.
    PlainCommand& plainCommand() {
        hasCommand_ = true;
        return command_;
    }
    void removeCommand() {
        hasCommand_ = false;
        command_.clear();
    }

    /// The document, made now if the record is plain.
    JsonDocument& tree() {
        if (tree_ == nullptr) {
            auto fresh = std::make_unique<JsonDocument>(&heap, varnock::kJsonStackCapacity, &heap);
            fresh->SetObject();
            add(*fresh, kKeyRoot, root());
            tree_ = std::move(fresh);
            findCommands();
            removeCommand();
        }
        return *tree_;
    }
    /// The array of commands; null if the tree has none.
    Value* commands() {
        tree();
        return commands_;
    }
    /// Must be called whenever the root of the tree or its direct members have changed.
    void findCommands() {
        Value* sip = find(*tree_, kKeyRoot);
        commands_ = sip != nullptr ? find(*sip, kKeyCommands) : nullptr;
    }

    void write(TextSink& sink) const {
        if (tree_ != nullptr) {
            varnock::writeJson(*tree_, sink);
        } else if (hasCommand_) {
            command_.write(sink);
        } else {
            sink.put(R"({"SIP":{"V":1,"CMD":[]}})");
        }
    }

  private:
    Value root() const {
        Value commands(rapidjson::kArrayType);
        if (hasCommand_) {
            Value command = asTree(command_);
            commands.PushBack(command, heap);
        }
        Value sip(rapidjson::kObjectType);
        add(sip, kKeyVersion, Value(kDocumentVersion));
        add(sip, kKeyCommands, std::move(commands));
        return sip;
    }
    bool hasCommand_ = false;
    PlainCommand command_;
    std::unique_ptr<JsonDocument> tree_;
    Value* commands_ = nullptr;  ///< in the tree; cached for nearly every access
};

SipJson::SipJson() : document_(new Document) {}

SipJson::SipJson(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                 unsigned int cabinetNr, unsigned int status)
    : SipJson() {
    SetCmd(opcode, opcodeExt, objectId, cabinetNr, status);
}

SipJson::~SipJson() = default;

void SipJson::ClassInit() {
    document_->reset();
    commandIndex_ = 0;
}

void SipJson::JsonInit() {
    if (!document_->isTree()) {
        document_->removeCommand();
        return;
    }
    JsonDocument& root = document_->tree();
    if (!root.IsObject()) {
        return;
    }
    Value sip(rapidjson::kObjectType);
    add(sip, kKeyVersion, Value(kDocumentVersion));
    add(sip, kKeyCommands, Value(rapidjson::kArrayType));
    put(root, kKeyRoot, std::move(sip));
    document_->findCommands();
}

void SipJson::Clear() {
    if (!document_->isTree()) {
        document_->removeCommand();
    } else if (Value* commands = GetCmds()) {
        commands->Clear();
    }
    commandIndex_ = 0;
}

bool SipJson::ClearData() {
    if (!document_->isTree()) {
        PlainCommand* command = document_->plain();
        return command != nullptr && command->remove(Key::data);
    }
    Value* commands = GetCmds();
    if (commands == nullptr || commandIndex_ >= commands->Size()) {
        return false;
    }
    Value& command = (*commands)[commandIndex_];
    return command.IsObject() && removeMember(command, PlainCommand::name(Key::data));
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

/// The current command of a tree; null if it is not an object.
SipJson::Value* SipJson::writableCmd() {
    Value* command = GetCmd();
    return command != nullptr && command->IsObject() ? command : nullptr;
}

bool SipJson::SetCmd(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                     unsigned int cabinetNr, unsigned int status) {
    if (document_->isTree() && GetCmds() == nullptr) {
        ClassInit();  // the record stays usable after any import
    }
    const auto fill = [&](PlainCommand& command) {
        command.clear();
        command.put(Key::opCode, opcode);
        if (opcodeExt != 0) {
            command.put(Key::opCodeExt, opcodeExt);
        }
        if (objectId != 0) {
            command.put(Key::objectId, objectId);
        }
        command.put(Key::cabinetNr, cabinetNr);
        if (status != noStatus) {
            command.put(Key::status, status);
        }
    };
    if (!document_->isTree()) {
        fill(document_->plainCommand());
        return true;
    }
    Value& existing = *GetCmd();
    PlainCommand command;
    fill(command);
    existing = asTree(command);
    return true;
}

bool SipJson::SetStatus(unsigned int status) {
    if (!document_->isTree()) {
        document_->plainCommand().put(Key::status, status);
        return true;
    }
    Value* command = writableCmd();
    if (command == nullptr) {
        return false;
    }
    put(*command, PlainCommand::name(Key::status), Value(status));
    return true;
}

bool SipJson::setData(Value&& data, unsigned int status) {
    if (!document_->isTree()) {
        document_->plainCommand().putData(std::move(data));
        document_->plainCommand().put(Key::status, status);
        return true;
    }
    Value* command = writableCmd();
    if (command == nullptr) {
        return false;
    }
    put(*command, PlainCommand::name(Key::data), std::move(data));
    put(*command, PlainCommand::name(Key::status), Value(status));
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
    if (bytes.size() > std::numeric_limits<SizeType>::max()) {
        return false;
    }
    if (!document_->isTree()) {
        std::vector<unsigned char> block = bytes;
        PlainCommand& command = document_->plainCommand();
        if (block.empty()) {
            command.remove(Key::data);
        } else {
            command.putBlock(std::move(block));
        }
        command.remove(Key::status);
        return true;
    }
    Value* command = writableCmd();
    if (command == nullptr) {
        return false;
    }
    if (bytes.empty()) {
        removeMember(*command, PlainCommand::name(Key::data));
    } else {
        put(*command, PlainCommand::name(Key::data), makeBlock(bytes));
    }
    removeMember(*command, PlainCommand::name(Key::status));
    return true;
}

unsigned int SipJson::OpCode() const {
    return number(current(), PlainCommand::name(Key::opCode), 0);
}
unsigned int SipJson::OpCodeExt() const {
    return number(current(), PlainCommand::name(Key::opCodeExt), 0);
}
unsigned int SipJson::ObjectId() const {
    return number(current(), PlainCommand::name(Key::objectId), 0);
}
unsigned int SipJson::CabinetNr() const {
    return number(current(), PlainCommand::name(Key::cabinetNr), 0);
}
unsigned int SipJson::Status() const {
    return number(current(), PlainCommand::name(Key::status), missingStatus);
}

bool SipJson::Success() const {
    return CmdStatusSuccess(Status());
}

bool SipJson::CmdStatusSuccess(unsigned int status) {
    using varnock::CommandStatus;
    return status == CommandStatus::success || status == CommandStatus::successToo ||
           status == CommandStatus::successOfRecord || status == CommandStatus::successUndefined;
}

/// The member `key` of command `index` of a tree; null if anything on its path is missing or of
/// another kind.
const SipJson::Value* SipJson::member(int index, std::string_view key) const {
    const Value* commands = GetCmds();
    if (commands == nullptr || index < 0) {
        return nullptr;
    }
    const auto position = static_cast<SizeType>(index);
    return position < commands->Size() ? find((*commands)[position], key) : nullptr;
}

/// The data of command `index`; null if it has none. That of a plain command may be a block, which
/// is shown as an empty object.
const SipJson::Value* SipJson::data(int index) const {
    if (document_->isTree()) {
        return member(index, PlainCommand::name(Key::data));
    }
    const PlainCommand* command = document_->plain();
    return command != nullptr && index == 0 ? command->data() : nullptr;
}

unsigned int SipJson::GetCmdValue(int index, const char* key, unsigned int defaultValue) const {
    return key != nullptr ? number(index, key, defaultValue) : defaultValue;
}

unsigned int SipJson::number(int index, std::string_view key, unsigned int defaultValue) const {
    if (PlainCommand* command = document_->plain(); command != nullptr && index == 0) {
        const std::optional<Key> known = PlainCommand::keyOf(key);
        const unsigned int* number = known ? command->number(*known) : nullptr;
        if (number != nullptr) {
            return *number;
        }
        const bool isData = known == Key::data && command->data() != nullptr;
        return isData && command->data()->IsUint() ? command->data()->GetUint() : defaultValue;
    }
    const Value* value = document_->isTree() ? member(index, key) : nullptr;
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
    if (const auto* bytes = document_->plainBlock()) {
        out = assembleBytes(*bytes);
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
    if (const auto* bytes = document_->plainBlock()) {
        return appendTail(*bytes, offset, out);
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
    if (const auto* bytes = document_->plainBlock()) {
        out = *bytes;
    } else if (value->IsObject()) {
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
    if (const auto* bytes = document_->plainBlock()) {
        return bytes->size();
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
    char usual[256];
    TextSink sink(usual, sizeof usual);
    document_->write(sink);
    return std::string(sink.text());
}

void SipJson::Import(const char* text) {
    if (!varnock::RecordText::importPlain(*this, text)) {
        std::string local = CStringMapper::UTF8ToString(text);
        varnock::RecordText::importTree(*this, local.data());
    }
}

namespace varnock {

void RecordText::write(const SipJson& record, TextSink& sink) {
    record.document_->write(sink);
}

void RecordText::import(SipJson& record, char* text) {
    if (!importPlain(record, text)) {
        importTree(record, text);
    }
}

bool RecordText::importPlain(SipJson& record, const char* text) {
    PlainCommand command;
    if (text == nullptr || !command.parse(text)) {
        return false;
    }
    record.document_->reset(std::move(command));
    record.commandIndex_ = 0;
    return true;
}

void RecordText::importTree(SipJson& record, char* text) {
    record.Clear();
    auto tree = std::make_unique<JsonDocument>(&heap, kJsonStackCapacity, &heap);
    if (parseJson(text, *tree)) {
        record.document_->reset(std::move(tree));
    } else {
        record.ClassInit();
    }
}

}  // namespace varnock
