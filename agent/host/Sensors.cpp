#include "agent/host/Sensors.h"

#include <sensors/sensors.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

#include "agent/host/Files.h"

namespace varnock::agent {
namespace {

using Real = std::optional<double>;
using Subfeature = sensors_subfeature_type;

struct Free {
    void operator()(char* text) const { std::free(text); }
};

std::string nameOf(const sensors_chip_name* chip) {
    std::array<char, 200> name{};
    return sensors_snprintf_chip_name(name.data(), name.size(), chip) > 0 ? name.data()
                                                                          : chip->prefix;
}

/// The model of a disk or another device with sensors of its own, else the name of the chip.
std::string deviceOf(const sensors_chip_name* chip) {
    const auto model = chip->path != nullptr
                           ? readLine(std::filesystem::path(chip->path) / "device/model")
                           : std::nullopt;
    return model ? *model : nameOf(chip);
}

/// True for the meter at the supply of the machine; others measure a part.
bool measuresMachine(const sensors_chip_name* chip) {
    return std::string_view(chip->prefix) == "power_meter";
}

}  // namespace

/// libsensors has one state for the process, which lasts as long as its users.
class Sensors::Library {
  public:
    static std::shared_ptr<Library> open() {
        static std::weak_ptr<Library> opened;
        std::shared_ptr<Library> library = opened.lock();
        if (library == nullptr && sensors_init(nullptr) == 0) {
            library = std::make_shared<Library>();
            opened = library;
        }
        return library;
    }

    Library() = default;
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { sensors_cleanup(); }
};

/// The values of one sensor.
class Sensors::Reading {
  public:
    explicit Reading(const Place& place) : chip_(place.chip), feature_(place.feature) {}

    std::string name() const {
        const std::unique_ptr<char, Free> label(sensors_get_label(chip_, feature_));
        return deviceOf(chip_) + " " + (label != nullptr ? label.get() : feature_->name);
    }

    Real value(Subfeature type) const {
        const sensors_subfeature* found = sensors_get_subfeature(chip_, feature_, type);
        double value = 0;
        if (found == nullptr || (found->flags & SENSORS_MODE_R) == 0 ||
            sensors_get_value(chip_, found->number, &value) != 0) {
            return std::nullopt;
        }
        return value;
    }

    /// The state by alarms: the given one if any of them is set.
    std::optional<Health> alarms(Health health, std::initializer_list<Subfeature> types) const {
        std::optional<Health> found;
        for (const Subfeature type : types) {
            if (const Real alarm = value(type)) {
                found = worse(found, *alarm != 0 ? health : Health::ok);
            }
        }
        return found;
    }

