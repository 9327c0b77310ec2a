// A run in the tables of a database.
#include "apps/station/records/RunTables.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

namespace Station {

namespace {

using nlohmann::json;
using soci::into;
using soci::use;

/// Text that both databases take: valid UTF-8 without zero bytes. What is neither is replaced by U+FFFD.
std::string Clean(std::string text)
{
    for (std::size_t at = text.find('\0'); at != std::string::npos; at = text.find('\0', at)) {
        text[at] = '\xFF';
    }
    return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

std::string ListText(const std::vector<std::string>& words)
{
    std::vector<std::string> clean;
    clean.reserve(words.size());
    for (const std::string& word : words) {
        clean.push_back(Clean(word));
    }
    return json(clean).dump();
}

/// The number of the row that has this; it is added when there is none. Nobody removes one.
Integer FindPlan(soci::session& sql, const RunRecord& run)
{
    const std::string name = Clean(run.planName);
    const std::string version = Clean(run.planVersion);
    Integer number = 0;
    sql << "insert into plan (name, version, sha256) values (:name, :version, :sha256) on conflict do nothing",
        use(name, "name"), use(version, "version"), use(run.planSha256, "sha256");
    sql << "select number from plan where sha256 = :sha256 and name = :name and version = :version", into(number),
        use(run.planSha256, "sha256"), use(name, "name"), use(version, "version");
    return number;
}

Integer FindQuantity(soci::session& sql, const RunRecord& run, const CheckRecord& check, const Value& value)
{
    const auto orNull = [](const auto& held) { return held ? json(*held) : json(); };
    const std::string plan = Clean(run.planName);
    const std::string checkName = Clean(check.name);
    const std::string name = Clean(value.name);
    const std::string unit = Clean(value.unit);
    const auto expected = value.limits.expected ? std::optional(Clean(*value.limits.expected)) : std::nullopt;
    const std::string definition =
        json({plan, checkName, name, unit, orNull(value.limits.least), orNull(value.limits.most), orNull(expected)})
            .dump();
    const auto find = [&] {
        std::optional<Integer> number;
        sql << "select number from quantity where definition = :definition", into(number),
            use(definition, "definition");
        return number;
    };
    std::optional<Integer> number = find();
    if (!number) {
        sql << "insert into quantity (definition, plan, check_name, name, unit, least, most, expected) values "
               "(:definition, :plan, :check_name, :name, :unit, :least, :most, :expected) on conflict do nothing",
            use(definition, "definition"), use(plan, "plan"), use(checkName, "check_name"), use(name, "name"),
            use(unit, "unit"), use(value.limits.least, "least"), use(value.limits.most, "most"),
            use(expected, "expected");
        number = find();
    }
    return number.value();
}

void InsertValue(soci::session& sql, Integer number, int position, int place, Integer quantity, const Value& value)
{
    std::optional<double> amount;
    std::optional<std::string> text;
    if (const auto* const held = std::get_if<double>(&value.value)) {
        amount = *held;
    } else {
        text = Clean(std::get<std::string>(value.value));
    }
    sql << "insert into measured (run, position, place, quantity, number, text) values "
           "(:run, :position, :place, :quantity, :number, :text)",
        use(number, "run"), use(position, "position"), use(place, "place"), use(quantity, "quantity"),
        use(amount, "number"), use(text, "text");
}

/// "0.001234 > 5A01FF" a line: seconds since the link was opened; > was sent, < is a frame that came, ? other bytes
/// that came, with "+N" when N more were not kept.
std::string TrafficText(const std::vector<Traffic>& traffic)
{
    std::string text;
    for (const Traffic& entry : traffic) {
        char number[32];
        std::snprintf(number, sizeof number, "%.6f %c ", entry.at.count(), "><?"[static_cast<int>(entry.kind)]);
        text += number;
        for (const unsigned char byte : entry.bytes) {
            constexpr const char* DIGITS = "0123456789ABCDEF";
            text += DIGITS[byte >> 4U];
            text += DIGITS[byte & 0x0FU];
        }
        text += (entry.dropped > 0 ? " +" + std::to_string(entry.dropped) : "") + '\n';
    }
    return text;
}

std::vector<Traffic> TrafficOf(const std::string& text)
{
    std::vector<Traffic> traffic;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        double at = 0;
        char kind = '>';
        std::string hex;
        std::string dropped = "0";
        words >> at >> kind >> hex >> dropped;
        Bytes bytes;
        for (std::size_t digit = 0; digit + 1 < hex.size(); digit += 2) {
            bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(digit, 2), nullptr, 16)));
        }
        const Traffic::Kind arrived = kind == '<' ? Traffic::Kind::Received : Traffic::Kind::Noise;
        traffic.push_back({kind == '>' ? Traffic::Kind::Sent : arrived, Seconds(at), bytes, std::stoul(dropped)});
    }
    return traffic;
}

