#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transport/AgentProtocol.h"
#include "util/Export.h"

// Declared here, so that only those who work on the document itself need RapidJSON.
namespace rapidjson {
template <typename CharType>
struct UTF8;
class CrtAllocator;
template <typename Encoding, typename Allocator>
class GenericValue;
}  // namespace rapidjson

/// The command record: one request, reply or event, carried on the wire as its JSON text
/// `{"SIP":{"V":1,"CMD":[{"OC":…,"OE":…,"OI":…,"CA":…,"ST":…,"DA":…}]}}`. docs/wire-format.md
/// describes the text.
///
/// Accessors read and write the document directly and work on the current command, which is
/// command 0. A document from outside may have any shape: getters then give their defaults, setters
/// return false, and no accessor throws anything but `std::bad_alloc`.
///
/// Not thread-safe: one thread at a time per object.
class VARNOCK_EXPORT SipJson {
  public:
    /// A value of the document; include <rapidjson/document.h> to work with it.
    using Value = rapidjson::GenericValue<rapidjson::UTF8<char>, rapidjson::CrtAllocator>;

    /// The status to pass for "no status".
    static constexpr unsigned int noStatus = 0xFFFFFFFF;

    /// What a command without status reports.
    static constexpr unsigned int missingStatus = toNumber(varnock::CommandStatus::kMissing);

    /// A record without commands.
    SipJson();

    /// A record with one command, as `SetCmd` makes it.
    SipJson(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
            unsigned int cabinetNr, unsigned int status);

    ~SipJson();
    SipJson(const SipJson&) = delete;
    SipJson& operator=(const SipJson&) = delete;

    /// Makes the record what the default constructor made it.
    void ClassInit();

    /// Puts "SIP" with its version and an empty command list into a root that is an object; any
    /// other root stays as it is.
    void JsonInit();

    /// Drops the commands and keeps the document around them. A document of another shape stays.
    void Clear();

    /// Drops the data of the current command; true if there was some.
    bool ClearData();

    /// The array of commands, owned by the record; null when the document has none.
    Value* GetCmds();
    const Value* GetCmds() const;  ///< The same, read only.

    /// The current command, made as an empty object when it is missing; null when the document has
    /// no array of commands. A command from outside may be something else than an object.
    Value* GetCmd();

    /// @name Setters of the current command
    /// They make the command when it is missing and return false when it is no object.
    /// @{

    /// Starts the command anew: no data, "OE" and "OI" only when they are not 0, "ST" unless
    /// `status` is `noStatus`. A document of a wrong shape is replaced; always true.
    bool SetCmd(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                unsigned int cabinetNr, unsigned int status);

    /// Sets "ST", also to 0.
    bool SetStatus(unsigned int status);

    /// Sets the data, a number on the wire whatever its width here, and then the status.
    bool SetDataByte(unsigned char value, unsigned int status);
    bool SetDataWord(unsigned short value, unsigned int status);  ///< As `SetDataByte`.
    bool SetDataDWord(unsigned int value, unsigned int status);   ///< As `SetDataByte`.

    /// Sets the data, the text up to its NUL copied as it is (null: an empty text), and then the
    /// status. False also for a text of 4 GiB or more.
    bool SetDataString(const char* text, unsigned int status);

    /// Sets the data to the block of bytes, or drops it when there are none, and removes the
    /// status. False also for 4 Gi bytes or more.
    bool SetRequestDataStream(const std::vector<unsigned char>& bytes);
    /// @}

    /// @name The numbers of the current command
    /// 0 when absent or no unsigned 32-bit number; `missingStatus` in the case of the status.
    /// @{
    unsigned int OpCode() const;     ///< "OC"
    unsigned int OpCodeExt() const;  ///< "OE"
    unsigned int ObjectId() const;   ///< "OI"
    unsigned int CabinetNr() const;  ///< "CA"
    unsigned int Status() const;     ///< "ST"
    /// @}

    /// `CmdStatusSuccess` of the status.
    bool Success() const;

    /// True for 0, 12, 21 and 255.
    static bool CmdStatusSuccess(unsigned int status);

    /// The unsigned 32-bit number under `key` in command `index`, else `defaultValue`.
    unsigned int GetCmdValue(int index, const char* key, unsigned int defaultValue) const;

    /// The data as a number: a 32-bit number (a negative one as its bit pattern), or a block of
    /// bytes read as little-endian, of which only the first four count. False, and `out` untouched,
    /// for anything else.
    bool GetCmdUIntData(int index, unsigned int& out) const;

    /// The data of the current command as a number, 0 when it is none. The three others are the
    /// same under other names: they do not mask.
    unsigned int UIntValue() const;
    unsigned int DataByte() const;   ///< `UIntValue`
    unsigned int DataWord() const;   ///< `UIntValue`
    unsigned int DataDWord() const;  ///< `UIntValue`

    /// The data as a text: a string (with `offset` 0 alone), a block of bytes from `offset` up to
    /// its first zero byte, or null, which is an empty text. False for anything else; a block that
    /// ends before `offset`, or holds no bytes, also empties `out`, the rest leaves it untouched.
    bool GetCmdDataString(int index, std::string& out, unsigned long offset) const;

    /// `GetCmdDataString` of the current command with offset 0.
    bool GetDataString(std::string& out) const;

    /// The data as bytes: a block; a string with a zero byte; a list of strings, each with a zero
    /// byte, and one more; a number, little-endian in its smallest width (1, 2, 4 or 8). False, and
    /// `out` untouched, for anything else.
    bool GetCmdDataStream(int index, std::vector<unsigned char>& out) const;

    /// `GetCmdDataStream` of the current command.
    bool GetDataStream(std::vector<unsigned char>& out) const;

    /// The size of the data in bytes, every integer counting 8; 0 when there is none.
    unsigned long GetCmdDataSize(int index) const;

    /// True when command `index` has data and `size` is 0 or the data is a number or of exactly
    /// that size (`atLeast` not 0: at least that size).
    bool HasCmdDataSize(int index, unsigned long size, int atLeast) const;

    /// The command succeeded and has data.
    bool HasReplyData() const;

    /// The document as compact JSON text.
    std::string Export() const;

    /// Replaces the document by the one that `text` holds. A text that does not parse, with
    /// something behind the document, or nested deeper than 256 levels, leaves a record without
    /// commands, as does null.
    void Import(const char* text);

  private:
    class Document;

    Value* writableCmd();
    bool setData(Value&& data, unsigned int status);
    const Value* member(int index, std::string_view key) const;
    unsigned int number(int index, std::string_view key, unsigned int defaultValue) const;
    const Value* data(int index) const;
    int current() const { return static_cast<int>(commandIndex_); }

    std::unique_ptr<Document> document_;
    unsigned int commandIndex_ = 0;
};
