#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <string>
#include <vector>

#include "transport/SipJson.h"

namespace varnock::bench {
namespace {

constexpr size_t kBlockSize = 200'000;
constexpr unsigned int kNoStatus = 0xFFFFFFFF;

/// The C allocator, because the record's document uses the C heap as well.
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator>;
using Value = Document::ValueType;

std::vector<unsigned char> block() {
    std::vector<unsigned char> bytes(kBlockSize);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7);
    }
    return bytes;
}

std::string exported() {
    SipJson record(0x1490, 0, 0, 1, kNoStatus);
    record.SetRequestDataStream(block());
    return record.Export();
}

void buildAndExport(benchmark::State& state) {
    const auto bytes = block();
    for (auto _ : state) {
        SipJson record(0x1490, 0, 0, 1, kNoStatus);
        record.SetRequestDataStream(bytes);
        benchmark::DoNotOptimize(record.Export());
    }
}
BENCHMARK(buildAndExport)->Name("RecordExport200kB/ours");

void rapidJsonWrite(benchmark::State& state) {
    const auto bytes = block();
    for (auto _ : state) {
        Document document(rapidjson::kObjectType);
        auto& allocator = document.GetAllocator();
        Value raw(rapidjson::kArrayType);
        for (const unsigned char byte : bytes) {
            raw.PushBack(static_cast<unsigned int>(byte), allocator);
        }
        document.AddMember("RAW", raw, allocator);
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        benchmark::DoNotOptimize(std::string(buffer.GetString(), buffer.GetSize()));
    }
}
BENCHMARK(rapidJsonWrite)->Name("RecordExport200kB/peer");

void importAndRead(benchmark::State& state) {
    const std::string text = exported();
    for (auto _ : state) {
        SipJson record;
        record.Import(text.c_str());
        std::vector<unsigned char> bytes;
        if (!record.GetDataStream(bytes) || bytes.size() != kBlockSize) {
            state.SkipWithError("the block did not come back");
            break;
        }
        benchmark::DoNotOptimize(bytes.data());
    }
}
BENCHMARK(importAndRead)->Name("RecordImport200kB/ours");
BENCHMARK(importAndRead)->Name("RecordImport200kBSimdjson/ours");

void rapidJsonParse(benchmark::State& state) {
    const std::string text = exported();
    for (auto _ : state) {
        Document document;
        document.Parse(text.c_str());
        benchmark::DoNotOptimize(document.HasParseError());
    }
}
BENCHMARK(rapidJsonParse)->Name("RecordImport200kB/peer");

/// With a parser that keeps its memory from text to text, and a text padded as it wants it.
void simdjsonParse(benchmark::State& state) {
    const simdjson::padded_string text(exported());
    simdjson::dom::parser parser;
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.parse(text).error());
    }
}
BENCHMARK(simdjsonParse)->Name("RecordImport200kBSimdjson/peer");

}  // namespace
}  // namespace varnock::bench
