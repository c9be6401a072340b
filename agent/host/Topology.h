#pragma once

#include <memory>
#include <optional>
#include <string>

struct hwloc_topology;
struct hwloc_obj;

namespace varnock::agent {

/// How the processors of the machine hang together, as hwloc finds it. Loaded at the first
/// question, since that takes longer than everything else at start-up. Logical processors go by the
/// numbers of the operating system; of one that is offline nothing is known. Not thread-safe.
class Topology {
  public:
    /// The live host, or a made-up machine in hwloc's synthetic notation.
    explicit Topology(std::string synthetic = {}) : synthetic_(std::move(synthetic)) {}

    std::optional<unsigned> package(unsigned cpu);
    /// How many packages there are, and how many of them have a smaller number than the
    /// processor's.
    unsigned packages();
    std::optional<unsigned> packagesBefore(unsigned cpu);
    std::optional<unsigned> coresInPackage(unsigned cpu);
    /// All logical processors of the package, and those that are online.
    std::optional<unsigned> threadsInPackage(unsigned cpu);
    std::optional<unsigned> onlineThreadsInPackage(unsigned cpu);
    std::optional<unsigned> threadsInCore(unsigned cpu);
    /// KiB of the data or unified cache of that level that the processor uses.
    std::optional<unsigned> cacheSize(unsigned cpu, unsigned level);
    /// What hwloc tells of the package: "CPUVendor", "CPUModel", "CPUFamilyNumber" …
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
