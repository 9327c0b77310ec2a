// A run as JUnit XML, as build servers and production databases read it.
#include "apps/station/report/JUnit.h"

#include <cstring>
#include <sstream>

#include "apps/station/report/Text.h"

namespace Station {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

/// XML holds all of UTF-8 but U+FFFE, U+FFFF and control characters.
std::string WithoutNoncharacters(std::string text)
{
    for (const char* const nonCharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = text.find(nonCharacter); at != std::string::npos; at = text.find(nonCharacter)) {
            text.replace(at, std::strlen(nonCharacter), REPLACEMENT);
        }
    }
    return text;
}

/// Text as content of an attribute or element.
std::string Xml(const std::string& text)
{
    std::string escaped;
    for (const char letter : WithoutNoncharacters(ToUtf8(text))) {
        switch (letter) {
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
            escaped += static_cast<unsigned char>(letter) < ' ' ? REPLACEMENT : std::string(1, letter);
            break;
        }
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
    const auto failures = CountFailures(run);
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
