#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

enum Log_Level { LL_FATAL, LL_ERR, LL_WARN, LL_INFO, LL_DBG };

/// Whether the macros below log at all.
extern bool _log_enabled_state;

/// A logging position in the source, created by the macros below. `write` appends a line to the
/// file "messages" in the directory CIMPLE_HOME (environment variable); without that directory the
/// text is dropped. May be used by several threads and processes at once.
class Log_Call_Frame {
  public:
    Log_Call_Frame(Log_Level level, const char* file, int line) noexcept
        : level_(level), file_(file), line_(line) {}
    /// REQUIRES: as for Error::set().
    [[gnu::format(printf, 2, 3)]] void write(const char* format, ...) const;

  private:
    Log_Level level_;
    const char* file_;
    int line_;
};

CIMPLE_NAMESPACE_END

/// Log a text, as in CIMPLE_WARN(("fan %u is slow", number)). Statements, for use within the
/// namespace of the framework.
#define CIMPLE_FATAL(ARGS) CIMPLE_LOG_(LL_FATAL, ARGS)
#define CIMPLE_ERR(ARGS) CIMPLE_LOG_(LL_ERR, ARGS)
#define CIMPLE_WARN(ARGS) CIMPLE_LOG_(LL_WARN, ARGS)
#define CIMPLE_INFO(ARGS) CIMPLE_LOG_(LL_INFO, ARGS)
#define CIMPLE_DBG(ARGS) CIMPLE_LOG_(LL_DBG, ARGS)
#define CIMPLE_LOG_(LEVEL, ARGS)                             \
    do {                                                     \
        if (_log_enabled_state) {                            \
            Log_Call_Frame frame(LEVEL, __FILE__, __LINE__); \
            frame.write ARGS;                                \
        }                                                    \
    } while (0)
