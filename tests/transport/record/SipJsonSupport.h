#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "transport/SipJson.h"

namespace varnock::test {

using Bytes = std::vector<unsigned char>;

/// A record without commands.
inline constexpr char kSkeleton[] = R"({"SIP":{"V":1,"CMD":[]}})";

/// A record imported from a document with these commands.
struct Imported : SipJson {
    explicit Imported(const std::string& commands) {
        Import((R"({"SIP":{"V":1,"CMD":[)" + commands + "]}}").c_str());
    }
};

/// A record whose one command has this data.
struct WithData : Imported {
    explicit WithData(const std::string& data) : Imported(R"({"ST":0,"DA":)" + data + "}") {}
};

/// The text between the brackets of the list of commands.
inline std::string commandsOf(const SipJson& record) {
    const std::string text = record.Export();
    const std::string head = R"({"SIP":{"V":1,"CMD":[)";
    const std::string tail = "]}}";
    EXPECT_EQ(text.substr(0, head.size()), head);
    return text.substr(head.size(), text.size() - head.size() - tail.size());
}

inline Bytes streamOf(const SipJson& record) {
    Bytes out = {0xEE};
    EXPECT_TRUE(record.GetDataStream(out));
    return out;
}

inline bool hasNoStream(const SipJson& record) {
    Bytes out = {0xEE};
    const bool read = record.GetDataStream(out);
    EXPECT_EQ(out, Bytes{0xEE}) << "the output is left alone";
    return !read;
}

/// Expects the defaults that are read from missing data.
inline void expectDefaults(const SipJson& record) {
    EXPECT_EQ(record.OpCode(), 0u);
    EXPECT_EQ(record.OpCodeExt(), 0u);
    EXPECT_EQ(record.ObjectId(), 0u);
    EXPECT_EQ(record.CabinetNr(), 0u);
    EXPECT_EQ(record.Status(), 22u);
    EXPECT_FALSE(record.Success());
    EXPECT_EQ(record.UIntValue(), 0u);
    std::string text = "kept";
    EXPECT_FALSE(record.GetDataString(text));
    EXPECT_EQ(text, "kept");
    EXPECT_TRUE(hasNoStream(record));
    EXPECT_EQ(record.GetCmdDataSize(0), 0u);
    EXPECT_FALSE(record.HasCmdDataSize(0, 0, 0));
    EXPECT_FALSE(record.HasReplyData());
}

}  // namespace varnock::test
