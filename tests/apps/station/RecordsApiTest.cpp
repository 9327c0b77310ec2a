// What the pages ask the records: the figures of the command line, each run once, and no question that harms.
#include "apps/station/page/RecordsApi.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

#include "apps/station/records/RunTables.h"
#include "bench/station/SampleRun.h"
#include "tests/support/Program.h"

using namespace Station;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class RecordsApiTest : public testing::Test {
protected:
    RecordsApiTest() { std::filesystem::create_directory(m_folder); }
    ~RecordsApiTest() override { std::filesystem::remove_all(m_folder); }

    /// A run with a value of each of three checks; returns its UUID.
    std::string Add(const std::string& unit, bool isGood, std::optional<Integer> ordinal = std::nullopt,
                    const std::string& plan = "Sample", const std::string& host = "pc", int daysAgo = 0)
    {
        RunRecord run = SampleRun(unit, 3, isGood);
        run.planName = plan;
        run.host = host;
        run.start -= std::chrono::hours(24 * daysAgo);
        for (CheckRecord& check : run.checks) {
            check.values = {{"voltage", 3.0 + 0.01 * m_runs, "V", {2.9, 3.5, {}}}};
        }
        ++m_runs;
        run.verdict = Judge(run);
        m_database.Write([&](soci::session& sql) {
            const Integer number = InsertRun(sql, run, ordinal);
            for (std::size_t i = 0; i < run.checks.size(); ++i) {
                InsertCheck(sql, number, i + 1, run, run.checks[i]);
            }
            CloseRun(sql, number, run);
        });
        return run.id;
    }
    [[nodiscard]] json Ask(const std::string& path, const Query::Parameters& parameters = {}, int status = 200) const
    {
        const Answer answer = AskRecords({m_file, ""}, path, parameters);
        EXPECT_EQ(answer.status, status) << path << ": " << answer.text;
        return json::parse(answer.text);
    }
    [[nodiscard]] std::vector<std::string> Ids(const Query::Parameters& parameters) const
    {
        std::vector<std::string> ids;
        const json answer = Ask("history", parameters);
        for (const json& run : answer["runs"]) {
            ids.push_back(run["id"]);
        }
        return ids;
    }
    /// What the program prints.
    [[nodiscard]] std::string Print(std::vector<std::string> words) const
    {
        words.insert(words.begin(), STATION_PROGRAM);
        words.insert(words.end(), {"--records", "sqlite:" + m_file});
        Support::Program program(words);
        EXPECT_EQ(program.Finish(), 0) << program.Output();
        return program.Output();
    }

    std::string m_folder = Support::TemporaryPath("api");
    std::string m_file = m_folder + "/records.db";
    Database m_database = Database::Sqlite(m_file);
    int m_runs = 0;
};

TEST_F(RecordsApiTest, FiguresAreThoseOfTheCommandLine)
{
    const std::string failed = Add("1", false, {}, "Sample", "pc", 40);
    Add("1", true);
    Add("2", true, {}, "Sample", "other");
    Add("2", false, {}, "Burn-in", "other");
    Add("", true);
    for (const char* const by : {"day", "plan", "station", "check"}) {
        json answer = Ask("yield", {{"by", by}});
        EXPECT_EQ(answer["value_numbers"].size(), answer["values"].size());
        answer.erase("value_numbers");
        EXPECT_EQ(answer, json::parse(Print({"yield", "--by", by, "--json"}))) << by;
    }
    EXPECT_EQ(AskRecords({m_file, ""}, "run/" + failed, {}).text, Print({"show", failed, "--json"}));
    EXPECT_EQ(AskRecords({m_file, ""}, "run/" + failed, {{"format", "csv"}}).text, Print({"show", failed, "--csv"}));

    // A plan, a station and a period have the figures of their group.
    const json stations = Ask("yield", {{"by", "station"}})["groups"];
    const json plans = Ask("yield", {{"by", "plan"}})["groups"];
    const json days = Ask("yield")["groups"];
    const auto total = [this](const Query::Parameters& parameters) {
        json answer = Ask("yield", parameters);
        Integer failures = 0;
        for (const json& failure : answer["failures"]) {
            failures += failure["runs"].get<Integer>();
        }
        const json& all = answer["total"][0];
        EXPECT_EQ(answer["values"][0]["count"], all["runs"]);
        return json{all["runs"], all["first_units"], all["first_passed"], all["final_passed"], failures};
    };
    EXPECT_EQ(total({{"station", "pc"}}), json({3, 2, 1, 2, 1}));
    EXPECT_EQ(stations[1]["first_passed"], 1) << stations;
    EXPECT_EQ(total({{"plan", "Burn-in"}}), json({1, 1, 0, 0, 1})) << "the unit's first with this plan" << plans;
    EXPECT_EQ(total({{"to", days[0]["name"]}}), json({1, 1, 0, 0, 1}));
    EXPECT_EQ(total({{"from", days[1]["name"]}, {"plan", "Sample"}, {"station", "pc"}}), json({2, 1, 1, 2, 0}));
}

