#include <cimple/cimom.h>

#include <atomic>

CIMPLE_NAMESPACE_BEGIN

namespace {

std::atomic<bool> unloadable{true};

}  // namespace

void cimom::allow_unload(bool flag) {
    unloadable = flag;
}

namespace detail {

bool mayUnload() {
    return unloadable;
}

}  // namespace detail

CIMPLE_NAMESPACE_END
