// Prints docs/calls.md.
#include <cstdio>

#include "cli/CallText.h"

int main() {
    const std::string page = varnockctl::callsPage();
    return fwrite(page.data(), 1, page.size(), stdout) == page.size() && fflush(stdout) == 0 ? 0
                                                                                             : 1;
}