TEST_F(RecordsApiTest, PagingNeitherSkipsNorDoublesARun)
{
    std::vector<std::string> newestFirst;
    for (int i = 0; i < 11; ++i) {
        newestFirst.insert(newestFirst.begin(), Add("SN-" + std::to_string(i), i % 2 == 0, 1000 + i / 4));  // with ties
    }
    std::vector<std::string> seen;
    std::size_t later = 0;
    Query::Parameters next = {{"limit", "3"}};
    for (json page = Ask("history", next); !page["runs"].empty(); page = Ask("history", next)) {
        EXPECT_EQ(page["others"][0],
                  json({{"newer", seen.size() + later}, {"older", 11 - seen.size() - page["runs"].size()}}));
        for (const json& run : page["runs"]) {
            seen.push_back(run["id"]);
        }
        Add("SN-later", true, 1002);  // meanwhile, beside the newest
        ++later;
        next = {{"limit", "3"}, {"before", seen.back()}, {"to", "2199-12-31"}, {"search", "sn-"}};
        if (seen.size() > 3) {
            EXPECT_EQ(Ids({{"limit", "3"}, {"after", seen[3]}}), std::vector(seen.begin(), seen.begin() + 3));
        }
    }
    EXPECT_EQ(seen, newestFirst);
}

TEST_F(RecordsApiTest, FindsWhatIsAskedFor)
{
    const std::string old = Add("SN-1", false, {}, "Sample", "pc", 2);
    const std::string other = Add("sn-%_\"'", true, {}, "Burn-in");
    const std::string none = Add("", true);
    EXPECT_THAT(Ids({{"search", "sn-"}}), ElementsAre(other, old));
    EXPECT_THAT(Ids({{"search", "sn-%_\"'"}}), ElementsAre(other)) << "all are letters";
    EXPECT_THAT(Ids({{"search", "N-1"}}), IsEmpty());
    EXPECT_THAT(Ids({{"unit", "SN-1"}}), ElementsAre(old));
    EXPECT_THAT(Ids({{"verdict", "FAIL"}}), ElementsAre(old));
    EXPECT_THAT(Ids({{"plan", "Burn-in"}, {"search", ""}}), ElementsAre(other));
    const std::string day = Ask("yield")["groups"][0]["name"];
    EXPECT_THAT(Ids({{"from", day}, {"to", day}}), ElementsAre(old));
    EXPECT_EQ(Ask("choices")["plans"], json({"Burn-in", "Sample"}));

    RunRecord left = SampleRun("left", 1);
    m_database.Write([&](soci::session& sql) { InsertRun(sql, left); });
    EXPECT_THAT(Ids({{"verdict", "INTERRUPTED"}}), ElementsAre(left.id)) << "no station has its lock";
    EXPECT_THAT(Ids({{"verdict", "IN PROGRESS"}}), IsEmpty());
}

TEST_F(RecordsApiTest, AHistogramHasEachValueOnce)
{
    for (int i = 0; i < 30; ++i) {
        Add(std::to_string(i), i > 0);
    }
    const json number = Ask("yield")["value_numbers"][0]["number"];
    const json answer = Ask("values", {{"value", number.dump()}});
    Integer count = 0;
    for (const json& bin : answer["bins"]) {
        EXPECT_NEAR(bin["to"].get<double>() - bin["from"].get<double>(), 0.05, 1e-9) << "0.29 V in at most 6 bins";
        count += bin["count"].get<Integer>();
    }
    EXPECT_EQ(count, 30);
    EXPECT_EQ(answer["bins"][0]["from"], 3.0);
    EXPECT_EQ(answer["bins"][0]["count"], 5);
    EXPECT_EQ(answer["values"][0], Ask("yield")["values"][0]);
    m_database.Do([](soci::session& sql) { sql << "update measured set number = 1e9"; });
    EXPECT_EQ(Ask("values", {{"value", number.dump()}})["bins"], json({{{"from", 1e9}, {"to", 1e9}, {"count", 30}}}));
}

TEST_F(RecordsApiTest, RefusesWhatItDoesNotUnderstand)
{
    Add("1", true);
    const std::string nobody = "00000000-0000-4000-8000-000000000000";
    struct {
        const char* path;
        Query::Parameters parameters;
        int status;
        std::string sentence;
    } const questions[] = {
        {"history", {{"limit", "501"}}, 400, "limit is not a whole number from 1 to 500"},
        {"history", {{"limit", "1;drop table run"}}, 400, "limit is not"},
        {"history", {{"from", "2026-02-30"}}, 400, "from is not a day"},
        {"history", {{"to", "2199-12-31T00:00"}}, 400, "to is not a day"},
        {"history", {{"search", std::string(1001, 'a')}}, 400, "at most 1000 bytes"},
        {"history", {{"search", std::string("a\0b", 3)}}, 400, "UTF-8"},
        {"history", {{"unit", "\xC3("}}, 400, "UTF-8"},
        {"history", {{"verdict", "pass"}}, 400, "'pass' is no word"},
        {"history", {{"before", "' or 1=1"}}, 400, "UUID"},
        {"history", {{"before", nobody}}, 400, "there is no run " + nobody},
        {"history", {{"plan", "a"}, {"plan", "b"}}, 400, "more than once"},
        {"history", {{"<b>", "a"}}, 400, "no parameter <b>"},
        {"yield", {{"by", "operator"}}, 400, "day, plan, station and check"},
        {"yield", {{"format", "xml"}}, 400, "neither json nor csv"},
        {"values", {}, 400, "value is missing"},
        {"values", {{"value", "999"}}, 404, "no such value"},
        {"run/../history", {}, 400, "UUID"},
        {"run/00000000-0000-4000-8000-000000000000", {}, 404, "There is no run"},
        {"other", {}, 404, "no answer"},
    };
    for (const auto& question : questions) {
        EXPECT_THAT(Ask(question.path, question.parameters, question.status)["error"].get<std::string>(),
                    HasSubstr(question.sentence))
            << question.path;
    }
    m_file = m_folder + "/none.db";
    EXPECT_THAT(Ask("history", {}, 503)["error"].get<std::string>(), HasSubstr("there are no records in"));
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

}  // namespace
