// Questions to the records: what is listed, what is counted, and what the figures are.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include <gmock/gmock.h>

#include "FakeBoard.h"
#include "apps/station/records/Records.h"
#include "apps/station/records/RunTables.h"
#include "apps/station/records/Yield.h"
#include "apps/station/run/Runner.h"
#include "tests/support/Program.h"

using namespace Station;
using Support::Content;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

using Words = std::vector<std::string>;

const std::chrono::system_clock::time_point NOON =
    std::chrono::system_clock::from_time_t(1795435200);  // 2026-11-23 12:00

CheckRecord Checked(const std::string& name, Result result, const Values& values = {})
{
    CheckRecord check;
    check.name = name;
    check.kind = "command";
    check.result = result;
    check.values = values;
    check.traffic = {{Traffic::Kind::Sent, Seconds(1.5), {0x5A, 0x01}}};
    return check;
}

const CheckRecord GOOD_A = Checked("a", Result::Pass);
const CheckRecord BAD_A = Checked("a", Result::Fail);
const CheckRecord GOOD_B = Checked("b", Result::Pass);
const CheckRecord BAD_B = Checked("b", Result::Fail);

std::string Told(const Share& share)
{
    return std::to_string(share.passed) + " of " + std::to_string(share.units);
}

std::vector<std::string> Told(const std::vector<YieldGroup>& groups)
{
    std::vector<std::string> told;
    for (const YieldGroup& group : groups) {
        told.push_back(group.plan + '/' + group.name + ": " + std::to_string(group.runs) + " runs, " +
                       Told(group.firstPass) + ", " + Told(group.final));
    }
    return told;
}

/// Of CSV, without its head.
std::size_t Lines(const std::string& csv)
{
    std::size_t count = 0;
    for (std::size_t at = csv.find("\r\n"); at != std::string::npos; at = csv.find("\r\n", at + 1)) {
        ++count;
    }
    return count - 1;
}

class HistoryTest : public testing::Test {
protected:
    HistoryTest() { std::filesystem::create_directory(m_folder); }
    ~HistoryTest() override { std::filesystem::remove_all(m_folder); }

    [[nodiscard]] std::string File(const std::string& name) const { return m_folder + '/' + name; }
    /// A run that took place after all others, whatever the clock said; returns its UUID. More checks were planned.
    std::string Add(const std::string& unit, const std::vector<CheckRecord>& checks, std::chrono::minutes at = {},
                    const std::string& plan = "Plan", Verdict verdict = Verdict::Pass, std::size_t more = 0)
    {
        RunRecord run;
        run.id = NewUuid();
        run.unit = unit;
        run.planName = plan;
        run.host = "station";
        run.start = run.end = NOON + at;
        run.planned = checks.size() + more;
        run.checks = checks;
        run.isKept = true;
        run.verdict = verdict == Verdict::Pass ? Judge(run) : verdict;
        m_database.Write([&](soci::session& sql) {
            const Integer number = InsertRun(sql, run);
            for (std::size_t i = 0; i < checks.size(); ++i) {
                InsertCheck(sql, number, i + 1, run, checks[i]);
            }
            if (verdict != Verdict::InProgress) {
                CloseRun(sql, number, run);
            }
        });
        return run.id;
    }
    /// What the program answers; it is to end with this exit code.
    std::string Ask(Words words, int exitCode = 0) const
    {
        words.insert(words.begin(), {"env", "TZ=UTC-1", STATION_PROGRAM});
        words.insert(words.end(), {"--records", "sqlite:" + m_file});
        Support::Program program(words);
        EXPECT_EQ(program.Finish(), exitCode) << program.Output();
        return program.Output();
    }

    std::string m_folder = Support::TemporaryPath("history");
    std::string m_file = File("records.db");
    Database m_database = Database::Sqlite(m_file);
};

