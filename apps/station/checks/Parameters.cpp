// What a plan's entry says to a kind of check: its parameters, by their keys.
#include "apps/station/checks/Parameters.h"

#include <algorithm>
#include <numeric>

#include <arpa/inet.h>

namespace Station {

namespace {

/// How many letters have to be changed, added or taken away to make one word of the other.
std::size_t Distance(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

const std::vector<std::string>& SettingNames()
{
    static const std::vector<std::string> names = {"host",   "interface", "disk",      "file",
                                                   "screen", "margin",    "tolerance", "brightness"};
    return names;
}

void Parameters::ReportMissing(const std::string& key)
{
    const auto& settings = SettingNames();
    const bool isSetting = std::find(settings.begin(), settings.end(), key) != settings.end();
    Report("", "'" + key + "' is missing" +
                   (isSetting ? ": give it here, under [settings], or with --set " + key + "=VALUE" : ""));
}

std::optional<double> Parameters::Number(const std::string& key, double least, double most)
{
    const std::optional<double> number = Number(key);
    if (number && (*number < least || *number > most)) {
        Report(key, "expected a number from " + NumberText(least) + " to " + NumberText(most) + ", found " +
                        NumberText(*number));
        return std::nullopt;
    }
    return number;
}

std::string Parameters::RequiredText(const std::string& key, const Rule& rule)
{
    if (!Has(key)) {
        ReportMissing(key);
    }
    return Text(key, rule).value_or("");
}

int Parameters::RequiredInteger(const std::string& key, int least, int most)
{
    if (!Has(key)) {
        ReportMissing(key);
    }
    return Integer(key, least, most).value_or(least);
}

Bytes Parameters::RequiredByteList(const std::string& key, std::size_t least, std::size_t most)
{
    if (!Has(key)) {
        ReportMissing(key);
    }
    return ByteList(key, least, most).value_or(Bytes(least));
}

Limits Parameters::ReadLimits()
{
    Limits limits;
    limits.least = Number("least");
    limits.most = Number("most");
    limits.expected = Text("expect", ShortText);
    if (limits.least && limits.most && *limits.least > *limits.most) {
        Report("least", "'least' is above 'most'");
    }
    return limits;
}

Parameters::Rule BoardText(std::size_t most)
{
    return [most](const std::string& text) -> std::string {
        const bool isGood = !text.empty() && text.size() <= most &&
                            std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
        return isGood ? "" : "expected 1 to " + std::to_string(most) + " printable ASCII characters";
    };
}

Parameters::Rule OneOf(std::vector<std::string> words)
{
    return [words = std::move(words)](const std::string& text) -> std::string {
        if (std::find(words.begin(), words.end(), text) != words.end()) {
            return "";
        }
        std::string list;
        for (const std::string& word : words) {
            list += (list.empty() ? "" : ", ") + word;
        }
        return "expected one of " + list;
    };
}

std::string NotEmpty(const std::string& text)
{
    return text.empty() ? "expected a text that is not empty" : "";
}

std::string ShortText(const std::string& text)
{
    constexpr std::size_t MOST = 256;
    const bool isGood = !text.empty() && text.size() <= MOST;
    return isGood ? "" : "expected a text of 1 to " + std::to_string(MOST) + " bytes";
}

std::string Ipv4Address(const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 ? "" : "expected an IPv4 address such as 192.168.1.10";
}

std::optional<std::string> Nearest(const std::string& word, const std::vector<std::string>& words)
{
    std::optional<std::string> nearest;
    std::size_t least = std::max<std::size_t>(word.size() / 2, 1) + 1;
    for (const std::string& candidate : words) {
        const std::size_t distance = Distance(word, candidate);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

}  // namespace Station
