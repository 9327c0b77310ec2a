// What the reports of a run say.
#include "apps/station/Report.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

using namespace Station;
using testing::HasSubstr;

namespace {

CheckRecord MakeCheck(unsigned char code, const char* name, Result result, const char* message)
{
    return {code, name, result, message, {}, {}, Seconds{0.25}, 1, {}};
}

RunRecord MakeRun()
{
    RunRecord run;
    run.unit = R"(A<1>&"2")";
    run.port = "/dev/ttyS7";
    run.line.baud = 9600;
    run.boardType = 3;
    run.start = std::chrono::system_clock::from_time_t(1794846095) + std::chrono::milliseconds(7);
    run.end = run.start + std::chrono::milliseconds(1500);
    run.planned = 4;
    run.checks = {MakeCheck(1, "CMD_READ_VERSION", Result::Pass, "hardware 1 0 1"),
                  MakeCheck(4, "CMD_GPI_TEST", Result::Fail, "a < b\x01"),
                  MakeCheck(6, "CMD_ADC_IN_TEST", Result::Skip, "not supported")};
    run.checks[0].status = 0;
    run.checks[0].values = {{"bits", Numbers{1, 0, 1}}, {"library", "0.1.0"}, {"code", 3}, {"answered", false}};
    run.checks[1].attempts = 2;
    run.checks[1].traffic = {{Traffic::Kind::Sent, Seconds{0.5}, {0x5A, 0x01}},
                             {Traffic::Kind::Noise, Seconds{0.625}, {0x77}},
                             {Traffic::Kind::Received, Seconds{0.75}, {0x5A, 0xFF}}};
    return run;
}

}  // namespace

TEST(ReportTest, LinesForAPerson)
{
    const RunRecord run = MakeRun();
    EXPECT_EQ(ResultLine(run.checks[0]), "  1  CMD_READ_VERSION             PASS      0.25 s  hardware 1 0 1");
    EXPECT_EQ(SummaryLine(run), "FAIL: 1 passed, 1 failed, 1 skipped, 3 of 4 checks in 1.5 s");
    EXPECT_EQ(TrafficLine(run.checks[1].traffic[0]), "> 5A 01");
    EXPECT_EQ(TrafficLine(run.checks[1].traffic[1]), "< 77 (noise)");
    EXPECT_EQ(TrafficLine(run.checks[1].traffic[2]), "< 5A FF");
}

TEST(ReportTest, JsonHoldsTheWholeRecord)
{
    nlohmann::json json = nlohmann::json::parse(ToJson(MakeRun()));
    ASSERT_EQ(json["checks"].size(), 3U);
    EXPECT_EQ(json["checks"][0]["status"], 0);
    EXPECT_EQ(json["checks"][0]["values"],
              nlohmann::json::parse(R"({"bits": [1, 0, 1], "library": "0.1.0", "code": 3, "answered": false})"));
    EXPECT_EQ(json["checks"][1], nlohmann::json::parse(R"({
        "code": 4, "name": "CMD_GPI_TEST", "result": "FAIL", "message": "a < b\u0001", "status": null,
        "values": {}, "duration_s": 0.25, "attempts": 2, "repetitions": 1, "frames": [
            {"time_s": 0.5, "direction": "sent", "kind": "frame", "hex": "5A 01"},
            {"time_s": 0.625, "direction": "received", "kind": "noise", "hex": "77"},
            {"time_s": 0.75, "direction": "received", "kind": "frame", "hex": "5A FF"}]})"));
    json.erase("checks");
    EXPECT_EQ(json, nlohmann::json::parse(R"({
        "unit": "A<1>&\"2\"", "start": "2026-11-16T16:21:35.007Z", "end": "2026-11-16T16:21:36.507Z",
        "port": "/dev/ttyS7", "board_type": 3, "result": "FAIL", "aborted": false, "abort_reason": "", "planned": 4,
        "passed": 1, "failed": 1, "skipped": 1, "line": {"baud": 9600, "data_bits": 8, "stop_bits": 1,
        "parity": "none", "flow_control": "none"}})"));
}

TEST(ReportTest, JUnitCountsAndEscapes)
{
    const std::string xml = ToJUnit(MakeRun());
    EXPECT_THAT(xml, HasSubstr(R"(<testsuite name="station" tests="3" failures="1" errors="0" skipped="1" )"
                               R"(time="1.500" timestamp="2026-11-16T16:21:35">)"));
    EXPECT_THAT(xml, HasSubstr(R"(<property name="unit" value="A&lt;1&gt;&amp;&quot;2&quot;"/>)"));
    EXPECT_THAT(xml, HasSubstr(R"(<testcase classname="station" name="CMD_GPI_TEST" time="0.250">)"
                               "\n      <failure message=\"a &lt; b?\"/>"));
    EXPECT_THAT(xml, HasSubstr(R"(name="CMD_READ_VERSION" time="0.250">
      <properties>
        <property name="bits" value="[1,0,1]"/>
        <property name="library" value="0.1.0"/>
        <property name="code" value="3"/>
        <property name="answered" value="false"/>
      </properties>
      <system-out>)"));
    EXPECT_THAT(xml, HasSubstr(R"(<skipped message="not supported"/>)"));
}

TEST(ReportTest, AbortedRunIsMarkedInEveryReport)
{
    RunRecord run = MakeRun();
    run.abortReason = "interrupted";
    run.checks.clear();
    EXPECT_THAT(SummaryLine(run), testing::StartsWith("ABORTED: 0 passed"));
    EXPECT_EQ(nlohmann::json::parse(ToJson(run))["abort_reason"], "interrupted");
    EXPECT_THAT(ToJUnit(run), HasSubstr(R"(tests="1" failures="0" errors="1")"));
    EXPECT_THAT(ToJUnit(run), HasSubstr(R"(<error message="interrupted"/>)"));
}
