// A run as JSON: the complete record.
#include "apps/station/report/Json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "apps/station/report/Text.h"

namespace Station {

namespace {

using Json = nlohmann::ordered_json;

template <class Held>
Json OrNull(const std::optional<Held>& held)
{
    return held ? Json(*held) : Json();
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

Json ToJson(const Value& value)
{
    return {{"name", value.name},
            {"value", std::visit([](const auto& held) { return Json(held); }, value.value)},
            {"unit", value.unit},
            {"least", OrNull(value.limits.least)},
            {"most", OrNull(value.limits.most)},
            {"expected", OrNull(value.limits.expected)},
            {"within_limits", value.IsWithin()}};
}

Json ToJson(const CheckRecord& check)
{
    Json json = {{"name", check.name},
                 {"kind", check.kind},
                 {"code", check.code ? Json(*check.code) : Json()},
                 {"optional", check.isOptional},
                 {"result", Word(check.result)},
                 {"message", check.message},
                 {"hint", check.hint},
                 {"values", Json::array()},
                 {"status", OrNull(check.status)},
                 {"duration_s", ToMicrosecond(check.duration)},
                 {"attempts", check.attempts},
                 {"repetitions", std::max(0, check.attempts - 1)},
                 {"frames", Json::array()}};
    for (const Value& value : check.values) {
        json["values"].push_back(ToJson(value));
    }
    for (const Traffic& entry : check.traffic) {
        json["frames"].push_back(ToJson(entry));
    }
    return json;
}

/// A record reads the same from a file and from a database. SQLite knows no negative zero, PostgreSQL no zero byte.
void Settle(Json& json)
{
    if (json.is_number_float()) {
        json = json.get<double>() + 0.0;
    } else if (json.is_string()) {
        auto& text = json.get_ref<std::string&>();
        std::replace(text.begin(), text.end(), '\0', '\xFF');  // no UTF-8
    } else if (json.is_structured()) {
        std::for_each(json.begin(), json.end(), Settle);
    }
}

Json ToJson(const LineSettings& line)
{
    return {{"speed", line.speed},
            {"data_bits", line.dataBits},
            {"stop_bits", line.stopBits},
            {"parity", line.parity},
            {"flow_control", line.flowControl}};
}

}  // namespace

std::string ToJson(const RunRecord& run)
{
    Json json = {
        {"id", run.id},
        {"unit", run.unit},
        {"verdict", Word(run.verdict)},
        {"reason", Reason(run)},
        {"plan",
         {{"name", run.planName}, {"version", run.planVersion}, {"file", run.planFile}, {"sha256", run.planSha256}}},
        {"station", {{"version", run.station}, {"host", run.host}, {"operator", run.people}, {"options", run.options}}},
        {"start", UtcTimestamp(run.start)},
        {"end", UtcTimestamp(run.end)},
        {"port", run.port},
        {"line", ToJson(run.line)},
        {"board_type", run.boardType},
        {"planned", run.planned},
        {"left_out", run.leftOut},
        {"passed", Count(run, Result::Pass)},
        {"failed", CountFailures(run)},
        {"optional_failed", CountOptionalFailures(run)},
        {"not_carried_out", Count(run, Result::NotDone)},
        {"passed_after_repetition", CountRepeated(run)},
        {"link", ToJson(run.link)},
        {"checks", Json::array()}};
    if (run.pruned) {
        json["frames_pruned"] = UtcTimestamp(*run.pruned);
    }
    for (const CheckRecord& check : run.checks) {
        json["checks"].push_back(ToJson(check));
    }
    Settle(json);
    // What is no UTF-8 in a reply or an error message is replaced: the record is never lost for it.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Station
