#pragma once

#include <stdarg.h>
#include <stddef.h>

#include <cstdint>
#include <string_view>

#include "runtime/Version.h"
#include "util/Export.h"

namespace varnock {

class RingBufferFile;
class TraceEntry;

/// The settings of the trace in the registry; -1 and "" for missing values.
struct StoredTraceSettings {
    int level;             ///< DebugLevel
    int factor;            ///< RingBufferSizeFactor
    int weight;            ///< RingBufferSizeWeight
    int noHeaderToStderr;  ///< NoHeaderToStderr
    char directory[260];   ///< RingBufferDirectory
    int perProcess = 0;    ///< RingBufferPerProcess
};

/// The settings in force, from the environment, the registry and the defaults.
struct TraceSettings {
    unsigned int level;             ///< entries up to this level are written
    unsigned int factor;            ///< of the size, 0 to 2
    unsigned int weight;            ///< of the size
    unsigned int noHeaderToStderr;  ///< 0: the start-up header goes to standard error
    std::int64_t ringBufferSize;    ///< bytes; below 1: no file
    char directory[260];            ///< of the ring-buffer file
    unsigned int perProcess;        ///< not 0: each live process has a file of its own
};

/// The first and the last letter of the names of trace files: "log.<application>_a" to "_z".
inline constexpr char kFirstTraceLetter = 'a';
inline constexpr char kLastTraceLetter = 'z';

namespace test {
class DebugTestAccess;
}

}  // namespace varnock

/// The key of the trace settings in the registry (below the local machine, followed by the
/// application name), and the names of its values.
extern VARNOCK_EXPORT const char* REGPATH_DBGTRACE;
extern VARNOCK_EXPORT const char* REGVAL_DBG_LEVEL;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_DIR;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_FACTOR;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_WEIGHT;
extern VARNOCK_EXPORT const char* REGVAL_NO_HDR_TO_STDERR;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_PER_PROCESS;

/// The trace facility: writes each entry to a ring-buffer file that is mapped into memory, or to
/// standard error. The library and its users write through the object `Debug`, which sets itself up
/// when the library is loaded. It needs no opening or closing.
///
/// Levels are plain numbers: 0 must be seen, 1 failures, 2 notable events, 3 details, 4 objects
/// made and destroyed, 5 entry and exit of calls. The default level, 255, lets everything through.
///
///     if (Debug.IsOn(1)) Debug.Print(1, "\nOpenFile: \"%s\" failed (%d)\n", path, errno);
///
/// Formats are those of printf, with one difference: "%S" takes plain characters, as "%s" does, and
/// its precision counts bytes. Newlines at the start of a format are dropped, a missing one at the
/// end is added, and a message is cut to 1024 bytes. The format must be trusted text.
///
/// An object filled with zeros is legal and quiet: before `Debug` is built, and after it is
/// destroyed, only PrintAlways() and PrintToConsole() write.
///
/// Thread-safety: any thread may call any operation; entries never mix. One recursive lock guards
/// them all. It comes after all locks of callers. Messages are formatted before it is taken, and
/// entries have the order and the time of being placed. Another thread may place the entry, but
/// always before the call returns. Never call it from a signal handler. Writing to standard error
/// is a cancellation point and may block; writing to the ring buffer makes no system call, unless
/// another thread holds the lock for long.
///
/// Processes share one file and write over each other's entries, unless QX_LOG_RINGBUF_PER_PROCESS
/// or the registry gives each live process a file of its own. A forked child then takes one at its
/// first entry.
///
/// Rules for a host:
/// - Console entries go to file descriptor 2. If the host closes it and reuses the number, the
///   trace goes to the new file. If standard error blocks, every thread that traces stops. If
///   standard error is a pipe without a reader, the host gets SIGPIPE, and must ignore it to
///   survive.
/// - Never truncate the ring-buffer file in place, as copy-and-truncate rotation does: the next
///   entry would end the host with SIGBUS.
///
/// No operation throws. Operations that write report no failure, drop an entry that cannot be
/// built, and keep `errno`. Operations that set the object up may change `errno`.
class VARNOCK_EXPORT CDebug {
  public:
    /// A name and its value in the environment.
    struct TokVal {
        const char* name;   ///< null behind the last row
        const char* value;  ///< null when unset
    };
    /// Copies of the environment at the time of set-up, for the trace header.
    static TokVal m_TokValTabEnv[43];
    /// The same for the keys of the agent's configuration file, which are also read from the
    /// environment.
    static TokVal m_TokValTabCfg[14];

    /// Sets the object up with Init(); a failure is reported to standard error and syslog.
    explicit CDebug(const char* name);
    /// Closes the trace file. Later traces are dropped.
    ~CDebug();
    CDebug(const CDebug&) = delete;
    CDebug& operator=(const CDebug&) = delete;

    /// Reads the settings (environment, else registry, else default), opens the ring-buffer file
    /// and writes the start-up header to standard error. `name` must be TovQXObjectName.
    /// Returns 0 only when the ring-buffer file cannot be used; the trace is then inactive. Without
    /// a registry, or with a file size of 0, it is active on standard error at level 0, and the
    /// result is 1. Does nothing and returns 1 when the object is set up already.
    int Init(const char* name);
    /// Creates or reopens the ring-buffer file of `size` bytes (at most 2147483647) and directs the
    /// trace to it. Returns 1, or 0 with the trace as it was before.
    int InitRingBuffer(const char* path, long size);

