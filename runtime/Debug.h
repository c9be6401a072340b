#pragma once

#include <pthread.h>
#include <stdarg.h>

#include <cstdint>

#include "runtime/Version.h"
#include "util/Export.h"

/// Where the trace keeps its settings in the registry, and their names.
extern VARNOCK_EXPORT const char* REGPATH_DBGTRACE;
extern VARNOCK_EXPORT const char* REGVAL_DBG_LEVEL;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_DIR;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_FACTOR;
extern VARNOCK_EXPORT const char* REGVAL_RINGBUF_WEIGHT;
extern VARNOCK_EXPORT const char* REGVAL_NO_HDR_TO_STDERR;

/// The trace facility. The library writes through the one object `Debug`.
class VARNOCK_EXPORT CDebug {
  public:
    struct TokVal {
        const char* name;
        const char* value;
    };
    static TokVal m_TokValTabEnv[43];
    static TokVal m_TokValTabCfg[14];

    explicit CDebug(const char* name);
    ~CDebug();
    CDebug(const CDebug&) = delete;
    CDebug& operator=(const CDebug&) = delete;

    int Init(const char* name);
    int InitRingBuffer(const char* path, long size);
    /// Writes when level is not above the trace level. Callers test m_bActive or IsOn() first.
    void Print(unsigned int level, const char* format, ...);
    void PrintAlways(unsigned int level, const char* format, ...);
    void PrintIt(unsigned int target, const char* format, ...);
    void PrintToConsole(const char* format, ...);
    void TraceToConsole(const char* format, va_list arguments);
    void TraceToRingBuffer(const char* format, va_list arguments);
    int SetEntryHeader(char* buffer, unsigned long size);
    void DumpHex(unsigned int level, const unsigned char* data, unsigned long length, int withOffset,
                 int withAscii);
    void SetMainParams(int argc, char** argv);
    void SetApplInitDone();
    int ForceMaxDebug(int on);
    void WriteLogHeader(unsigned int target);
    void SetConfiguredValue(const char* envName, unsigned int regValue, unsigned int defaultValue,
                            unsigned int* out);
    void SetConfiguredValue(const char* envName, const char* regValue, const char* defaultValue,
                            char* out, unsigned long outSize);
    static void BuildAppVarName(char* buffer, unsigned int size);

    /// True when an entry of this level would be written: active, and level not above the trace
    /// level. Guards texts that cost something to build.
    bool IsOn(unsigned int level) const;

  public:
    unsigned int m_bActive;
};

extern VARNOCK_EXPORT CDebug Debug;
