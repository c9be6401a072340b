#pragma once

#include <memory>
#include <optional>
#include <string>

struct hwloc_topology;
struct hwloc_obj;

namespace varnock::agent {

/// The processor topology of the machine according to hwloc. Loaded by the first request, because
/// loading takes longer than the rest of the start-up. Logical processors have the numbers of the
/// operating system; nothing is known about offline ones. Not thread-safe.
class Topology {
  public:
    /// The live host, or a synthetic machine in hwloc's notation.
    explicit Topology(std::string synthetic = {}) : synthetic_(std::move(synthetic)) {}

    std::optional<unsigned> package(unsigned cpu);
    /// The number of packages, and the number of those before the processor's.
    unsigned packages();
    std::optional<unsigned> packagesBefore(unsigned cpu);
    std::optional<unsigned> coresInPackage(unsigned cpu);
    /// The number of logical processors of the package, and of those online.
    std::optional<unsigned> threadsInPackage(unsigned cpu);
    std::optional<unsigned> onlineThreadsInPackage(unsigned cpu);
    std::optional<unsigned> threadsInCore(unsigned cpu);
    /// KiB of the data or unified cache of that level that the processor uses.
    std::optional<unsigned> cacheSize(unsigned cpu, unsigned level);
    /// An hwloc attribute of the package: "CPUVendor", "CPUModel", "CPUFamilyNumber" …
    std::optional<std::string> packageInfo(unsigned cpu, const char* name);

  private:
    struct Destroy {
        void operator()(hwloc_topology* topology) const;
    };

    hwloc_topology* loaded();
    hwloc_obj* processor(unsigned cpu);
    hwloc_obj* packageOf(unsigned cpu);

    std::string synthetic_;
    bool tried_ = false;
    std::unique_ptr<hwloc_topology, Destroy> topology_;
};

}  // namespace varnock::agent