TEST_F(HistoryTest, YieldCountsUnitsByTheirFirstAndLastRuns)
{
    using namespace std::chrono_literals;
    Add("1", {BAD_A, GOOD_B}, 0min);
    Add("2", {GOOD_A, GOOD_B}, 10min);
    Add("1", {GOOD_A, GOOD_B}, -2000min);  // the clock was set back: the unit's last run all the same
    Add("3", {GOOD_A, GOOD_B}, 20min);
    Add("3", {GOOD_A, BAD_B}, 30min);
    Add("", {BAD_A}, 40min, "Plan", Verdict::Fail, 1);  // stopped at the failure
    Add("", {GOOD_A, GOOD_B}, 50min);
    Add("4", {BAD_A, GOOD_B}, 60min);
    Add("4", {BAD_A, GOOD_B}, 70min);
    Add("4", {GOOD_A, GOOD_B}, 80min);
    Add("5", {GOOD_A, GOOD_B}, 90min, "Plan", Verdict::NotCounted);
    Add("6", {GOOD_A}, 100min, "Plan", Verdict::InProgress);
    Add("2", {BAD_A}, 1440min, "Burn-in");

    const Yield all = ReadYield(m_database, {std::nullopt, Grouping::Plan});
    EXPECT_EQ(Told(all.all.firstPass), "3 of 6");
    EXPECT_EQ(Told(all.all.final), "3 of 6") << "2 failed its burn-in, 3 its second run";
    EXPECT_EQ(all.all.runs, 11);
    EXPECT_THAT(all.notJudged, ElementsAre(std::pair(Verdict::NotCounted, 1), std::pair(Verdict::Interrupted, 1)));
    EXPECT_THAT(Told(all.groups), ElementsAre("Burn-in/: 1 runs, 0 of 1, 0 of 1", "Plan/: 10 runs, 3 of 6, 4 of 6"));
    ASSERT_EQ(all.failures.size(), 3);
    EXPECT_EQ(all.failures[0].check + ' ' + std::to_string(all.failures[0].runs) + ' ' +
                  std::to_string(all.failures[0].units),
              "a 4 3");
    EXPECT_THAT(Told(ReadYield(m_database, {std::nullopt, Grouping::Check}).groups),
                ElementsAre("Burn-in/a: 1 runs, 0 of 1, 0 of 1", "Plan/a: 10 runs, 3 of 6, 5 of 6",
                            "Plan/b: 9 runs, 5 of 5, 4 of 5"));

    const Yield later = ReadYield(m_database, {NOON + 65min, Grouping::Day});
    EXPECT_EQ(later.all.firstPass.units, 0) << "the first run of each was earlier: a retest is no first pass";
    EXPECT_THAT(Told(later.groups),
                ElementsAre("/2026-11-23: 2 runs, 0 of 0, 1 of 1", "/2026-11-24: 1 runs, 0 of 0, 0 of 1"));
    EXPECT_THAT(Ask({"yield", "--by", "station"}), AllOf(StartsWith("First-pass yield  50.00 % (3 of 6)\n"),
                                                         HasSubstr("\nstation    11  50.00 % (3 of 6)")));
}

TEST_F(HistoryTest, AChecksYieldIsOfTheRunsThatCarriedItOut)
{
    CheckRecord spare = BAD_B;
    spare.isOptional = true;
    const CheckRecord leftOut = Checked("b", Result::NotDone);
    Add("1", {GOOD_A, spare});
    Add("2", {BAD_A, leftOut});
    Add("3", {GOOD_A, GOOD_B});
    EXPECT_THAT(Told(ReadYield(m_database, {std::nullopt, Grouping::Check}).groups),
                ElementsAre("Plan/a: 3 runs, 2 of 3, 2 of 3", "Plan/b: 2 runs, 1 of 2, 1 of 2"));
    EXPECT_THAT(Ask({"history", "--unit", "1", "--csv"}), HasSubstr(",PASS,Plan,,2,1,0,")) << "the other is optional";
}

