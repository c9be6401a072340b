#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/trace/TraceLog.h"
#include "fuzz/FuzzedTraceFile.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"
#include "runtime/trace/RingBufferFile.h"

// Takes over any bytes as a trace file, as a program that starts does, and appends entries. The
// file never changes its length but by growing to the size, and after two rounds the reader finds
// the entries of the last one.
//
// Input: the size (2 bytes) and the number of entries, then the file, see traceFileIn().

namespace {

using varnock::RingBufferFile;
using varnock::fuzz::Input;
using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;
using varnockctl::TraceLog;
namespace format = varnock::tracefile;

constexpr char kHeader[] = "Nov 14 22:13:20 host fuzz[00000000F7A51740]: ";

/// Writes as the library does. Remembers the messages of the current round, but not its
/// description, behind which a gap keeps what was there.
class Writer {
  public:
    explicit Writer(RingBufferFile& file) : file_(file) {
        if (!file_.resumes()) {
            append(format::kEndOfDescription);
            file_.skipGap();
        }
        append(std::string(format::kWorkCycle) + "00000001) ###");
    }

    void append(const std::string& message) {
        const std::string entry = kHeader + message + "\n";
        if (!file_.fits(entry.size())) {
            if (file_.isWrapping()) {
                return;
            }
            ++wraps_;
            const RingBufferFile::Wrap wrap(file_);
            append(format::kEndOfDescription);
            messages_.clear();
        }
        if (file_.fits(entry.size())) {
            file_.append(entry.c_str(), entry.size());
            messages_.push_back(message);
        }
    }
    const std::vector<std::string>& messages() const { return messages_; }
    unsigned int wraps() const { return wraps_; }

  private:
    RingBufferFile& file_;
    std::vector<std::string> messages_;
    unsigned int wraps_ = 0;
};

/// The newest entries are those of the current round.
void checkLog(const std::string& bytes, const std::vector<std::string>& messages) {
    const TraceLog log(bytes);
    if (!log.header().isLabelled) {
        return;
    }
    const auto& entries = log.entries();
    require(entries.size() >= messages.size(), "entries are missing");
    for (std::size_t i = 1; i <= messages.size(); ++i) {
        require(entries[entries.size() - i].message == messages[messages.size() - i],
                "the newest entries are others");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const PrivateFile file("log.fuzz_a");
    Input input(data, size);
    const std::int64_t wanted = input.word() % 16384;
    const unsigned int count = input.byte();
    const std::string before = varnock::fuzz::traceFileIn(input);
    file.write(before);

    char failure[512] = "";
    const auto opened = RingBufferFile::open(file.path().c_str(), wanted, "Tue Nov 14 2023\n",
                                             kHeader, failure, sizeof failure);
    require((opened == nullptr) == (failure[0] != '\0'), "a failure without a reason");
    if (opened == nullptr) {
        require(wanted < 1, "the file is refused");
        return 0;
    }
    Writer writer(*opened);
    for (unsigned int i = 0; i < count; ++i) {
        writer.append("entry " + std::to_string(i) + std::string(i * 7 % 200, 'x'));
    }
    const std::string after = file.read();
    require(after.size() >= before.size() || before.size() < format::kEntriesBegin ||
                before.compare(0, format::kLineLength, std::string(format::kLineLength, '\0')) == 0,
            "the file has become shorter");
    require(after.size() >= static_cast<std::size_t>(wanted), "the file is shorter than its size");
    // After two rounds only the gap holds remains of the old file. The reader looks there for an
    // initialisation that is kept.
    const auto used = static_cast<std::size_t>(std::max(wanted, format::kEntriesBegin));
    if (writer.wraps() >= 2 && before.find(format::kEndOfInitialisation) == before.npos) {
        checkLog(after.substr(0, used), writer.messages());
    }
    return 0;
}
