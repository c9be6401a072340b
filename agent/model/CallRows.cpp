#include "agent/model/CallRows.h"

namespace varnock::agent {
namespace {

constexpr catalogue::Row kRows[] = {
#include "catalogue/CallRows.inc"
};

}  // namespace

std::span<const catalogue::Row> callRows() {
    return kRows;
}

}  // namespace varnock::agent
