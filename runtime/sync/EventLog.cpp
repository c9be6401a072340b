#include "runtime/EventLog.h"

#include <new>

#include "util/TextCopy.h"

CEventLog::CEventLog(const char*, const char*) {}

int CEventLog::RegisterSource(const char* source, const char*) {
    try {
        source_ = varnock::copyText(source);
    } catch (const std::bad_alloc&) {
        source_ = nullptr;
    }
    return 0;
}

int CEventLog::Report(const char*, unsigned short) {
    return 0;
}

int CEventLog::Report(unsigned int, unsigned short, const char**, unsigned short, void*,
                      unsigned int, unsigned short) {
    return 0;
}
