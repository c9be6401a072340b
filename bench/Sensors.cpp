// Reads every temperature sensor of a machine. See bench/scale.
//   sensors CABINETS PER-CABINET
// Fails unless each has its designation, its status and its temperature, which is its number in
// the cabinet modulo 100.
#include <stdio.h>
#include <stdlib.h>

#include <chrono>
#include <string>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"

namespace {

bool isRead(provider::KOLMCalls& calls, const provider::KOLMKey& key) {
    constexpr unsigned int kOk = 1;
    const auto designation = calls.getTempSensorDesignation(key);
    return !designation.null &&
           designation.value == ("Sensor " + std::to_string(key.objectId)).c_str() &&
           calls.getTempSensorStatus(key) == kOk &&
           calls.getCurrentTemperature(key) == key.objectId % 100;
}

}  // namespace

int main(int argc, char** argv) {
    const auto cabinets = static_cast<unsigned int>(argc == 3 ? strtoul(argv[1], nullptr, 10) : 0);
    const auto perCabinet =
        static_cast<unsigned int>(argc == 3 ? strtoul(argv[2], nullptr, 10) : 0);
    if (cabinets == 0 || perCabinet == 0) {
        fputs("usage: sensors CABINETS PER-CABINET\n", stderr);
        return 2;
    }
    const auto client = provider::getKOLMClient("sensors");
    const auto calls = provider::newKOLMCalls(client.get());
    const auto begin = std::chrono::steady_clock::now();
    for (unsigned int cabinet = 0; cabinet < cabinets; ++cabinet) {
        if (calls->getNumberTempSensors(cabinet) != perCabinet) {
            fprintf(stderr, "sensors: cabinet %u has another number\n", cabinet);
            return 1;
        }
        for (unsigned int sensor = 0; sensor < perCabinet; ++sensor) {
            if (!isRead(*calls, provider::KOLMKey(cabinet, sensor, 0))) {
                fprintf(stderr, "sensors: cabinet %u, sensor %u: wrong values\n", cabinet, sensor);
                return 1;
            }
        }
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    const unsigned int count = cabinets * perCabinet;
    printf("%u sensors in %u cabinets   %.2f s, %.0f sensors/s, three calls each\n", count,
           cabinets, time.count(), count / time.count());
}
