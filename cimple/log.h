#pragma once

#include <cimple/config.h>

CIMPLE_NAMESPACE_BEGIN

enum Log_Level { LL_FATAL, LL_ERR, LL_WARN, LL_INFO, LL_DBG };

/// A place in the source that logs; the macros below make one. `write` appends a line to the file
/// "messages" in the directory that the environment variable CIMPLE_HOME names; without that
/// directory the text is dropped. May be used by several threads and processes at once.
class Log_Site {
  public:
    Log_Site(Log_Level level, const char* file, int line) noexcept
        : level_(level), file_(file), line_(line) {}
    [[gnu::format(printf, 2, 3)]] void write(const char* format, ...) const;

  private:
    Log_Level level_;
    const char* file_;
    int line_;
};

CIMPLE_NAMESPACE_END

/// Log a text, as in CIMPLE_WARN(("fan %u is slow", number)).
#define CIMPLE_FATAL(ARGS) CIMPLE_LOG_(LL_FATAL, ARGS)
#define CIMPLE_ERR(ARGS) CIMPLE_LOG_(LL_ERR, ARGS)
#define CIMPLE_WARN(ARGS) CIMPLE_LOG_(LL_WARN, ARGS)
#define CIMPLE_INFO(ARGS) CIMPLE_LOG_(LL_INFO, ARGS)
#define CIMPLE_DBG(ARGS) CIMPLE_LOG_(LL_DBG, ARGS)
#define CIMPLE_LOG_(LEVEL, ARGS) ::cimple::Log_Site(::cimple::LEVEL, __FILE__, __LINE__).write ARGS
