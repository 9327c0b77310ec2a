// A run as JUnit XML, as build servers and production databases read it.
#include "apps/station/report/JUnit.h"

#include <sstream>

#include "apps/station/report/Text.h"

namespace Station {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

/// The size of the UTF-8 character at a place that XML may hold, 0 when there is none.
std::size_t CharacterSize(const std::string& text, std::size_t at)
{
    const auto byte = [&](std::size_t offset) {
        return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0U;
    };
    const auto isTail = [&](std::size_t offset) { return (byte(offset) & 0xC0) == 0x80; };
    const unsigned int lead = byte(0);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return isTail(1) ? 2 : 0;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        const unsigned int code = (lead & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
        const bool isPlain = code >= 0x800 && (code < 0xD800 || code > 0xDFFF) && code < 0xFFFE;
        return isTail(1) && isTail(2) && isPlain ? 3 : 0;
    }
    const unsigned int code = (lead & 0x07) << 18 | (byte(1) & 0x3F) << 12;
    return lead >= 0xF0 && lead <= 0xF4 && isTail(1) && isTail(2) && isTail(3) && code >= 0x10000 && code <= 0x10FFFF
               ? 4
               : 0;
}

/// Text as content of an attribute or element.
std::string Xml(const std::string& text)
{
    std::string escaped;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = CharacterSize(text, at);
        switch (text[at]) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\n':
            escaped += "&#10;";
            break;
        default:
            escaped += size > 0 ? text.substr(at, size) : REPLACEMENT;
            break;
        }
        at += size > 0 ? size : 1;
    }
    return escaped;
}

std::string Property(const std::string& name, const std::string& value)
{
    return R"(      <property name=")" + Xml(name) + R"(" value=")" + Xml(value) + R"("/>)" + "\n";
}

std::string Properties(const Values& values)
{
    std::string xml;
    for (const Value& value : values) {
        const std::string limits = value.LimitsText();
        xml += "  " + Property(value.name, value.Text() + (limits.empty() ? "" : " (" + limits + ")"));
    }
    return xml.empty() ? "" : "      <properties>\n" + xml + "      </properties>\n";
}

std::string Outcome(const CheckRecord& check)
{
    const std::string message = Xml(check.message + (check.hint.empty() ? "" : ": " + check.hint));
    switch (check.result) {
    case Result::Pass:
        return "      <system-out>" + message + "</system-out>\n";
    case Result::Fail:
        if (!check.isOptional) {
            return "      <failure message=\"" + message + "\"/>\n";
        }
        return "      <skipped message=\"optional, failed: " + message + "\"/>\n";
    case Result::NotDone:
        return "      <skipped message=\"" + message + "\"/>\n";
    default:
        return "      <error message=\"" + message + "\"/>\n";
    }
}

std::string TestCase(const std::string& unit, const CheckRecord& check)
{
    return R"(    <testcase classname=")" + Xml(unit.empty() ? "station" : unit) + R"(" name=")" + Xml(check.name) +
           R"(" time=")" + Fixed(check.duration, 3) + R"(">)" + "\n" + Properties(check.values) + Outcome(check) +
           "    </testcase>\n";
}

/// The checks, those that were left out (a build server takes a suite without skipped cases for a success), and what
/// stands for the run itself, where it did not come to its end.
std::vector<CheckRecord> Cases(const RunRecord& run)
{
    std::vector<CheckRecord> cases = run.checks;
    for (const std::string& name : run.leftOut) {
        CheckRecord& check = cases.emplace_back();
        check.name = name;
        check.result = Result::NotDone;
        check.message = "left out";
    }
    if (!run.problem.empty() && (run.checks.empty() || run.checks.back().result != Result::Aborted)) {
        CheckRecord whole;
        whole.name = "run";
        whole.message = run.problem;
        cases.push_back(whole);
    }
    return cases;
}

template <class Predicate>
long CountIf(const std::vector<CheckRecord>& cases, Predicate predicate)
{
    long count = 0;
    for (const CheckRecord& check : cases) {
        count += predicate(check) ? 1 : 0;
    }
    return count;
}

}  // namespace

std::string ToJUnit(const RunRecord& run)
{
    const std::vector<CheckRecord> cases = Cases(run);
    const auto failures =
        CountIf(cases, [](const CheckRecord& check) { return check.result == Result::Fail && !check.isOptional; });
    const auto errors = CountIf(cases, [](const CheckRecord& check) { return check.result == Result::Aborted; });
    const auto passes = CountIf(cases, [](const CheckRecord& check) { return check.result == Result::Pass; });
    std::ostringstream xml;
    xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"" << Xml(run.planName)
        << "\" tests=\"" << cases.size() << "\" failures=\"" << failures << "\" errors=\"" << errors << "\" skipped=\""
        << static_cast<long>(cases.size()) - failures - errors - passes << "\" time=\"" << Fixed(run.end - run.start, 3)
        << "\" timestamp=\"" << UtcTime(run.start) << "\">\n    <properties>\n"
        << Property("unit", run.unit) << Property("verdict", Word(run.verdict)) << Property("run", run.id)
        << Property("plan", run.planName) << Property("plan version", run.planVersion)
        << Property("plan SHA-256", run.planSha256) << Property("operator", run.people) << Property("host", run.host)
        << Property("port", run.port) << "    </properties>\n";
    for (const CheckRecord& check : cases) {
        xml << TestCase(run.unit, check);
    }
    xml << "  </testsuite>\n</testsuites>\n";
    return xml.str();
}

}  // namespace Station
