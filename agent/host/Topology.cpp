#include "agent/host/Topology.h"

#include <hwloc.h>

#include <limits>

namespace varnock::agent {
namespace {

std::optional<unsigned> positive(int count) {
    return count > 0 ? std::optional(static_cast<unsigned>(count)) : std::nullopt;
}

}  // namespace

void Topology::Destroy::operator()(hwloc_topology* topology) const {
    hwloc_topology_destroy(topology);
}

hwloc_topology* Topology::loaded() {
    if (tried_) {
        return topology_.get();
    }
    tried_ = true;
    hwloc_topology_t topology = nullptr;
    if (hwloc_topology_init(&topology) != 0) {
        return nullptr;
    }
    std::unique_ptr<hwloc_topology, Destroy> owner(topology);
    // The whole machine, even if a control group restricts the agent to a part of it.
    hwloc_topology_set_flags(topology, HWLOC_TOPOLOGY_FLAG_INCLUDE_DISALLOWED);
    if (!synthetic_.empty() && hwloc_topology_set_synthetic(topology, synthetic_.c_str()) != 0) {
        return nullptr;
    }
    if (hwloc_topology_load(topology) == 0) {
        topology_ = std::move(owner);
    }
    return topology_.get();
}

hwloc_obj* Topology::processor(unsigned cpu) {
    hwloc_topology* topology = loaded();
    return topology != nullptr ? hwloc_get_pu_obj_by_os_index(topology, cpu) : nullptr;
}

hwloc_obj* Topology::packageOf(unsigned cpu) {
    hwloc_obj* found = processor(cpu);
    return found != nullptr
               ? hwloc_get_ancestor_obj_by_type(topology_.get(), HWLOC_OBJ_PACKAGE, found)
               : nullptr;
}

std::optional<unsigned> Topology::package(unsigned cpu) {
    const hwloc_obj* found = packageOf(cpu);
    if (found == nullptr || found->os_index == HWLOC_UNKNOWN_INDEX) {
        return std::nullopt;
    }
    return found->os_index;
}

unsigned Topology::packages() {
    hwloc_topology* topology = loaded();
    const int count =
        topology != nullptr ? hwloc_get_nbobjs_by_type(topology, HWLOC_OBJ_PACKAGE) : 0;
    return positive(count).value_or(0);
}

std::optional<unsigned> Topology::packagesBefore(unsigned cpu) {
    const auto number = package(cpu);
    if (!number) {
        return std::nullopt;
    }
    unsigned before = 0;
    hwloc_obj* other = nullptr;
    while ((other = hwloc_get_next_obj_by_type(topology_.get(), HWLOC_OBJ_PACKAGE, other)) !=
           nullptr) {
        before += other->os_index < *number ? 1U : 0U;
    }
    return before;
}

std::optional<unsigned> Topology::coresInPackage(unsigned cpu) {
    const hwloc_obj* found = packageOf(cpu);
    if (found == nullptr) {
        return std::nullopt;
    }
    return positive(
        hwloc_get_nbobjs_inside_cpuset_by_type(topology_.get(), found->cpuset, HWLOC_OBJ_CORE));
}

std::optional<unsigned> Topology::threadsInPackage(unsigned cpu) {
    const hwloc_obj* found = packageOf(cpu);
    return found != nullptr ? positive(hwloc_bitmap_weight(found->complete_cpuset)) : std::nullopt;
}

std::optional<unsigned> Topology::onlineThreadsInPackage(unsigned cpu) {
    const hwloc_obj* found = packageOf(cpu);
    return found != nullptr ? positive(hwloc_bitmap_weight(found->cpuset)) : std::nullopt;
}

std::optional<unsigned> Topology::threadsInCore(unsigned cpu) {
    hwloc_obj* found = processor(cpu);
    const hwloc_obj* core =
        found != nullptr ? hwloc_get_ancestor_obj_by_type(topology_.get(), HWLOC_OBJ_CORE, found)
                         : nullptr;
    return core != nullptr ? positive(hwloc_bitmap_weight(core->cpuset)) : std::nullopt;
}

std::optional<unsigned> Topology::cacheSize(unsigned cpu, unsigned level) {
    constexpr hwloc_obj_type_t kCaches[] = {HWLOC_OBJ_L1CACHE, HWLOC_OBJ_L2CACHE, HWLOC_OBJ_L3CACHE,
                                            HWLOC_OBJ_L4CACHE, HWLOC_OBJ_L5CACHE};
    hwloc_obj* found = processor(cpu);
    if (found == nullptr || level == 0 || level > std::size(kCaches)) {
        return std::nullopt;
    }
    const hwloc_obj* cache =
        hwloc_get_ancestor_obj_by_type(topology_.get(), kCaches[level - 1], found);
    const std::uint64_t size = cache != nullptr ? cache->attr->cache.size / 1024 : 0;
    if (size == 0 || size > std::numeric_limits<unsigned>::max()) {
        return std::nullopt;
    }
    return static_cast<unsigned>(size);
}

std::optional<std::string> Topology::packageInfo(unsigned cpu, const char* name) {
    hwloc_obj* found = packageOf(cpu);
    const char* text = found != nullptr ? hwloc_obj_get_info_by_name(found, name) : nullptr;
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace varnock::agent
