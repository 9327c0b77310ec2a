// What the pages ask the records, and the answers.
#include "apps/station/page/RecordsApi.h"

#include <atomic>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <stdexcept>

#include "apps/station/records/History.h"
#include "apps/station/records/Yield.h"
#include "apps/station/report/History.h"
#include "apps/station/report/Json.h"
#include "apps/station/report/Yield.h"

namespace Station {

namespace {

constexpr int MOST_QUESTIONS = 16;  // at once: they leave connections, and the processor, to the bench

/// What is asked for is not there.
class NotFound : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One of those that are counted, as long as it exists.
class Counted {
public:
    explicit Counted(std::atomic<int>& all) : m_all(all), m_is(++all) {}
    ~Counted() { --m_all; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    /// With this one.
    [[nodiscard]] int Is() const { return m_is; }

private:
    std::atomic<int>& m_all;
    const int m_is;
};

Answer ErrorAnswer(int status, const std::string& sentence)
{
    const nlohmann::json json = {{"error", sentence}};
    return {status, "application/json", json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
}

Answer JsonAnswer(const std::string& json)
{
    return {200, "application/json", json};
}

Answer CsvAnswer(const NamedTables& tables)
{
    return {200, "text/csv; charset=utf-8", ToCsv(tables)};
}

bool IsCsv(Query& query)
{
    const std::string format = query.Text("format").value_or("json");
    if (format != "json" && format != "csv") {
        throw std::invalid_argument("The parameter format is neither json nor csv.");
    }
    return format == "csv";
}

std::optional<std::string> Uuid(const std::optional<std::string>& text)
{
    static const std::regex SHAPE("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}");
    if (text && !std::regex_match(*text, SHAPE)) {
        throw std::invalid_argument("A run is named by its UUID, as 0b9d5a1e-7c55-4f0e-9f6e-1c2d3e4f5a6b.");
    }
    return text;
}

std::optional<Verdict> VerdictIn(Query& query)
{
    const auto word = query.Text("verdict");
    return word ? std::optional(VerdictOf(*word)) : std::nullopt;
}

Answer AnswerHistory(Database& database, Query& query)
{
    const bool isCsv = IsCsv(query);
    HistoryFilter filter;
    filter.unit = query.Text("unit");
    filter.beginning = query.Text("search");
    filter.since = query.Day("from");
    filter.until = query.DayAfter("to");
    filter.verdict = VerdictIn(query);
    filter.plan = query.Text("plan");
    filter.before = Uuid(query.Text("before"));
    filter.after = Uuid(query.Text("after"));
    filter.most = query.Number("limit", 1, isCsv ? 100000 : 500).value_or(filter.most);
    query.Finish();
    const History history = ReadHistory(database, filter);
    NamedTables tables = HistoryTables(history.runs);
    if (isCsv) {
        return CsvAnswer(tables);
    }
    tables.emplace_back("others", Table{{"newer", "older"}, {{history.newer, history.older}}});
    return JsonAnswer(ToJson(tables));
}

Answer AnswerRun(Database& database, Query& query, const std::string& id)
{
    const bool isCsv = IsCsv(query);
    query.Finish();
    const std::vector<RunSummary> found = FindRuns(database, *Uuid(id));
    if (found.empty()) {
        throw NotFound("There is no run " + id + " in the records.");
    }
    const RunRecord run = ReadRun(database, found[0]);
    return isCsv ? CsvAnswer(RunTables(run)) : JsonAnswer(ToJson(run));
}

YieldFilter YieldFilterIn(Query& query)
{
    YieldFilter filter;
    filter.since = query.Day("from");
    filter.until = query.DayAfter("to");
    filter.plan = query.Text("plan").value_or("");
    filter.station = query.Text("station").value_or("");
    return filter;
}

Answer AnswerYield(Database& database, Query& query)
{
    const bool isCsv = IsCsv(query);
    YieldFilter filter = YieldFilterIn(query);
    const std::string by = query.Text("by").value_or("day");
    const auto grouping = Groupings().find(by);
    query.Finish();
    if (grouping == Groupings().end()) {
        throw std::invalid_argument("The parameter by is none of day, plan, station and check.");
    }
    filter.by = grouping->second;
    const Yield yield = ReadYield(database, filter);
    NamedTables tables = YieldTables(yield);
    if (isCsv) {
        return CsvAnswer(tables);
    }
    Table numbers = {{"number"}, {}};
    for (const ValueStatistics& value : yield.values) {
        numbers.rows.push_back({value.number});
    }
    tables.emplace_back("value_numbers", numbers);
    return JsonAnswer(ToJson(tables));
}

Answer AnswerValues(Database& database, Query& query)
{
    const bool isCsv = IsCsv(query);
    const YieldFilter filter = YieldFilterIn(query);
    const auto number = query.Number("value", 1, std::numeric_limits<Integer>::max());
    query.Finish();
    if (!number) {
        throw std::invalid_argument("The parameter value is missing: the number of a value.");
    }
    const std::optional<Histogram> histogram = ReadHistogram(database, filter, *number);
    if (!histogram) {
        throw NotFound("The records have no such value in these runs.");
    }
    Table bins = {{"from", "to", "count"}, {}};
    for (const Bin& bin : histogram->bins) {
        bins.rows.push_back({bin.from, bin.to, bin.count});
    }
    const NamedTables tables = {{"values", ValueTable({histogram->value})}, {"bins", bins}};
    return isCsv ? CsvAnswer(tables) : JsonAnswer(ToJson(tables));
}

Answer AnswerChoices(Database& database, Query& query)
{
    query.Finish();
    const Choices choices = ReadChoices(database);
    std::vector<std::string> verdicts;
    for (const Verdict verdict : {Verdict::Pass, Verdict::Fail, Verdict::NotCounted, Verdict::CouldNotRun,
                                  Verdict::Interrupted, Verdict::InProgress}) {
        verdicts.emplace_back(Word(verdict));
    }
    const nlohmann::json json = {{"verdicts", verdicts}, {"plans", choices.plans}, {"stations", choices.stations}};
    return JsonAnswer(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

Answer AnswerPath(Database& database, const std::string& path, Query& query)
{
    using Function = Answer (*)(Database&, Query&);
    static const std::map<std::string, Function> FUNCTIONS = {
        {"history", AnswerHistory}, {"yield", AnswerYield}, {"values", AnswerValues}, {"choices", AnswerChoices}};
    const std::string run = "run/";
    if (path.compare(0, run.size(), run) == 0) {
        return AnswerRun(database, query, path.substr(run.size()));
    }
    const auto function = FUNCTIONS.find(path);
    if (function == FUNCTIONS.end()) {
        throw NotFound("The records have no answer to this question.");
    }
    return function->second(database, query);
}

}  // namespace

Answer AskRecords(const Location& records, const std::string& path, const Query::Parameters& parameters)
{
    try {
        Database database = Database::Existing(records);
        Query query(parameters);
        return AnswerPath(database, path, query);
    } catch (const std::invalid_argument& error) {
        return ErrorAnswer(400, error.what());
    } catch (const NotFound& error) {
        return ErrorAnswer(404, error.what());
    } catch (const RecordError& error) {
        return ErrorAnswer(503, error.what());
    }
}

void AddRecords(Server& server, const Location& records)
{
    const auto open = std::make_shared<std::atomic<int>>(0);
    server.Get("/api/(history|run/.*|yield|values|choices)",
               [records, open](const httplib::Request& request, httplib::Response& response) {
                   const Counted question(*open);
                   const Answer answer = question.Is() > MOST_QUESTIONS
                                             ? ErrorAnswer(503, "The records are asked too much at once: try again.")
                                             : AskRecords(records, request.matches[1], request.params);
                   response.status = answer.status;
                   response.set_content(answer.text, answer.type);
               });
}

}  // namespace Station
