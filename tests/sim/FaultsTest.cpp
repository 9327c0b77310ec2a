// Every fault of the simulated board makes exactly the checks of the station's plan fail that it declares.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include <gtest/gtest.h>

#include "sim/SimBoard.h"
#include "tests/support/Program.h"
#include "tests/support/Wait.h"

namespace {

using Support::Program;
using Names = std::set<std::string>;

class Faults : public testing::TestWithParam<Sim::BoardFault> {
protected:
    void SetUp() override
    {
        std::vector<std::string> command = {SIMBOARD_PROGRAM, "--dir", m_board};
        if (*GetParam().name != '\0') {
            command.insert(command.end(), {"--fault", GetParam().name});
        }
        command.insert(command.end(), {"--", TESTAPP_PROGRAM, "--port", "/dev/ttyS0"});
        m_testapp = std::make_unique<Program>(command);
        ASSERT_TRUE(Support::WaitFor([this] {
            return m_testapp->Output().find("waiting for commands") != std::string::npos;
        })) << m_testapp->Output();
    }
    void TearDown() override
    {
        m_testapp.reset();
        std::filesystem::remove_all(m_board);
    }

    std::string m_board = Support::TemporaryPath("board");
    std::unique_ptr<Program> m_testapp;
};

TEST_P(Faults, FailTheChecksThatTheyDeclare)
{
    const std::string record = m_board + "/unit.json";
    Program station({STATION_PROGRAM, "--port", m_board + "/ttyS0", "--timeout", "10", "run", "--json", record});
    const Names declared(GetParam().checks.begin(), GetParam().checks.end());
    EXPECT_EQ(station.Finish(), declared.empty() ? 0 : 1) << station.Output();
    Names failed;
    const auto checks = nlohmann::json::parse(Support::Content(record))["checks"];
    for (const auto& check : checks) {
        if (check["result"] != "PASS" && check["result"] != "SKIP") {
            failed.insert(check["name"].get<std::string>());
        }
    }
    EXPECT_EQ(failed, declared) << station.Output();
    EXPECT_EQ(checks.size(), 24U) << station.Output();
}

std::string TestName(const testing::TestParamInfo<Sim::BoardFault>& info)
{
    std::string name = *info.param.name != '\0' ? info.param.name : "none";
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Board, Faults, testing::ValuesIn(Sim::BoardFaults()), TestName);
INSTANTIATE_TEST_SUITE_P(HealthyBoard, Faults, testing::Values(Sim::BoardFault{"", "", {}}), TestName);

}  // namespace
