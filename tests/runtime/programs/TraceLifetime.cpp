// Traces before the library's objects are built, from main, and after they are destroyed. The test
// of the process-wide objects reads the output.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "runtime/Debug.h"

namespace {

void report(const char* when, const char* state) {
    dprintf(STDOUT_FILENO, "%s %s\n", when, state);
}

/// Traces in every way. The time decides which entries are dropped.
void traceAll(const char* when) {
    report(when, Debug.m_bActive != 0 ? "active" : "quiet");
    report(when, Debug.IsOn(0) ? "on" : "off");
    Debug.Print(0, "Print %s", when);
    Debug.PrintIt(0, "PrintIt current %s", when);
    Debug.PrintIt(2, "PrintIt ring buffer %s", when);
    Debug.PrintAlways(0, "PrintAlways %s", when);
}

struct Tracer {
    Tracer(const char* first, const char* last) : last_(last) { traceAll(first); }
    ~Tracer() { traceAll(last_); }
    const char* last_;
};

/// Built before all objects of the library and destroyed after them.
[[gnu::init_priority(200)]] const Tracer kOuter("before", "after");
/// An ordinary static object: the library's objects exist during its whole life.
const Tracer kInner("static-begin", "static-end");

}  // namespace

int main() {
    traceAll("main");
    return 0;
}