void LoadValues(soci::session& sql, Integer number, std::vector<CheckRecord*>& checks)
{
    const soci::rowset<soci::row> rows =
        (sql.prepare
             << "select m.position, q.name, q.unit, q.least, q.most, q.expected, m.number, m.text from measured m "
                "join quantity q on q.number = m.quantity where m.run = :run order by m.position, m.place",
         use(number, "run"));
    for (const soci::row& row : rows) {
        Value value;
        value.name = row.get<std::string>(1);
        value.unit = row.get<std::string>(2);
        value.limits.least = row.get<std::optional<double>>(3);
        value.limits.most = row.get<std::optional<double>>(4);
        value.limits.expected = row.get<std::optional<std::string>>(5);
        if (const auto text = row.get<std::optional<std::string>>(7)) {
            value.value = *text;
        } else {
            value.value = row.get<std::optional<double>>(6).value_or(std::nan(""));  // SQLite has no other word for it
        }
        checks.at(static_cast<std::size_t>(row.get<int>(0)))->values.push_back(std::move(value));
    }
}

void LoadTraffic(soci::session& sql, Integer number, std::vector<CheckRecord*>& checks)
{
    int position = 0;
    std::string frames;
    soci::statement rows = (sql.prepare << "select position, frames from traffic where run = :run", into(position),
                            into(frames), use(number, "run"));
    rows.execute();
    while (rows.fetch()) {
        checks.at(static_cast<std::size_t>(position))->traffic = TrafficOf(frames);
    }
}

void LoadChecks(soci::session& sql, Integer number, RunRecord& run)
{
    CheckRecord check;
    int position = 0;
    std::optional<int> code;
    int isOptional = 0;
    std::string result;
    double duration = 0;
    soci::statement rows =
        (sql.prepare
             << "select position, name, kind, code, optional, result, message, hint, status, duration, attempts "
                "from check_result where run = :run order by position",
         into(position), into(check.name), into(check.kind), into(code), into(isOptional), into(result),
         into(check.message), into(check.hint), into(check.status), into(duration), into(check.attempts),
         use(number, "run"));
    rows.execute();
    while (rows.fetch()) {
        check.code = code ? std::optional(static_cast<unsigned char>(*code)) : std::nullopt;
        check.isOptional = isOptional != 0;
        check.result = ResultOf(result);
        check.duration = Seconds(duration);
        (position == 0 ? run.link : run.checks.emplace_back()) = check;
    }
    std::vector<CheckRecord*> checks = {&run.link};
    for (CheckRecord& loaded : run.checks) {
        checks.push_back(&loaded);
    }
    LoadValues(sql, number, checks);
    LoadTraffic(sql, number, checks);
}

}  // namespace

