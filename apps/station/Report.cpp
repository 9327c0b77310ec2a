// The reports of a run: lines for a person, the JSON record, JUnit XML.
#include "apps/station/Report.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace Station {

namespace {

using Json = nlohmann::ordered_json;

const char* Word(Result result)
{
    constexpr const char* WORDS[] = {"PASS", "FAIL", "SKIP", "ABORTED"};
    return WORDS[static_cast<std::size_t>(result)];
}

std::string Fixed(Seconds duration, int digits)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << duration.count();
    return text.str();
}

/// Without a zone and without fractions of a second.
std::string UtcTime(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%FT%T");
    return text.str();
}

std::string UtcTimestamp(std::chrono::system_clock::time_point time)
{
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch());
    std::ostringstream text;
    text << UtcTime(time) << '.' << std::setfill('0') << std::setw(3) << sinceEpoch.count() % 1000 << 'Z';
    return text.str();
}

/// Seconds, rounded to a microsecond.
double ToMicrosecond(Seconds duration)
{
    return std::round(duration.count() * 1e6) / 1e6;
}

Json ToJson(const Traffic& entry)
{
    Json json = {{"time_s", ToMicrosecond(entry.at)},
                 {"direction", entry.kind == Traffic::Kind::Sent ? "sent" : "received"},
                 {"kind", entry.kind == Traffic::Kind::Noise ? "noise" : "frame"},
                 {"hex", Hex(entry.bytes)}};
    if (entry.dropped > 0) {
        json["dropped_bytes"] = entry.dropped;
    }
    return json;
}

Json ToJson(const Values& values)
{
    Json json = Json::object();
    for (const auto& [name, value] : values) {
        json[name] = std::visit([](const auto& held) { return Json(held); }, value);
    }
    return json;
}

Json ToJson(const CheckRecord& check)
{
    Json json = {{"code", check.code ? Json(*check.code) : Json()},
                 {"name", check.name},
                 {"result", Word(check.result)},
                 {"message", check.message},
                 {"values", ToJson(check.values)},
                 {"status", check.status ? Json(*check.status) : Json()},
                 {"duration_s", ToMicrosecond(check.duration)},
                 {"attempts", check.attempts},
                 {"repetitions", std::max(0, check.attempts - 1)},
                 {"frames", Json::array()}};
    for (const Traffic& entry : check.traffic) {
        json["frames"].push_back(ToJson(entry));
    }
    return json;
}

Json ToJson(const LineSettings& line)
{
    return {{"baud", line.baud},
            {"data_bits", line.dataBits},
            {"stop_bits", line.stopBits},
            {"parity", line.parity},
            {"flow_control", line.flowControl}};
}

/// Text as content of an attribute or element; control characters, which XML cannot hold, become "?".
std::string Xml(const std::string& text)
{
    static const std::map<char, std::string> ENTITIES = {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
    std::string escaped;
    for (const char letter : text) {
        const auto entity = ENTITIES.find(letter);
        const bool control = static_cast<unsigned char>(letter) < ' ';
        escaped += entity != ENTITIES.end() ? entity->second : std::string(1, control ? '?' : letter);
    }
    return escaped;
}

std::string Property(const std::string& name, const std::string& value)
{
    return R"(      <property name=")" + name + R"(" value=")" + Xml(value) + R"("/>)" + "\n";
}

/// The values of a check, texts as they are, others as JSON; nothing when there are none.
std::string Properties(const Values& values)
{
    if (values.empty()) {
        return "";
    }
    std::string xml = "      <properties>\n";
    const Json json = ToJson(values);
    for (const auto& [name, value] : json.items()) {
        xml += "  " + Property(name, value.is_string() ? value.get<std::string>() : value.dump());
    }
    return xml + "      </properties>\n";
}

std::string TestCase(const CheckRecord& check)
{
    constexpr const char* ELEMENTS[] = {"system-out", "failure", "skipped", "error"};
    std::string xml = R"(    <testcase classname="station" name=")" + Xml(check.name) + R"(" time=")" +
                      Fixed(check.duration, 3) + R"(">)" + "\n" + Properties(check.values);
    if (check.result == Result::Pass) {
        xml += "      <system-out>" + Xml(check.message) + "</system-out>\n";
    } else {
        const char* element = ELEMENTS[static_cast<std::size_t>(check.result)];
        xml += std::string("      <") + element + " message=\"" + Xml(check.message) + "\"/>\n";
    }
    return xml + "    </testcase>\n";
}

