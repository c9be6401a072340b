#include "runtime/Debug.h"

#include <ctype.h>
#include <cxxabi.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "runtime/StartMode.h"
#include "runtime/process/Clock.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/trace/DebugSettings.h"
#include "runtime/trace/EntryHeader.h"
#include "runtime/trace/RingBufferFile.h"
#include "runtime/trace/ShownText.h"
#include "runtime/trace/TraceEntry.h"
#include "runtime/trace/TraceFileFormat.h"
#include "runtime/trace/TraceLock.h"
#include "runtime/trace/TraceQueue.h"
#include "runtime/trace/TraceSettings.h"
#include "util/Ascii.h"

using varnock::CancellationGuard;
using varnock::EntryHeader;
using varnock::RingBufferFile;
using varnock::SeveralEntries;
using varnock::TraceEntry;
using varnock::traceLock;
namespace tracefile = varnock::tracefile;

namespace {

constexpr std::size_t kHexBytesShown = 256;
constexpr std::size_t kHexBytesPerLine = 16;
constexpr std::int64_t kFreeForInitialisation = 1'048'577;
constexpr const char* kProcessLineFormat = "%s%d\n";
constexpr const char* kInitialisationFailed =
    "Error during initialization of the CDebug instance.\n";
constexpr const char* kInitialisationReason = "Error message: \"%s\"\n";

unsigned int load(const unsigned int& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}
void store(unsigned int& field, unsigned int value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

/// Keeps errno for a scope: callers trace between a failed call and the check of errno.
class ErrnoKeeper {
  public:
    ErrnoKeeper() : error_(errno) {}
    ~ErrnoKeeper() { errno = error_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

  private:
    int error_;
};

void copyText(char* out, std::size_t size, const char* text) {
    const std::size_t length = strnlen(text, size - 1);
    memcpy(out, text, length);
    out[length] = '\0';
}

bool startsWithoutFiles() {
    return &varnock::startMode != nullptr && varnock::startMode == varnock::StartMode::withoutFiles;
}

}  // namespace

CDebug::CDebug(const char* name) {
    if (Init(name) == 0) {
        reportFailure();
    }
}

void CDebug::reportFailure() {
    PrintToConsole(kInitialisationFailed);
    PrintToConsole(kInitialisationReason, errorText_);
    syslog(LOG_ERR, "%s", kInitialisationFailed);
    syslog(LOG_ERR, kInitialisationReason, errorText_);
}

CDebug::~CDebug() {
    CancellationGuard wholeDestructor;
    CriticalSectionGuard lock(traceLock());
    store(m_bActive, 0);
    applicationName_[0] = '\0';
    argc_ = 0;
    argv_ = nullptr;
    store(traceTarget_, kNoTarget);
    store(traceLevel_, 0);
    savedTraceLevel_ = 0;
    delete std::exchange(ringBuffer_, nullptr);
    ringBufferSize_ = 0;
}

int CDebug::Init(const char* name) {
    {
        const SeveralEntries lock;
        if (isSetUp()) {
            return 1;
        }
        if (!identify(name)) {
            return start(false);
        }
    }
    // Without the lock: reading takes that of the registry, and may wait for another process.
    varnock::StoredTraceSettings stored{};
    const bool isRead = readSettings(stored);
    const SeveralEntries lock;
    if (isSetUp()) {
        return 1;
    }
    if (isRead) {
        stored_ = stored;
        applySettings();
    } else {
        reportInternalError(2);
    }
    return start(isRead);
}

bool CDebug::isSetUp() const {
    return load(traceTarget_) != kNoTarget || ringBuffer_ != nullptr;
}

bool CDebug::readSettings(varnock::StoredTraceSettings& stored) try {
    return varnock::readStoredSettings(TovQXObjectName, stored);
} catch (abi::__forced_unwind&) {
    throw;
} catch (...) {
    // A bad registry or lack of memory must not end the host.
    return false;
}

/// False if there are no settings to read.
bool CDebug::identify(const char* name) {
    if (name == nullptr || strcmp(name, TovQXObjectName) != 0) {
        reportInternalError(1);
        return false;
    }
    identifyProcess();
    varnock::recordEnvironment();
    copyText(applicationName_, sizeof applicationName_, name);
    if (startsWithoutFiles()) {
        settings_.noHeaderToStderr = 1;
        return false;
    }
    return true;
}

void CDebug::identifyProcess() {
    processId_ = getpid();
    snprintf(descriptorListCommand_, sizeof descriptorListCommand_, "ls -l /proc/%d/fd",
             processId_);
    varnock::formatLocalTime(varnock::Clock::instance().wallSecond(), startTime_);
}

void CDebug::applySettings() {
    settings_ = varnock::resolveSettings(stored_);
    ringBufferSize_ = settings_.ringBufferSize;
    store(traceLevel_, settings_.level);
    savedTraceLevel_ = settings_.level;
}

void CDebug::reportInternalError(int number) {
    errorSeverity_ = 4;
    snprintf(errorText_, sizeof errorText_,
             "Internal Error %d during initializing of CDebug, try logging to stderr.\n", number);
}

void CDebug::fallBackToConsole() {
    store(m_bActive, 0);
    store(traceTarget_, kConsole);
    store(traceLevel_, 0);
    savedTraceLevel_ = 0;
}

int CDebug::start(bool hasSettings) {
    bool success = true;
    if (!hasSettings || ringBufferSize_ < 1) {
        fallBackToConsole();
    } else if (settings_.perProcess != 0) {
        success = openOwnRingBuffer();
    } else {
        char path[2 * kPathSize + 16];
        buildPath(varnock::kFirstTraceLetter, path);
        success = InitRingBuffer(path, static_cast<long>(ringBufferSize_)) != 0;
    }
    if (settings_.noHeaderToStderr == 0) {
        WriteLogHeader(kConsole);
    }
    if (!success) {
        fallBackToConsole();
        return 0;
    }
    store(m_bActive, 1);
    return 1;
}

/// The array has room for directory and name, so that a long path is not cut.
void CDebug::buildPath(char letter, char (&path)[2 * kPathSize + 16]) const {
    tracefile::makePath(path, sizeof path, settings_.directory, applicationName_, letter);
}

/// Takes the first letter whose file no live process uses. If all are in use, shares the file of
/// the last usable letter.
bool CDebug::openOwnRingBuffer() {
    char path[2 * kPathSize + 16];
    const auto size = static_cast<long>(settings_.ringBufferSize);
    bool isOpen = false;
    char lastInUse = '\0';
    for (char letter = varnock::kFirstTraceLetter; letter <= varnock::kLastTraceLetter && !isOpen;
         ++letter) {
        bool isInUse = false;
        buildPath(letter, path);
        isOpen = openRingBuffer(path, size, &isInUse);
        lastInUse = isInUse ? letter : lastInUse;
    }
    if (!isOpen && lastInUse != '\0') {
        buildPath(lastInUse, path);
        isOpen = openRingBuffer(path, size, nullptr);
    }
    if (!isOpen) {
        return false;
    }
    // A letter was found, so the failures of earlier letters do not count.
    errorSeverity_ = 0;
    errorText_[0] = '\0';
    ringBuffer_->leaveWhenForked();
    if (ringBuffer_->resumes()) {
        // Until the next wrap no other line names the process.
        PrintIt(kRingBuffer, kProcessLineFormat, tracefile::kProcessLine, processId_);
    }
    return true;
}

int CDebug::InitRingBuffer(const char* path, long size) {
    const SeveralEntries lock;
    return openRingBuffer(path != nullptr ? path : "", size, nullptr) ? 1 : 0;
}

/// With `isInUse`, opens the file only if no other process uses it.
bool CDebug::openRingBuffer(const char* path, long size, bool* isInUse) {
    char filler[128];
    SetEntryHeader(filler, sizeof filler);
    auto opened =
        isInUse == nullptr
            ? RingBufferFile::open(path, size, startTime_, filler, errorText_, sizeof errorText_)
            : RingBufferFile::openAlone(path, size, startTime_, filler, *isInUse, errorText_,
                                        sizeof errorText_);
    if (opened != nullptr || ringBuffer_ == nullptr) {
        copyText(ringBufferPath_, sizeof ringBufferPath_, path);
    }
    if (opened == nullptr) {
        errorSeverity_ = 4;
        return false;
    }
    delete std::exchange(ringBuffer_, opened.release());
    ringBufferSize_ = ringBuffer_->size();
    store(traceTarget_, kRingBuffer);
    if (!ringBuffer_->resumes()) {
        WriteLogHeader(kRingBuffer);
        ringBuffer_->skipGap();
    }
    PrintIt(kRingBuffer, "%s%08d) ###\n", tracefile::kWorkCycle, ringBuffer_->opens());
    return true;
}

bool CDebug::hasRingBuffer() {
    if (ringBuffer_ == nullptr) {
        return false;
    }
    return !ringBuffer_->isLeft() || (!RingBufferFile::isLeftForGood() && startInForkedChild());
}

bool CDebug::startInForkedChild() {
    CancellationGuard wholeStart;
    identifyProcess();
    applicationInitDone_ = 0;
    if (openOwnRingBuffer()) {
        return true;
    }
    delete std::exchange(ringBuffer_, nullptr);
    fallBackToConsole();
    // Not to the system log: another thread of the parent may have held its lock at the fork.
    PrintToConsole(kInitialisationFailed);
    PrintToConsole(kInitialisationReason, errorText_);
    return false;
}

void CDebug::PrintToConsole(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    TraceToConsole(format, arguments);
    va_end(arguments);
}

void CDebug::Print(unsigned int level, const char* format, ...) {
    if (level > load(traceLevel_)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    trace(load(traceTarget_), format, arguments);
    va_end(arguments);
}

void CDebug::PrintIt(unsigned int target, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    trace(target != kNoTarget ? target : load(traceTarget_), format, arguments);
    va_end(arguments);
}

void CDebug::PrintAlways(unsigned int /*level*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (load(traceTarget_) == kRingBuffer) {
        // An argument list can be walked only once.
        va_list again;
        va_copy(again, arguments);
        TraceToRingBuffer(format, again);
        va_end(again);
    }
    TraceToConsole(format, arguments);
    va_end(arguments);
}

void CDebug::trace(unsigned int target, const char* format, va_list arguments) {
    if (target == kRingBuffer) {
        TraceToRingBuffer(format, arguments);
    } else if (target == kConsole) {
        TraceToConsole(format, arguments);
    }
}

void CDebug::TraceToConsole(const char* format, va_list arguments) {
    if (format == nullptr) {
        return;
    }
    ErrnoKeeper keepErrno;
    TraceEntry entry(*this);
    if (!entry.format(format, arguments)) {
        return;
    }
    CriticalSectionGuard lock(traceLock());
    fputs(entry.finish(applicationName_).data(), stderr);
    fflush(stderr);
}

void CDebug::TraceToRingBuffer(const char* format, va_list arguments) {
    if (format == nullptr) {
        return;
    }
    ErrnoKeeper keepErrno;
    TraceEntry entry(*this);
    if (!entry.format(format, arguments)) {
        return;
    }
    varnock::traceQueue().place(entry);
}

void CDebug::place(TraceEntry& entry) {
    if (hasRingBuffer()) {
        append(entry.finish(applicationName_));
    }
}

void CDebug::append(std::string_view entry) {
    if (ringBuffer_->fits(entry.size())) {
        ringBuffer_->append(entry.data(), entry.size());
        return;
    }
    // Not even the header of the new round fits: the file is too small.
    if (ringBuffer_->isWrapping()) {
        return;
    }
    {
        RingBufferFile::Wrap wrap(*ringBuffer_);
        WriteLogHeader(kRingBuffer);
    }
    if (ringBuffer_->fits(entry.size())) {
        ringBuffer_->append(entry.data(), entry.size());
    }
}

int CDebug::SetEntryHeader(char* buffer, unsigned long size) {
    char room[EntryHeader::kCapacity];
    CriticalSectionGuard lock(traceLock());
    const std::string_view header = varnock::entryHeader().write(applicationName_, room);
    if (buffer != nullptr && size != 0) {
        copyText(buffer, size, header.data());
    }
    return static_cast<int>(header.size());
}

void CDebug::DumpHex(unsigned int level, const unsigned char* data, unsigned long length,
                     int withOffset, int withAscii) {
    if (data == nullptr || length == 0 || level > load(traceLevel_)) {
        return;
    }
    const size_t shown = std::min<size_t>(length, kHexBytesShown);
    char ascii[kHexBytesShown + 1] = {};
    for (size_t i = 0; withAscii != 0 && i < shown; ++i) {
        ascii[i] = isprint(data[i]) != 0 ? static_cast<char>(data[i]) : '.';
    }
    const SeveralEntries linesTogether;
    PrintIt(kNoTarget, "Data: pData=%p, Len=%d, TrLen=%d, ascii=\"%s\"\n",
            static_cast<const void*>(data), static_cast<int>(length), static_cast<int>(shown),
            ascii);
    for (size_t begin = 0; begin < shown; begin += kHexBytesPerLine) {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        char line[8 + 3 * kHexBytesPerLine];
        char* end = line;
        if (withOffset != 0) {
            end += snprintf(line, sizeof line, "%04X:", static_cast<unsigned int>(begin));
        }
        for (size_t i = begin; i < std::min(begin + kHexBytesPerLine, shown); ++i) {
            *end++ = ' ';
            *end++ = kDigits[data[i] >> 4];
            *end++ = kDigits[data[i] & 0xF];
        }
        *end = '\0';
        PrintIt(kNoTarget, "%s\n", line);
    }
}

void CDebug::SetMainParams(int argc, char** argv) {
    const SeveralEntries lock;
    argc_ = argc;
    argv_ = argv;
    printCommandLine(kConsole);
    if (load(traceTarget_) == kRingBuffer) {
        printCommandLine(kRingBuffer);
    }
}

void CDebug::printCommandLine(unsigned int target) {
    if (argc_ <= 0) {
        return;
    }
    PrintIt(target, "%s Command Line Options:\n", applicationName_);
    for (int i = 0; argv_ != nullptr && i < argc_; ++i) {
        PrintIt(target, "argv[%d] = \"%s\"\n", i, varnock::shown(argv_[i]));
    }
}

void CDebug::SetApplInitDone() {
    const SeveralEntries lock;
    if (load(traceTarget_) != kRingBuffer || !hasRingBuffer() || ringBuffer_->wraps() != 0 ||
        ringBuffer_->freeBytes() < kFreeForInitialisation) {
        return;
    }
    PrintIt(kNoTarget, "%s\n", tracefile::kEndOfInitialisation);
    ringBuffer_->keepWhatIsThere();
    applicationInitDone_ = 1;
}

void CDebug::WriteLogHeader(unsigned int target) {
    const SeveralEntries linesTogether;
    printProcess(target);
    printCommandLine(target);
    printEnvironment(target);
    printSettings(target);
}

void CDebug::printProcess(unsigned int target) {
    int major = 0;
    int minor = 0;
    int build = 0;
    sscanf(TovQXObjectVersion, "%d.%d-%d", &major, &minor, &build);
    static constexpr size_t kWeekdayLength = 4;
    PrintIt(target,
            "%s%s Version=\"%d.%02d-%02d\" Milestone=\"%s\" Built=\"%s\" "
            "Start=\"%.15s\" Wrap=\"%d\"\n",
            tracefile::kDescription, TovQXObjectName, major, minor, build, TovQXObjectMilestone,
            TovQXObjectDate, startTime_[0] != '\0' ? startTime_ + kWeekdayLength : "",
            ringBuffer_ != nullptr ? ringBuffer_->wraps() : 0);
}

void CDebug::printEnvironment(unsigned int target) {
    const auto print = [&](const TokVal& row) {
        PrintIt(target, "%s=%s\n", row.name, row.value != nullptr ? row.value : "NotSet");
    };
    PrintIt(target, "Varnock Environment:\n");
    for (const TokVal* row = m_TokValTabEnv; row->name != nullptr; ++row) {
        print(*row);
    }
    print(varnock::perApplicationWeight());
    PrintIt(target, "Varnock Configuration File:\n");
    for (const TokVal* row = m_TokValTabCfg; row->name != nullptr; ++row) {
        print(*row);
    }
}

void CDebug::printSettings(unsigned int target) {
    PrintIt(target, "Debug values from registry :\n");
    PrintIt(target, "DebugLevel                 : %d\n", stored_.level);
    PrintIt(target, "RingBufferSizeFactor       : %d\n", stored_.factor);
    PrintIt(target, "RingBufferSizeWeight       : %d\n", stored_.weight);
    PrintIt(target, "RingBufferDirectory        : %s\n", stored_.directory);
    PrintIt(target, "No Header to stderr        : %d\n", stored_.noHeaderToStderr);
    PrintIt(target, "Internal Debug values      :\n");
    PrintIt(target, kProcessLineFormat, tracefile::kProcessLine, processId_);
    PrintIt(target, "Trace Target               : %d\n", load(traceTarget_));
    PrintIt(target, "Trace Level                : %d\n", load(traceLevel_));
    PrintIt(target, "Trace Level Saved          : %d\n", savedTraceLevel_);
    PrintIt(target, "Application Init Done      : %d\n", applicationInitDone_);
    PrintIt(target, "Ring Buffer FD             : %d\n",
            ringBuffer_ != nullptr ? ringBuffer_->descriptor() : -1);
    PrintIt(target, "Ring Buffer Factor         : %d\n", settings_.factor);
    PrintIt(target, "Ring Buffer Weight         : %d\n", settings_.weight);
    PrintIt(target, "Ring Buffer Size           : %d\n", static_cast<int>(ringBufferSize_));
    PrintIt(target, "Ring Buffer Path           : %s\n", ringBufferPath_);
    PrintIt(target, "No Header to stderr        : %d\n", settings_.noHeaderToStderr);
    PrintIt(target, "%s\n", tracefile::kEndOfDescription);
}

int CDebug::ForceMaxDebug(int on) {
    CriticalSectionGuard lock(traceLock());
    store(traceLevel_, on != 0 ? savedTraceLevel_ : 0);
    store(m_bActive, static_cast<unsigned int>(on));
    return 1;
}

void CDebug::SetConfiguredValue(const char* envName, unsigned int regValue,
                                unsigned int defaultValue, unsigned int* out) {
    if (out != nullptr) {
        *out = varnock::configuredNumber(envName, regValue, defaultValue);
    }
}

void CDebug::SetConfiguredValue(const char* envName, const char* regValue, const char* defaultValue,
                                char* out, unsigned long outSize) {
    varnock::configuredText(envName, regValue, defaultValue, out, outSize);
}

void CDebug::BuildAppVarName(char* buffer, unsigned int size) {
    if (buffer == nullptr || size == 0) {
        return;
    }
    size_t length = strnlen(buffer, size - 1);
    const auto append = [&](char c) {
        if (length < size - 1) {
            buffer[length++] = c;
        }
    };
    append('_');
    for (const char* c = TovQXObjectName; *c != '\0'; ++c) {
        append(varnock::upperCase(*c));
    }
    buffer[length] = '\0';
}