TEST_F(HistoryTest, FiguresAreOfOneMoment)
{
    constexpr int RUNS = 200;
    std::thread station([this] {
        for (int i = 0; i < RUNS; ++i) {
            Add("1", {BAD_A});
        }
    });
    Database database = Database::Sqlite(m_file);
    Yield yield;
    while (yield.all.runs < RUNS) {
        yield = ReadYield(database, {});
        EXPECT_EQ(yield.failures.empty() ? 0 : yield.failures[0].runs, yield.all.runs);
    }
    station.join();
}

TEST_F(HistoryTest, ValuesAreHeldAgainstTheirLimits)
{
    using namespace std::chrono_literals;
    const auto measured = [](double frequency, double ripple, double level) {
        return Checked("a", Result::Pass,
                       {{"frequency", frequency, "Hz", {1e9 - 0.003, 1e9 + 0.009, {}}},
                        {"ripple", ripple, "mV", {{}, 20.0, {}}},
                        {"level", level, "V", {}},
                        {"text", "abc", "", {}}});
    };
    Add("0", {measured(0, 1e6, 0)}, 0min, "Plan", Verdict::CouldNotRun);  // counts nowhere
    Add("1", {measured(1e9 - 0.001, 2, 5)}, 10min);
    Add("2", {measured(1e9, 6, 5)}, -10min);
    Add("3", {measured(1e9 + 0.001, 10, 5)}, 20min);
    const auto values = ReadYield(m_database, {}).values;
    ASSERT_EQ(values.size(), 3);
    EXPECT_EQ(values[0].name, "frequency");
    EXPECT_EQ(values[0].count, 3);
    EXPECT_NEAR(values[0].mean, 1e9, 1e-6);
    EXPECT_NEAR(*values[0].deviation, 0.001, 1e-6);
    EXPECT_NEAR(*values[0].cpk, 1.0, 1e-3) << "of the nearer limit";
    EXPECT_EQ(values[1].name, "level");
    EXPECT_EQ(values[1].deviation, 0);
    EXPECT_FALSE(values[1].cpk) << "neither limits nor spread";
    EXPECT_DOUBLE_EQ(*values[2].deviation, 4);
    EXPECT_DOUBLE_EQ(*values[2].cpk, (20.0 - 6) / 12) << "of the only limit";

    EXPECT_EQ(ReadYield(m_database, {{}, Grouping::None, {}, "", "station"}).values[0].count, 3);
    EXPECT_THAT(ReadYield(m_database, {{}, Grouping::None, {}, "", "other"}).values, IsEmpty());
    const auto later = ReadYield(m_database, {NOON}).values;
    EXPECT_EQ(later[2].count, 2) << "run 2 is in between, and was earlier by the clock";
    EXPECT_DOUBLE_EQ(later[2].mean, 6);
    EXPECT_FALSE(ReadYield(m_database, {NOON + 15min}).values[2].deviation) << "of one value";
}

