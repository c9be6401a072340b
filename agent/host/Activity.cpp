#include "agent/host/Activity.h"

#include <libproc2/meminfo.h>
#include <libproc2/stat.h>

#include <iterator>

namespace varnock::agent {
namespace {

/// A tenth of a second: the shortest interval that gives a percentage.
constexpr unsigned long long kShortestSpan = 10;

unsigned share(unsigned long long part, unsigned long long whole) {
    return part >= whole ? 100U : static_cast<unsigned>(part * 100 / whole);
}

}  // namespace

unsigned LoadMeter::percent(unsigned cpu, Ticks now) {
    State& state = states_[cpu];
    // The kernel's counters may decrease when a processor goes offline or online.
    if (now.total < state.since.total || now.busy < state.since.busy) {
        state.since = {};
    }
    const unsigned long long span = now.total - state.since.total;
    if (span >= kShortestSpan) {
        state.percent = share(now.busy - state.since.busy, span);
        state.since = now;
    }
    return state.percent;
}

void Activity::Release::operator()(meminfo_info* info) const {
    procps_meminfo_unref(&info);
}
void Activity::Release::operator()(stat_info* info) const {
    procps_stat_unref(&info);
}

std::optional<unsigned> Activity::memoryUsedPercent() {
    if (memory_ == nullptr) {
        meminfo_info* info = nullptr;
        if (procps_meminfo_new(&info) < 0) {
            return std::nullopt;
        }
        memory_.reset(info);
    }
    meminfo_item items[] = {MEMINFO_MEM_TOTAL, MEMINFO_MEM_AVAILABLE};
    const meminfo_stack* stack = procps_meminfo_select(memory_.get(), items, std::size(items));
    if (stack == nullptr) {
        return std::nullopt;
    }
    const unsigned long total = stack->head[0].result.ul_int;
    const unsigned long available = stack->head[1].result.ul_int;
    if (total == 0 || available > total) {
        return std::nullopt;
    }
    return share(total - available, total);
}

stat_info* Activity::counters() {
    if (counters_ == nullptr) {
        stat_info* info = nullptr;
        if (procps_stat_new(&info) < 0) {
            return nullptr;
        }
        counters_.reset(info);
    }
    return counters_.get();
}

std::optional<Ticks> Activity::ticks(unsigned cpu) {
    stat_info* info = counters();
    if (info == nullptr) {
        return std::nullopt;
    }
    stat_item items[] = {STAT_TIC_ID, STAT_TIC_SUM_BUSY, STAT_TIC_SUM_TOTAL};
    const stat_reaped* reaped =
        procps_stat_reap(info, STAT_REAP_CPUS_ONLY, items, static_cast<int>(std::size(items)));
    if (reaped == nullptr) {
        return std::nullopt;
    }
    for (int i = 0; i < reaped->cpus->total; ++i) {
        const stat_result* values = reaped->cpus->stacks[i]->head;
        if (values[0].result.s_int == static_cast<int>(cpu)) {
            return Ticks{values[1].result.ull_int, values[2].result.ull_int};
        }
    }
    return std::nullopt;
}

std::optional<unsigned> Activity::cpuUsedPercent(unsigned cpu) {
    const auto now = ticks(cpu);
    return now ? std::optional(load_.percent(cpu, *now)) : std::nullopt;
}

std::optional<unsigned> Activity::bootTime() {
    stat_info* info = counters();
    const stat_result* result =
        info != nullptr ? procps_stat_get(info, STAT_SYS_TIME_OF_BOOT) : nullptr;
    if (result == nullptr || result->result.ul_int == 0) {
        return std::nullopt;
    }
    return static_cast<unsigned>(result->result.ul_int);
}

}  // namespace varnock::agent