    /// Writes to the current target if level is not above the trace level. Does not check
    /// m_bActive: callers check it, or call IsOn().
    void Print(unsigned int level, const char* format, ...);
    /// Writes at any level to standard error, and to the ring buffer if that is the target.
    void PrintAlways(unsigned int level, const char* format, ...);
    /// Writes at any level. Target 1 is standard error, 2 the ring buffer, 0 the current target.
    void PrintIt(unsigned int target, const char* format, ...);
    /// Writes to standard error.
    void PrintToConsole(const char* format, ...);
    /// The same as PrintToConsole() with an argument list, which is used up.
    void TraceToConsole(const char* format, va_list arguments);
    /// Appends to the ring buffer, if one is open; the argument list is used up.
    void TraceToRingBuffer(const char* format, va_list arguments);

    /// Writes the header of an entry, "Mmm dd hh:mm:ss host application[thread]: ", into `buffer`,
    /// cut and terminated as snprintf does. Returns the length of the whole header.
    int SetEntryHeader(char* buffer, unsigned long size);
    /// Traces up to 256 bytes of `data`, 16 to a line.
    void DumpHex(unsigned int level, const unsigned char* data, unsigned long length,
                 int withOffset, int withAscii);
    /// Records and prints the arguments of main(). `argv` is kept, not copied, and read again at
    /// every wrap of the ring buffer, so it must live as long as the trace.
    void SetMainParams(int argc, char** argv);
    /// Declares the initialisation of the host done: wraps keep the entries so far. Has no effect
    /// if the file has wrapped, or has less than about 1 MiB left.
    void SetApplInitDone();
    /// 0 silences the trace, anything else restores the configured level. Returns 1.
    int ForceMaxDebug(int on);
    /// Prints process, environment and settings to a target of PrintIt().
    void WriteLogHeader(unsigned int target);

    /// The number in the environment variable, else regValue unless that is all ones, else the
    /// default. The variable is converted with atoi; envName may be null.
    void SetConfiguredValue(const char* envName, unsigned int regValue, unsigned int defaultValue,
                            unsigned int* out);
    /// The text of the environment variable, else regValue unless null or empty, else the default.
    /// Cut to outSize - 1 characters, always terminated. Any of the inputs may be null.
    void SetConfiguredValue(const char* envName, const char* regValue, const char* defaultValue,
                            char* out, unsigned long outSize);
    /// Appends "_" and the upper-case TovQXObjectName to the text in `buffer`, as far as `size`
    /// bytes allow.
    static void BuildAppVarName(char* buffer, unsigned int size);

    /// True if an entry of this level would be written: the trace is active, and level is not above
    /// the trace level. Saves the cost of building texts that would be dropped.
    bool IsOn(unsigned int level) const {
        // The level is the usual reason not to write, so it is tested first.
        return level <= __atomic_load_n(&traceLevel_, __ATOMIC_RELAXED) &&
               __atomic_load_n(&m_bActive, __ATOMIC_RELAXED) != 0;
    }

  private:
    friend class varnock::test::DebugTestAccess;
    friend class varnock::TraceEntry;

    enum Target : unsigned int { kNoTarget = 0, kConsole = 1, kRingBuffer = 2 };
    static constexpr size_t kPathSize = 260;

    [[nodiscard]] bool isSetUp() const;
    bool identify(const char* name);
    [[nodiscard]] static bool readSettings(varnock::StoredTraceSettings& stored);
    void identifyProcess();
    void applySettings();
    int start(bool hasSettings);
    void buildPath(char letter, char (&path)[2 * kPathSize + 16]) const;
    [[nodiscard]] bool openRingBuffer(const char* path, long size, bool* isInUse);
    [[nodiscard]] bool openOwnRingBuffer();
    [[nodiscard]] bool hasRingBuffer();
    [[nodiscard]] bool startInForkedChild();
    void reportInternalError(int number);
    void reportFailure();
    void fallBackToConsole();
    void trace(unsigned int target, const char* format, va_list arguments);
    void place(varnock::TraceEntry& entry);
    void append(std::string_view entry);
    void printProcess(unsigned int target);
    void printCommandLine(unsigned int target);
    void printEnvironment(unsigned int target);
    void printSettings(unsigned int target);

    // The object is used before it is built: no field has a constructor with an effect, and zero
    // means inactive. Fields that are read without the lock are accessed atomically.
    int processId_ = 0;
    char descriptorListCommand_[kPathSize] = {};  ///< for the user of a debugger; not run
    char applicationName_[kPathSize] = {};
    int argc_ = 0;
    char** argv_ = nullptr;
    char startTime_[44] = {};
    unsigned int traceTarget_ = kNoTarget;
    unsigned int traceLevel_ = 0;
    unsigned int savedTraceLevel_ = 0;
    unsigned int applicationInitDone_ = 0;
    /// Owned. Threads that trace during the end of the process read it after the destructor. The
    /// destructor of an owning member would write to it without the lock.
    varnock::RingBufferFile* ringBuffer_ = nullptr;
    std::int64_t ringBufferSize_ = 0;
    char ringBufferPath_[kPathSize] = {};
    unsigned int errorSeverity_ = 0;
    char errorText_[256] = {};
    varnock::TraceSettings settings_ = {};
    varnock::StoredTraceSettings stored_ = {};

  public:
    /// Not 0 while the trace is active. Callers test it, or IsOn(), before Print() and DumpHex().
    unsigned int m_bActive = 0;
};

extern VARNOCK_EXPORT CDebug Debug;