TEST_F(HistoryTest, YieldIsTheSameInEachForm)
{
    using namespace std::chrono_literals;
    const auto measured = [](double volt, Result result) {
        return Checked("a", result, {{"supply", volt, "V", {2.75, 3.6875, {}}}});
    };
    Add("1", {measured(3.25, Result::Pass), GOOD_B});
    Add("2", {measured(3.75, Result::Fail)}, 10min, "Plan", Verdict::Pass, 1);  // stopped at the failure
    Add("2", {measured(3.5, Result::Pass), GOOD_B}, 20min);
    Add("3", {GOOD_A}, 30min, "Plan", Verdict::NotCounted);
    EXPECT_EQ(Ask({"yield", "--by", "plan"}),
              "First-pass yield  50.00 % (1 of 2)\n"
              "Final yield       100.00 % (2 of 2)\n"
              "Judged runs       3\n"
              "Not counted       1 PASSED, NOT COUNTED\n"
              "\n"
              "plan  version  runs  first-pass yield  final yield\n"
              "Plan              3  50.00 % (1 of 2)  100.00 % (2 of 2)\n"
              "\n"
              "Failed checks\n"
              "plan  check  runs  units\n"
              "Plan  a         1      1\n"
              "\n"
              "Measured values\n"
              "plan  check  value   count  least  mean  most  deviation  Cpk   limits\n"
              "Plan  a      supply      3   3.25  3.5   3.75  0.25       0.25  2.75 to 3.6875 V\n");
    EXPECT_EQ(
        Ask({"yield", "--by", "check", "--csv"}),
        "table,plan,name,runs,first_units,first_passed,first_yield,final_units,final_passed,final_yield,check,units,"
        "value,unit,lower_limit,upper_limit,count,least,mean,most,standard_deviation,cpk,verdict\r\n"
        "total,,,3,2,1,0.5,2,2,1,,,,,,,,,,,,,\r\n"
        "groups,Plan,a,3,2,1,0.5,2,2,1,,,,,,,,,,,,,\r\n"
        "groups,Plan,b,2,1,1,1,2,2,1,,,,,,,,,,,,,\r\n"
        "failures,Plan,,1,,,,,,,a,1,,,,,,,,,,,\r\n"
        "values,Plan,,,,,,,,,a,,supply,V,2.75,3.6875,3,3.25,3.5,3.75,0.25,0.25,\r\n"
        "not_judged,,,1,,,,,,,,,,,,,,,,,,,\"PASSED, NOT COUNTED\"\r\n");
    const auto json = nlohmann::json::parse(Ask({"yield", "--by", "day", "--json"}));
    EXPECT_EQ(json["groups"], nlohmann::json::parse(R"([{"plan": "", "name": "2026-11-23", "runs": 3, "first_units": 2,
        "first_passed": 1, "first_yield": 0.5, "final_units": 2, "final_passed": 2, "final_yield": 1.0}])"));
    EXPECT_EQ(json["values"][0]["cpk"], 0.25);
}

TEST_F(HistoryTest, ListsRunsInTheOrderInWhichTheyTookPlace)
{
    using namespace std::chrono_literals;
    const std::string first = Add("A", {GOOD_A}, 60min);
    Add("=B,\"1\"\n", {BAD_A, BAD_B}, -60min);
    Add("A", {GOOD_A}, 0min, "Plan", Verdict::InProgress);
    const std::string history = Ask({"history"});
    EXPECT_LT(history.find("2026-11-23 13:00:00  A"), history.find("2026-11-23 12:00:00  =B,\"1\"")) << history;
    EXPECT_THAT(history, AllOf(HasSubstr("\"\\x0A"), HasSubstr("  INTERRUPTED  "), HasSubstr(first.substr(0, 8)),
                               HasSubstr("  a, b\n")));
    EXPECT_THAT(Ask({"history", "--failed", "--csv"}),
                AllOf(StartsWith("id,start,unit,"), HasSubstr(",2026-11-23T11:00:00.000Z,\"'=B,\"\"1\"\"\n\",FAIL,"),
                      HasSubstr(",\"a, b\"\r\n"), Not(HasSubstr("PASS"))));
    EXPECT_THAT(Ask({"history", "--unit", "A", "--limit", "1"}), HasSubstr("1 earlier runs are not shown"));
    EXPECT_EQ(nlohmann::json::parse(Ask({"history", "--unit", "A", "--json"}))["runs"].size(), 2);
    EXPECT_THAT(Ask({"history", "--unit", "C"}), StartsWith("there is no such run"));

    const std::pair<const char*, std::size_t> times[] = {
        {"2026-11-23", 3},           {"2026-11-23T12:00", 3},    {"2026-11-23T12:00:01", 2},
        {"2026-11-23T12:00:01Z", 1}, {"2026-11-24T00:00:00", 0}, {"36500d", 3},
    };
    for (const auto& [time, count] : times) {
        EXPECT_EQ(Lines(Ask({"history", "--csv", "--since", time})), count) << time;
    }
    for (const char* const wrong :
         {"2026-02-30", "2026-11-23T24:00", "2026-11-23 14:00", "7w", "-7d", "99999999d", "", "23.11.2026"}) {
        EXPECT_THAT(Ask({"history", "--since", wrong}, 2), HasSubstr("expected a day (2026-11-23)")) << wrong;
    }
}

