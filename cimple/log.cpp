#include <cimple/log.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <cimple/Datetime.h>
#include <cimple/Format.h>

CIMPLE_NAMESPACE_BEGIN

bool _log_enabled_state = true;

namespace {

constexpr const char* levelNames[] = {"FATAL", "ERR", "WARN", "INFO", "DBG"};

/// Writes the line with a single call, so that lines of several writers do not interleave.
void appendToMessages(const String& line) {
    const char* home = ::secure_getenv("CIMPLE_HOME");
    if (!home || !*home) {
        return;
    }
    const int file = ::open(String(home, "/messages").c_str(),
                            O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0640);
    if (file < 0) {
        return;
    }
    // A failure to write a log line cannot be reported.
    [[maybe_unused]] const ssize_t written = ::write(file, line.c_str(), line.size());
    ::close(file);
}

}  // namespace

void Log_Call_Frame::write(const char* format, ...) const {
    char text[detail::longestText + 1];
    va_list args;
    va_start(args, format);
    detail::formatText(text, format, args);
    va_end(args);

    char place[256];
    std::snprintf(place, sizeof place, " %s %s(%d): ", levelNames[level_], file_, line_);
    String line = Datetime::now().ascii(true);
    line.append(place);
    line.append(text);
    line.append('\n');
    appendToMessages(line);
}

CIMPLE_NAMESPACE_END