  private:
    const sensors_chip_name* chip_;
    const sensors_feature* feature_;
};

const std::vector<Sensors::Place>& Sensors::places() {
    if (library_ == nullptr) {
        list();
    }
    return places_;
}

void Sensors::list() {
    library_ = Library::open();
    if (library_ == nullptr) {
        return;
    }
    int next = 0;
    while (const sensors_chip_name* chip = sensors_get_detected_chips(nullptr, &next)) {
        chips_.push_back(chip);
    }
    std::sort(chips_.begin(), chips_.end(),
              [](const auto* a, const auto* b) { return nameOf(a) < nameOf(b); });
    for (const sensors_chip_name* chip : chips_) {
        listFeatures(chip);
    }
}

void Sensors::listFeatures(const sensors_chip_name* chip) {
    int next = 0;
    while (const sensors_feature* feature = sensors_get_features(chip, &next)) {
        switch (feature->type) {
            case SENSORS_FEATURE_FAN:
                places_.push_back({Kind::fan, chip, feature});
                break;
            case SENSORS_FEATURE_TEMP:
                places_.push_back({Kind::temperature, chip, feature});
                break;
            case SENSORS_FEATURE_IN:
                places_.push_back({Kind::voltage, chip, feature});
                break;
            case SENSORS_FEATURE_POWER:
                if (measuresMachine(chip)) {
                    places_.push_back({Kind::power, chip, feature});
                }
                break;
            default:
                break;
        }
    }
}

unsigned Sensors::count(Kind kind) {
    const std::vector<Place>& all = places();
    return static_cast<unsigned>(std::count_if(
        all.begin(), all.end(), [kind](const Place& place) { return place.kind == kind; }));
}

std::optional<Sensors::Reading> Sensors::find(Kind kind, unsigned number) {
    for (const Place& place : places()) {
        if (place.kind == kind && number-- == 0) {
            return Reading(place);
        }
    }
    return std::nullopt;
}

bool Sensors::hasDriver(std::string_view name) {
    places();
    return std::any_of(chips_.begin(), chips_.end(),
                       [name](const auto* chip) { return chip->prefix == name; });
}

std::optional<Fan> Sensors::fan(unsigned number) {
    const auto found = find(Kind::fan, number);
    if (!found) {
        return std::nullopt;
    }
    Fan fan;
    fan.name = found->name();
    fan.rpm = found->value(SENSORS_SUBFEATURE_FAN_INPUT);
    fan.health =
        worse(healthWithin({.leastBeforeFailure = {},
                            .least = found->value(SENSORS_SUBFEATURE_FAN_MIN),
                            .most = found->value(SENSORS_SUBFEATURE_FAN_MAX),
                            .mostBeforeFailure = {}},
                           fan.rpm),
              worse(found->alarms(Health::failed, {SENSORS_SUBFEATURE_FAN_FAULT}),
                    // An alarm of a fan that stands still is a failure.
                    found->alarms(fan.rpm == 0.0 ? Health::failed : Health::warning,
                                  {SENSORS_SUBFEATURE_FAN_ALARM, SENSORS_SUBFEATURE_FAN_MIN_ALARM,
                                   SENSORS_SUBFEATURE_FAN_MAX_ALARM})));
    return fan;
}

std::optional<TemperatureSensor> Sensors::temperature(unsigned number) {
    const auto found = find(Kind::temperature, number);
    if (!found) {
        return std::nullopt;
    }
    TemperatureSensor sensor;
    sensor.name = found->name();
    sensor.celsius = found->value(SENSORS_SUBFEATURE_TEMP_INPUT);
    sensor.warning = found->value(SENSORS_SUBFEATURE_TEMP_MAX);
    sensor.critical = found->value(SENSORS_SUBFEATURE_TEMP_CRIT);
    sensor.health =
        worse(healthWithin({.leastBeforeFailure = found->value(SENSORS_SUBFEATURE_TEMP_LCRIT),
                            .least = found->value(SENSORS_SUBFEATURE_TEMP_MIN),
                            .most = sensor.warning,
                            .mostBeforeFailure = sensor.critical},
                           sensor.celsius),
              worse(found->alarms(Health::failed, {SENSORS_SUBFEATURE_TEMP_FAULT,
                                                   SENSORS_SUBFEATURE_TEMP_CRIT_ALARM,
                                                   SENSORS_SUBFEATURE_TEMP_LCRIT_ALARM,
                                                   SENSORS_SUBFEATURE_TEMP_EMERGENCY_ALARM}),
                    found->alarms(Health::warning,
                                  {SENSORS_SUBFEATURE_TEMP_ALARM, SENSORS_SUBFEATURE_TEMP_MIN_ALARM,
                                   SENSORS_SUBFEATURE_TEMP_MAX_ALARM})));
    return sensor;
}

std::optional<VoltageSensor> Sensors::voltage(unsigned number) {
    const auto found = find(Kind::voltage, number);
    if (!found) {
        return std::nullopt;
    }
    VoltageSensor sensor;
    sensor.name = found->name();
    sensor.volts = found->value(SENSORS_SUBFEATURE_IN_INPUT);
    sensor.limits = {.leastBeforeFailure = found->value(SENSORS_SUBFEATURE_IN_LCRIT),
                     .least = found->value(SENSORS_SUBFEATURE_IN_MIN),
                     .most = found->value(SENSORS_SUBFEATURE_IN_MAX),
                     .mostBeforeFailure = found->value(SENSORS_SUBFEATURE_IN_CRIT)};
    sensor.health = worse(healthWithin(sensor.limits, sensor.volts),
                          worse(found->alarms(Health::failed, {SENSORS_SUBFEATURE_IN_LCRIT_ALARM,
                                                               SENSORS_SUBFEATURE_IN_CRIT_ALARM}),
                                found->alarms(Health::warning, {SENSORS_SUBFEATURE_IN_ALARM,
                                                                SENSORS_SUBFEATURE_IN_MIN_ALARM,
                                                                SENSORS_SUBFEATURE_IN_MAX_ALARM})));
    return sensor;
}

std::optional<PowerMeter> Sensors::powerMeter(unsigned number) {
    const auto found = find(Kind::power, number);
    if (!found) {
        return std::nullopt;
    }
    Real watts = found->value(SENSORS_SUBFEATURE_POWER_INPUT);
    return PowerMeter{found->name(),
                      watts ? watts : found->value(SENSORS_SUBFEATURE_POWER_AVERAGE)};
}

}  // namespace varnock::agent
