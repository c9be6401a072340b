#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/host/Sensor.h"

struct sensors_chip_name;
struct sensors_feature;

namespace varnock::agent {

/// The sensors that libsensors finds. The first request lists them; their values are read on each
/// request. They have numbers from 0, in the order of the names of their chips, which do not change
/// when the machine starts again. Not thread-safe.
class Sensors {
  public:
    unsigned fans() { return count(Kind::fan); }
    unsigned temperatures() { return count(Kind::temperature); }
    unsigned voltages() { return count(Kind::voltage); }
    unsigned powerMeters() { return count(Kind::power); }

    std::optional<Fan> fan(unsigned number);
    std::optional<TemperatureSensor> temperature(unsigned number);
    std::optional<VoltageSensor> voltage(unsigned number);
    /// A meter of the power that the whole machine takes.
    std::optional<PowerMeter> powerMeter(unsigned number);

    /// Whether a driver of this name shows sensors: "coretemp", "acpitz" …
    bool hasDriver(std::string_view name);

  private:
    enum class Kind { fan, temperature, voltage, power };
    /// A sensor that belongs to libsensors.
    struct Place {
        Kind kind;
        const sensors_chip_name* chip;
        const sensors_feature* feature;
    };
    class Library;
    class Reading;

    const std::vector<Place>& places();
    void list();
    void listFeatures(const sensors_chip_name* chip);
    unsigned count(Kind kind);
    std::optional<Reading> find(Kind kind, unsigned number);

    std::shared_ptr<Library> library_;
    std::vector<const sensors_chip_name*> chips_;
    std::vector<Place> places_;
};

}  // namespace varnock::agent