TEST_F(HistoryTest, ARunIsShownAsItWasWritten)
{
    const FakeBoard board([](FakeBoard& self, const Bytes& received) {
        if (received[2] == UART::CMD_ADC_IN_TEST) {
            self.Send({0x00, 0xFE});  // noise
            self.Reply(received, {0, 0x80, 0x00});
        } else {
            FakeBoard::Healthy(self, received);
        }
    });
    std::ofstream(File("plan.toml")) << "name = 'Short'\n"
                                        "[[check]]\nkind = 'command'\ncode = 'ADC_IN_TEST'\nname = \"a 'b' \\u00fc\"\n"
                                        "values = [{ name = 'v', at = 1, type = 'i16', scale = 0.1, least = -0.0 }]\n"
                                        "hint = \"zero \\u0000 byte\"\n[[check]]\nkind = 'version'\n";
    Support::Program run({STATION_PROGRAM, "run", "--port", board.Port(), "--plan", File("plan.toml"), "--unit", "U",
                          "--records", "sqlite:" + m_file, "--json", File("a.json")});
    EXPECT_EQ(run.Finish(), 1) << run.Output();
    const std::string file = Content(File("a.json"));
    const std::string id = nlohmann::json::parse(file)["id"];
    EXPECT_EQ(Ask({"show", id, "--json"}), file);
    EXPECT_THAT(Ask({"show", id.substr(0, 8), "--frames"}),
                AllOf(HasSubstr("> 5A 01 "), HasSubstr("< 00 FE (noise)\n"), HasSubstr("\nFAIL: 1 passed, 1 failed"),
                      HasSubstr("v: -3276.8 (at least 0), outside\n")));
    EXPECT_THAT(Ask({"show", id, "--csv"}), HasSubstr(",v,-3276.8,,,0,,\r\n"));
    const std::string hostile =
        Add("A\xC2\x9B", {Checked("a", Result::Pass, {{"v\033[7m", "x\033[2J", "", {}}})}, {}, "P\033[5m");
    EXPECT_THAT(Ask({"show", hostile}), AllOf(HasSubstr("P\\x1B[5m"), HasSubstr("unit A\\x9B"),
                                              HasSubstr("v\\x1B[7m: x\\x1B[2J\n"), Not(HasSubstr("\033"))));
    EXPECT_THAT(Ask({"history"}), AllOf(HasSubstr("  A\\x9B  "), Not(HasSubstr("\033"))));
    EXPECT_THAT(Ask({"show", "ffffffffffff"}, 2), HasSubstr("there is no run"));
    m_database.Do([](soci::session& sql) { sql << "update run set id = '00000000' || substr(id, 9)"; });
    EXPECT_THAT(Ask({"show", "00000000"}, 2),
                AllOf(HasSubstr("several runs begin with 00000000:\n"), HasSubstr("  U\n")));
}

