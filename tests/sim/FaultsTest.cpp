// Every fault of the simulated board makes exactly those checks of the station's plan fail that the plan's table names.
#include <algorithm>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "apps/station/plans/DemoFaults.h"
#include "sim/SimBoard.h"
#include "tests/support/SimulatedBoard.h"

namespace {

using Names = std::set<std::string>;

constexpr auto HEALTHY = "none";

class Faults : public testing::TestWithParam<std::string> {};

TEST_P(Faults, FailTheChecksThatThePlanNames)
{
    const bool isHealthy = GetParam() == HEALTHY;
    const Names expected = isHealthy ? Names() : Station::DEMO_FAULTS.at(GetParam());
    const std::vector<std::string> options =
        isHealthy ? std::vector<std::string>() : std::vector<std::string>{"--fault", GetParam()};
    const Support::SimulatedBoard board(SIMBOARD_PROGRAM, options, {TESTAPP_PROGRAM, "--port", "/dev/ttyS0"});
    ASSERT_TRUE(board.Await("waiting for commands"));

    const std::string record = board.File("unit.json");
    Support::Program station({STATION_PROGRAM, "run", "--port", board.Line(), "--plan", PLAN, "--timeout", "10",
                              "--json", record, "--records", "sqlite:" + board.File("records.db")});
    EXPECT_EQ(station.Finish(), expected.empty() ? 0 : 1) << station.Output();
    Names failed;
    const auto run = nlohmann::json::parse(Support::Content(record));
    for (const auto& check : run["checks"]) {
        if (check["result"] != "PASS") {
            failed.insert(check["name"].get<std::string>());
        }
    }
    EXPECT_EQ(failed, expected) << station.Output();
    EXPECT_EQ(run["checks"].size(), run["planned"]) << station.Output();
}

std::vector<std::string> FaultNames()
{
    std::vector<std::string> names;
    for (const Sim::BoardFault& fault : Sim::BoardFaults()) {
        names.emplace_back(fault.name);
    }
    return names;
}

std::string TestName(const testing::TestParamInfo<std::string>& info)
{
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Board, Faults, testing::ValuesIn(FaultNames()), TestName);
INSTANTIATE_TEST_SUITE_P(Healthy, Faults, testing::Values(HEALTHY), TestName);

TEST(FaultTable, HasNoOtherFaults)
{
    const std::vector<std::string> names = FaultNames();
    for (const auto& [fault, checks] : Station::DEMO_FAULTS) {
        EXPECT_EQ(std::count(names.begin(), names.end(), fault), 1) << fault;
    }
}

}  // namespace
