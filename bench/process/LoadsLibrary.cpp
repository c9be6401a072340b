// A process that loads the library and uses nothing of it.
#include "runtime/Version.h"

int main() {
    return TovQXObjectName == nullptr ? 1 : 0;
}
