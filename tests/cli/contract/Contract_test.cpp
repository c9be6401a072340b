#include "cli/contract/Contract.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/CommandLine.h"
#include "cli/calls/Catalogue.h"
#include "tools/CommandTree.h"

namespace varnockctl {
namespace {

TEST(Contract, EverySubcommandHasOne) {
    CLI::App app;
    CommandLine line;
    describeCommands(app, line);
    std::size_t count = 0;
    for (const CLI::App* command : varnock::subcommandsOf(app)) {
        const auto below = varnock::subcommandsOf(*command);
        count += below.empty() ? 1 : below.size();
        if (below.empty()) {
            EXPECT_NE(findContract(command->get_name()), nullptr) << command->get_name();
        }
        for (const CLI::App* each : below) {
            EXPECT_NE(findContract(command->get_name() + " " + each->get_name()), nullptr)
                << each->get_name();
        }
    }
    EXPECT_EQ(contracts().size(), count);
    EXPECT_EQ(findContract("registry"), nullptr);
}

void expectCalls(std::span<const Field> fields) {
    for (const Field& field : fields) {
        EXPECT_TRUE(field.call.empty() || findCall(field.call) != nullptr) << field.call;
        EXPECT_TRUE(!field.call.empty() || !field.meaning.empty()) << field.name;
        expectCalls(field.members);
    }
}

TEST(Contract, EachFieldHasAMeaningOrACall) {
    for (const Contract& contract : contracts()) {
        SCOPED_TRACE(contract.command);
        expectCalls(contract.members);
    }
}

TEST(Contract, TheFieldsOfRowsAreThoseWithOneValue) {
    using Rows = std::vector<RowField>;
    const Rows sensors = fieldsOfRows(*findContract("sensors"));
    EXPECT_THAT(sensors, testing::IsSupersetOf(Rows{{"type"}, {"state"}, {"limits.low"}}));
    EXPECT_THAT(sensors, testing::Not(testing::Contains(RowField{"limits"})));
    const Rows machine = fieldsOfRows(*findContract("inventory"));
    EXPECT_THAT(machine, testing::IsSupersetOf(Rows{{"part"}, {"serialNumber"}, {"utilisation"}}));
    EXPECT_THAT(fieldsOfRows(*findContract("describe")), testing::IsEmpty());
}

TEST(Contract, TheTimesOfRowsAreKnown) {
    for (const char* command : {"trace", "watch"}) {
        EXPECT_THAT(fieldsOfRows(*findContract(command)), testing::Contains(RowField{"time", true}))
            << command;
    }
}

}  // namespace
}  // namespace varnockctl