TEST_F(HistoryTest, PruningKeepsWhatAServerDoesNotHave)
{
    using namespace std::chrono_literals;
    CheckRecord large = GOOD_A;
    large.traffic[0].bytes.resize(100000);
    const std::string pruned = Add("1", {large}, 0min);
    const auto pages = [this] {
        Integer count = 0;
        m_database.Do([&](soci::session& sql) { sql << "pragma page_count", soci::into(count); });
        return count;
    };
    const Integer before = pages();
    const std::string kept = Add("2", {GOOD_A}, 10min);
    Add("3", {GOOD_A}, 20min, "Plan", Verdict::InProgress);
    const std::string young = Add("4", {GOOD_A}, 100min);
    m_database.Do(
        [](soci::session& sql) { sql << "insert into forwarded (server, closed) values ('near', 3), ('far', 1)"; });
    EXPECT_EQ(Ask({"prune", "--frames", "--before", "2026-11-23T12:30Z"}),
              "1 runs lost their frames\n1 runs kept them: they have no verdict yet\n"
              "1 runs kept them: a server does not have them yet\n");
    EXPECT_LT(pages(), before - 40) << "200,000 bytes were given back";
    EXPECT_THAT(Ask({"show", pruned, "--frames"}),
                AllOf(HasSubstr("was removed from the records"), Not(HasSubstr("> 5A"))));
    EXPECT_TRUE(nlohmann::json::parse(Ask({"show", pruned, "--json"})).contains("frames_pruned"));
    for (const std::string& id : {kept, young}) {
        EXPECT_THAT(Ask({"show", id, "--frames"}), HasSubstr("> 5A 01\n"));
    }
}

TEST_F(HistoryTest, ABackupIsCompleteWhileARunIsInProgress)
{
    Add("1", {GOOD_A});
    Records records(m_file);
    RunRecord run;
    run.id = NewUuid();
    run.unit = "2";
    run.start = NOON;
    const auto sink = records.NewSink();
    sink->OnBegin(run);
    EXPECT_THAT(Ask({"history"}), HasSubstr("  IN PROGRESS  "));
    EXPECT_THAT(Ask({"yield"}), HasSubstr("1 IN PROGRESS\n"));
    Ask({"backup", File("copy.db")});
    sink->OnJudged(run, GOOD_A);
    EXPECT_THAT(Ask({"backup", File("copy.db")}, 2), HasSubstr("is there already"));
    m_file = File("copy.db");
    EXPECT_THAT(Ask({"history"}), AllOf(HasSubstr("  1     PASS "), HasSubstr("  2     INTERRUPTED ")));
    Ask({"prune", "--frames", "--before", "0m"});
    EXPECT_THAT(Ask({"backup", "/nonexistent/copy.db"}, 2), HasSubstr("/nonexistent/copy.db"));
}

TEST_F(HistoryTest, WithoutRecordsNoneAreMade)
{
    m_file = File("none/records.db");
    for (const Words& words :
         {Words{"history"}, {"show", "0"}, {"yield"}, {"backup", File("a")}, {"prune", "--frames", "--before", "7d"}}) {
        EXPECT_THAT(Ask(words, 2), HasSubstr("there are no records in " + m_file));
    }
    EXPECT_FALSE(std::filesystem::exists(File("none")));
    std::filesystem::create_symlink("loop", File("loop"));
    m_file = File("loop");
    EXPECT_THAT(Ask({"history"}, 2), HasSubstr(m_file + " cannot be opened: ")) << "nobody knows whether there are any";
    EXPECT_FALSE(std::filesystem::exists(File("a")));
}

TEST_F(HistoryTest, AnAnswerThatNobodyTakesIsAnError)
{
    Add("1", {GOOD_A});
    const std::string command = std::string(STATION_PROGRAM) + " history --records sqlite:" + m_file;
    const std::string whenClosed = "(trap '' PIPE; while printf x; do :; done 2>/dev/null; " + command + ") | :; ";
    for (const std::string& line : {command + " >/dev/full", whenClosed + "exit ${PIPESTATUS[0]}"}) {
        Support::Program program({"bash", "-c", line});
        EXPECT_EQ(program.Finish(), 2) << line;
        EXPECT_THAT(program.Output(), HasSubstr("does not take the answer"));
    }
}

}  // namespace
