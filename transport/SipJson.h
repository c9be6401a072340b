#pragma once

#include <memory>
#include <string>
#include <vector>

#include "util/Export.h"

/// The command record: one request, reply or event, carried on the wire as its JSON text.
/// (The owner of this header settles how RapidJSON types are kept out of it.)
class VARNOCK_EXPORT SipJson {
  public:
    SipJson();
    SipJson(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
            unsigned int cabinetNr, unsigned int status);
    ~SipJson();
    SipJson(const SipJson&) = delete;
    SipJson& operator=(const SipJson&) = delete;

    void Clear();
    bool ClearData();

    bool SetCmd(unsigned int opcode, unsigned int opcodeExt, unsigned int objectId,
                unsigned int cabinetNr, unsigned int status);
    bool SetStatus(unsigned int status);
    bool SetDataByte(unsigned char value, unsigned int status);
    bool SetDataWord(unsigned short value, unsigned int status);
    bool SetDataDWord(unsigned int value, unsigned int status);
    bool SetDataString(const char* text, unsigned int status);
    bool SetRequestDataStream(const std::vector<unsigned char>& bytes);

    unsigned int OpCode() const;
    unsigned int OpCodeExt() const;
    unsigned int ObjectId() const;
    unsigned int CabinetNr() const;
    unsigned int Status() const;
    bool Success() const;
    static bool CmdStatusSuccess(unsigned int status);
    unsigned int GetCmdValue(int index, const char* key, unsigned int defaultValue) const;

    bool GetCmdUIntData(int index, unsigned int& out) const;
    unsigned int UIntValue() const;
    unsigned int DataByte() const;
    unsigned int DataWord() const;
    unsigned int DataDWord() const;
    bool GetCmdDataString(int index, std::string& out, unsigned long offset) const;
    bool GetDataString(std::string& out) const;
    bool GetCmdDataStream(int index, std::vector<unsigned char>& out) const;
    bool GetDataStream(std::vector<unsigned char>& out) const;
    unsigned long GetCmdDataSize(int index) const;
    bool HasCmdDataSize(int index, unsigned long size, int atLeast) const;
    bool HasReplyData() const;

    std::string Export() const;
    void Import(const char* text);
};