Integer ToColumn(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

std::chrono::system_clock::time_point ToTime(Integer milliseconds)
{
    return std::chrono::system_clock::time_point(std::chrono::milliseconds(milliseconds));
}

Integer InsertRun(soci::session& sql, const RunRecord& run, std::optional<Integer> ordinal)
{
    const Integer plan = FindPlan(sql, run);
    const std::string unit = Clean(run.unit);
    const std::string planFile = Clean(run.planFile);
    const std::string host = Clean(run.host);
    const std::string people = Clean(run.people);
    const std::string options = ListText(run.options);
    const std::string port = Clean(run.port);
    const int boardType = run.boardType;
    const auto planned = static_cast<Integer>(run.planned);
    const std::string leftOut = ListText(run.leftOut);
    const Integer started = ToColumn(run.start);
    const std::optional<Integer> pruned = run.pruned ? std::optional(ToColumn(*run.pruned)) : std::nullopt;
    if (!ordinal) {
        Integer last = 0;
        sql << "select coalesce(max(ordinal), 0) from run", into(last);
        ordinal = std::max(started, last + 1);
    }
    Integer number = 0;
    sql << "insert into run (id, ordinal, unit, plan, plan_file, station, host, people, options, port, speed, "
           "data_bits, "
           "stop_bits, parity, flow_control, board_type, planned, left_out, started, pruned) values (:id, :ordinal, "
           ":unit, "
           ":plan, :plan_file, :station, :host, :people, :options, :port, :speed, :data_bits, "
           ":stop_bits, :parity, :flow_control, :board_type, :planned, :left_out, :started, :pruned) returning number",
        into(number), use(run.id, "id"), use(*ordinal, "ordinal"), use(unit, "unit"), use(plan, "plan"),
        use(planFile, "plan_file"), use(run.station, "station"), use(host, "host"), use(people, "people"),
        use(options, "options"), use(port, "port"), use(run.line.speed, "speed"), use(run.line.dataBits, "data_bits"),
        use(run.line.stopBits, "stop_bits"), use(run.line.parity, "parity"), use(run.line.flowControl, "flow_control"),
        use(boardType, "board_type"), use(planned, "planned"), use(leftOut, "left_out"), use(started, "started"),
        use(pruned, "pruned");
    return number;
}

void InsertCheck(soci::session& sql, Integer number, std::size_t position, const RunRecord& run,
                 const CheckRecord& check)
{
    const auto place = static_cast<int>(position);
    const std::string name = Clean(check.name);
    const std::optional<int> code = check.code;
    const int isOptional = check.isOptional ? 1 : 0;
    const std::string result = Word(check.result);
    const std::string message = Clean(check.message);
    const std::string hint = Clean(check.hint);
    const double duration = check.duration.count();
    sql << "insert into check_result (run, position, name, kind, code, optional, result, message, hint, status, "
           "duration, "
           "attempts) values (:run, :position, :name, :kind, :code, :optional, :result, :message, :hint, :status, "
           ":duration, :attempts)",
        use(number, "run"), use(place, "position"), use(name, "name"), use(check.kind, "kind"), use(code, "code"),
        use(isOptional, "optional"), use(result, "result"), use(message, "message"), use(hint, "hint"),
        use(check.status, "status"), use(duration, "duration"), use(check.attempts, "attempts");
    int count = 0;
    for (const Value& value : check.values) {
        InsertValue(sql, number, place, count++, FindQuantity(sql, run, check, value), value);
    }
    if (!check.traffic.empty()) {
        const std::string frames = TrafficText(check.traffic);
        sql << "insert into traffic (run, position, frames) values (:run, :position, :frames)", use(number, "run"),
            use(place, "position"), use(frames, "frames");
    }
}

void CloseRun(soci::session& sql, Integer number, const RunRecord& run)
{
    const Integer ended = ToColumn(run.end);
    const std::string verdict = Word(run.verdict);
    const std::string problem = Clean(run.problem);
    std::optional<Integer> isOpen;
    const Integer passed = Count(run, Result::Pass);
    const Integer failed = Count(run, Result::Fail);
    const std::string reason = Clean(Reason(run));
    sql << "update run set ended = :ended, verdict = :verdict, problem = :problem, passed = :passed, failed = :failed, "
           "reason = :reason, closed = (select coalesce(max(closed), 0) + 1 from run) "
           "where number = :number and verdict is null returning number",
        into(isOpen), use(ended, "ended"), use(verdict, "verdict"), use(problem, "problem"), use(passed, "passed"),
        use(failed, "failed"), use(reason, "reason"), use(number, "number");
    if (!isOpen) {
        throw RecordError("run " + run.id + " has a verdict already");
    }
    if (!run.link.name.empty()) {
        InsertCheck(sql, number, 0, run, run.link);
    }
}

RunRecord LoadRun(soci::session& sql, Integer number)
{
    RunRecord run;
    std::string options;
    int boardType = 0;
    Integer planned = 0;
    std::string leftOut;
    Integer started = 0;
    std::optional<Integer> ended;
    std::optional<std::string> verdict;
    std::optional<Integer> pruned;
    sql << "select r.id, r.unit, r.plan_file, p.name, p.version, p.sha256, r.station, r.host, r.people, r.options, "
           "r.port, "
           "r.speed, r.data_bits, r.stop_bits, r.parity, r.flow_control, r.board_type, r.planned, r.left_out, "
           "r.started, "
           "r.ended, r.verdict, r.problem, r.pruned from run r join plan p on p.number = r.plan where r.number = "
           ":number",
        into(run.id), into(run.unit), into(run.planFile), into(run.planName), into(run.planVersion),
        into(run.planSha256), into(run.station), into(run.host), into(run.people), into(options), into(run.port),
        into(run.line.speed), into(run.line.dataBits), into(run.line.stopBits), into(run.line.parity),
        into(run.line.flowControl), into(boardType), into(planned), into(leftOut), into(started), into(ended),
        into(verdict), into(run.problem), into(pruned), use(number, "number");
    if (!sql.got_data()) {
        throw RecordError("there is no run number " + std::to_string(number));
    }
    run.options = json::parse(options).get<std::vector<std::string>>();
    run.boardType = static_cast<unsigned char>(boardType);
    run.planned = static_cast<std::size_t>(planned);
    run.leftOut = json::parse(leftOut).get<std::vector<std::string>>();
    run.start = ToTime(started);
    run.end = ToTime(ended.value_or(started));
    run.isKept = true;
    if (pruned) {
        run.pruned = ToTime(*pruned);
    }
    run.verdict = verdict ? VerdictOf(*verdict) : Verdict::InProgress;
    run.couldRun = run.verdict != Verdict::CouldNotRun;
    LoadChecks(sql, number, run);
    return run;
}

}  // namespace Station
