#pragma once

#include <sensors/sensors.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace varnock::agent {

/// Chips for the functions of libsensors, which in this program see them instead of the host's.
/// With no such object there are no chips. One object at a time.
class FakeSensors {
  public:
    using Values = std::map<sensors_subfeature_type, double>;

    struct Feature {
        std::string name;
        std::string label;
        sensors_feature feature{};
        std::deque<sensors_subfeature> subfeatures = {};
        Values values = {};
        std::set<sensors_subfeature_type> unreadable = {};
    };
    struct Chip {
        std::string prefix;
        std::string path;
        std::string fullName;
        sensors_chip_name name{};
        std::deque<Feature> features = {};
    };

    FakeSensors();
    ~FakeSensors();
    FakeSensors(const FakeSensors&) = delete;
    FakeSensors& operator=(const FakeSensors&) = delete;

    Chip& add(std::string prefix, std::string fullName, std::string path = "");
    static Feature& add(Chip& chip, sensors_feature_type type, std::string label, Values values);

    static FakeSensors* current();

    std::deque<Chip> chips;
    bool fails = false;
    unsigned opened = 0;
    unsigned closed = 0;
};

}  // namespace varnock::agent