[[noreturn]] void FailToWrite(const std::string& path)
{
    throw std::runtime_error("cannot write " + path + ": " + std::generic_category().message(errno));
}

}  // namespace

std::string ResultLine(const CheckRecord& check)
{
    std::ostringstream line;
    line << std::setw(3) << (check.code ? std::to_string(*check.code) : "-") << "  " << std::left << std::setw(27)
         << check.name << "  " << std::setw(7) << Word(check.result) << ' ' << std::right << std::setw(6)
         << Fixed(check.duration, 2) << " s  " << check.message;
    return line.str();
}

std::string SummaryLine(const RunRecord& run)
{
    std::ostringstream line;
    line << Word(Overall(run)) << ": " << Count(run, Result::Pass) << " passed, " << Count(run, Result::Fail)
         << " failed, " << Count(run, Result::Skip) << " skipped, " << run.checks.size() << " of " << run.planned
         << " checks in " << Fixed(run.end - run.start, 1) << " s";
    if (!run.abortReason.empty()) {
        line << " (" << run.abortReason << ')';
    }
    return line.str();
}

std::string TrafficLine(const Traffic& entry)
{
    return (entry.kind == Traffic::Kind::Sent ? "> " : "< ") + Hex(entry.bytes) +
           (entry.kind == Traffic::Kind::Noise ? " (noise)" : "");
}

std::string ToJson(const RunRecord& run)
{
    Json json = {{"unit", run.unit},
                 {"start", UtcTimestamp(run.start)},
                 {"end", UtcTimestamp(run.end)},
                 {"port", run.port},
                 {"line", ToJson(run.line)},
                 {"board_type", run.boardType},
                 {"result", Word(Overall(run))},
                 {"aborted", !run.abortReason.empty()},
                 {"abort_reason", run.abortReason},
                 {"planned", run.planned},
                 {"passed", Count(run, Result::Pass)},
                 {"failed", Count(run, Result::Fail)},
                 {"skipped", Count(run, Result::Skip)},
                 {"checks", Json::array()}};
    for (const CheckRecord& check : run.checks) {
        json["checks"].push_back(ToJson(check));
    }
    return json.dump(2) + "\n";
}

std::string ToJUnit(const RunRecord& run)
{
    std::vector<CheckRecord> cases = run.checks;
    if (!run.abortReason.empty() && Count(run, Result::Aborted) == 0) {
        CheckRecord& whole = cases.emplace_back();
        whole.name = "run";
        whole.message = run.abortReason;
    }
    std::ostringstream xml;
    xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"station\" tests=\""
        << cases.size() << "\" failures=\"" << Count(run, Result::Fail) << "\" errors=\""
        << (run.abortReason.empty() ? 0 : 1) << "\" skipped=\"" << Count(run, Result::Skip) << "\" time=\""
        << Fixed(run.end - run.start, 3) << "\" timestamp=\"" << UtcTime(run.start) << "\">\n    <properties>\n"
        << Property("unit", run.unit) << Property("port", run.port) << Property("baud", std::to_string(run.line.baud))
        << Property("data_bits", std::to_string(run.line.dataBits))
        << Property("stop_bits", std::to_string(run.line.stopBits)) << Property("parity", run.line.parity)
        << Property("flow_control", run.line.flowControl) << Property("board_type", std::to_string(run.boardType))
        << "    </properties>\n";
    for (const CheckRecord& check : cases) {
        xml << TestCase(check);
    }
    xml << "  </testsuite>\n</testsuites>\n";
    return xml.str();
}

ReportFile::ReportFile(std::string path) : m_path(std::move(path))
{
    if (!m_path.empty() && !std::ofstream(m_path, std::ios::app)) {
        FailToWrite(m_path);
    }
}

void ReportFile::Write(const std::string& content) const
{
    if (m_path.empty()) {
        return;
    }
    std::ofstream file(m_path, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
        FailToWrite(m_path);
    }
}

}  // namespace Station
