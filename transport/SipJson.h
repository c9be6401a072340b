#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "transport/AgentProtocol.h"
#include "transport/JsonHeap.h"
#include "util/Export.h"

// Declared here, so that only users of the document itself need RapidJSON.
namespace rapidjson {
template <typename CharType>
struct UTF8;
template <typename Encoding, typename Allocator>
class GenericValue;
}  // namespace rapidjson

namespace varnock {
class RecordText;
}

/// The command record: one request, reply or event, carried on the wire as its JSON text
/// `{"SIP":{"V":1,"CMD":[{"OC":…,"OE":…,"OI":…,"CA":…,"ST":…,"DA":…}]}}`. docs/wire-format.md
/// describes the text.
///
/// Accessors read and write the document directly and use the current command, which is command 0.
/// An imported document may have any structure: getters then return their defaults, setters return
/// false, and accessors throw only `std::bad_alloc`. The record can be used on after that; a setter
/// that throws may have made a part of its change.
///
/// Not thread-safe: one thread at a time per object.
class VARNOCK_EXPORT SipJson {
  public:
    /// A value of the document; include <rapidjson/document.h> to work with it.
    using Value = rapidjson::GenericValue<rapidjson::UTF8<char>, varnock::JsonHeap>;

    /// The argument for "no status".
    static constexpr unsigned int noStatus = 0xFFFFFFFF;

    /// The status reported for a command without one.
    static constexpr unsigned int missingStatus = toNumber(varnock::CommandStatus::missing);

    /// A record without commands.
    SipJson();

    /// A record with one command, as created by `SetCmd`.
    SipJson(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
            unsigned int cabinetNr, unsigned int status);

    ~SipJson();
    SipJson(const SipJson&) = delete;
    SipJson& operator=(const SipJson&) = delete;

    /// Resets the record to its default-constructed state.
    void ClassInit();

    /// Adds "SIP" with its version and an empty command list to a root that is an object; does not
    /// change any other root.
    void JsonInit();

    /// Removes the commands and keeps the rest of the document. Does not change a document with
    /// another structure.
    void Clear();

    /// Removes the data of the current command; true if it had any.
    bool ClearData();

    /// The array of commands, owned by the record; null if the document has none.
    Value* GetCmds();
    const Value* GetCmds() const;  ///< The same, read only.

    /// The current command, created as an empty object if it is missing; null if the document has
    /// no array of commands. An imported command may be something other than an object.
    Value* GetCmd();

    /// @name Setters of the current command
    /// They create the command if it is missing and return false if it is not an object.
    /// @{

    /// Resets the command: no data, "OE" and "OI" only if they are not 0, "ST" unless `status` is
    /// `noStatus`. Replaces a document with a wrong structure; always true.
    bool SetCmd(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                unsigned int cabinetNr, unsigned int status);

    /// Sets "ST", including to 0.
    bool SetStatus(unsigned int status);

    /// Sets the data, sent as a number of no particular width, and then the status.
    bool SetDataByte(unsigned char value, unsigned int status);
    bool SetDataWord(unsigned short value, unsigned int status);  ///< As `SetDataByte`.
    bool SetDataDWord(unsigned int value, unsigned int status);   ///< As `SetDataByte`.

    /// Sets the data to an unchanged copy of the text up to its NUL (null: an empty text), and then
    /// the status. Also false for a text of 4 GiB or more.
    bool SetDataString(const char* text, unsigned int status);

    /// Sets the data to the block of bytes, or removes it if there are none, and removes the
    /// status. Also false for 4 GiB or more.
    bool SetRequestDataStream(const std::vector<unsigned char>& bytes);
    /// @}

    /// @name The numbers of the current command
    /// 0 if absent or not an unsigned 32-bit number; for the status `missingStatus`.
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
    /// bytes read as little-endian, of which only the first four count. For anything else returns
    /// false and leaves `out` unchanged.
    bool GetCmdUIntData(int index, unsigned int& out) const;

    /// The data of the current command as a number, 0 if it is not one. The three others are
    /// aliases: they do not mask.
    unsigned int UIntValue() const;
    unsigned int DataByte() const;   ///< `UIntValue`
    unsigned int DataWord() const;   ///< `UIntValue`
    unsigned int DataDWord() const;  ///< `UIntValue`

    /// The data as a text: a string (only with `offset` 0), a block of bytes from `offset` up to
    /// its first zero byte, or null, which is an empty text. False for anything else; then `out` is
    /// emptied for a block that ends before `offset` or holds no bytes, and unchanged otherwise.
    bool GetCmdDataString(int index, std::string& out, unsigned long offset) const;

    /// `GetCmdDataString` of the current command with offset 0.
    bool GetDataString(std::string& out) const;

    /// The data as bytes: a block; a string with a zero byte; a list of strings, each with a zero
    /// byte, and one more; a number, little-endian in its smallest width (1, 2, 4 or 8). For
    /// anything else returns false and leaves `out` unchanged.
    bool GetCmdDataStream(int index, std::vector<unsigned char>& out) const;

    /// `GetCmdDataStream` of the current command.
    bool GetDataStream(std::vector<unsigned char>& out) const;

    /// The size of the data in bytes, where every integer counts 8; 0 without data.
    unsigned long GetCmdDataSize(int index) const;

    /// True if command `index` has data and `size` is 0 or the data is a number or has exactly that
    /// size (`atLeast` not 0: at least that size).
    bool HasCmdDataSize(int index, unsigned long size, int atLeast) const;

    /// True if the command succeeded and has data.
    bool HasReplyData() const;

    /// The document as compact JSON text.
    std::string Export() const;

    /// Replaces the document by the one in `text`. The record has no commands afterwards if the
    /// text is null, does not parse, has trailing text, is nested deeper than 256 levels or needs
    /// more than 24 MiB of memory for its values. A byte of a block needs one byte, any other value
    /// at least 16; the text of a reply is never so large.
    void Import(const char* text);

  private:
    friend class varnock::RecordText;
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
