#include "agent/host/PciNames.h"

#include <gtest/gtest.h>
#include <systemd/sd-hwdb.h>

#include <cerrno>

#include "tests/agent/host/FakeHardwareNames.h"

struct sd_hwdb {};

namespace varnock::agent {
namespace {

FakeHardwareNames* installedNames = nullptr;
sd_hwdb onlyDatabase;

}  // namespace

FakeHardwareNames::FakeHardwareNames() {
    installedNames = this;
}
FakeHardwareNames::~FakeHardwareNames() {
    installedNames = nullptr;
}
FakeHardwareNames* FakeHardwareNames::current() {
    return installedNames;
}

}  // namespace varnock::agent

using varnock::agent::FakeHardwareNames;

extern "C" {

int sd_hwdb_new(sd_hwdb** database) {
    if (FakeHardwareNames::current() == nullptr) {
        return -ENOENT;
    }
    ++FakeHardwareNames::current()->opened;
    *database = &varnock::agent::onlyDatabase;
    return 0;
}

sd_hwdb* sd_hwdb_unref(sd_hwdb*) {
    ++FakeHardwareNames::current()->closed;
    return nullptr;
}

int sd_hwdb_get(sd_hwdb*, const char* device, const char* property, const char** value) {
    const auto& known = FakeHardwareNames::current()->properties;
    const auto found = known.find({device, property});
    if (found == known.end()) {
        return -ENOENT;
    }
    *value = found->second.c_str();
    return 0;
}

}  // extern "C"

namespace varnock::agent {
namespace {

constexpr const char* kAlias = "pci:v00008086d00001533";

TEST(PciNames, AreThoseOfTheDatabase) {
    FakeHardwareNames database;
    database.properties[{kAlias, "ID_VENDOR_FROM_DATABASE"}] = "Chip House";
    database.properties[{kAlias, "ID_MODEL_FROM_DATABASE"}] = "Adapter 4";
    {
        PciNames names;
        EXPECT_EQ(database.opened, 0) << "not before it is asked";
        EXPECT_EQ(names.vendor({0x8086, 0x1533}), "Chip House");
        EXPECT_EQ(names.device({0x8086, 0x1533}), "Adapter 4");
        EXPECT_EQ(names.device({0x8086, 0x1534}), std::nullopt);
        EXPECT_EQ(database.opened, 1);
    }
    EXPECT_EQ(database.closed, 1);
}

TEST(PciNames, AreMissingWithoutADatabase) {
    PciNames names;
    EXPECT_EQ(names.vendor({0x8086, 0x1533}), std::nullopt);
    EXPECT_EQ(names.device({0x8086, 0x1533}), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
