// What a plan's entry says to a kind of check: its parameters, by their keys.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/station/Types.h"

namespace Station {

/// What a plan can say once for all its checks, under [settings]; the command line replaces it.
const std::vector<std::string>& SettingNames();

/// The shortest limit of time that a plan may ask for, in seconds.
inline constexpr double LEAST_TIMEOUT = 0.001;
/// The longest limit of time and pause that a plan may ask for, in seconds: a day.
inline constexpr double MOST_SECONDS = 86400;

/// Every reading operation notes the key as known. What is wrong is reported, with its place in the plan, and reading
/// goes on with nothing, so that all that is wrong is told at once. A parameter that the entry does not give is looked
/// up in the plan's settings, under the same name.
class Parameters {
public:
    /// Why a text is wrong, or nothing.
    using Rule = std::function<std::string(const std::string&)>;

    virtual ~Parameters() = default;

    [[nodiscard]] virtual bool Has(const std::string& key) = 0;
    [[nodiscard]] virtual bool IsText(const std::string& key) = 0;
    virtual std::optional<std::string> Text(const std::string& key, const Rule& rule) = 0;
    virtual std::optional<int> Integer(const std::string& key, int least, int most) = 0;
    virtual std::optional<double> Number(const std::string& key) = 0;
    std::optional<double> Number(const std::string& key, double least, double most);
    virtual std::optional<bool> Flag(const std::string& key) = 0;
    /// A list of numbers from 0 to 255, `least` to `most` of them.
    virtual std::optional<Bytes> ByteList(const std::string& key, std::size_t least, std::size_t most) = 0;
    virtual std::optional<std::vector<std::string>> TextList(const std::string& key) = 0;
    /// A list of tables, or a single one; what nobody asks them for is reported as unknown.
    virtual std::vector<std::unique_ptr<Parameters>> Tables(const std::string& key) = 0;

    /// Reports what is wrong with the value of a key, or with the entry when the key is empty.
    virtual void Report(const std::string& key, const std::string& problem) = 0;

    /// The folder that relative paths in the plan begin at.
    [[nodiscard]] virtual std::string Folder() const = 0;

    // What cannot be left out is reported when it is missing; something that is right stands in its place.
    std::string RequiredText(const std::string& key, const Rule& rule);
    int RequiredInteger(const std::string& key, int least, int most);
    Bytes RequiredByteList(const std::string& key, std::size_t least, std::size_t most);

    /// least, most and expect, as far as they are there.
    Limits ReadLimits();

private:
    void ReportMissing(const std::string& key);
};

/// 1 to `most` characters that a board takes: printable ASCII.
Parameters::Rule BoardText(std::size_t most);
/// One of the words.
Parameters::Rule OneOf(std::vector<std::string> words);
/// Any text that is not empty.
std::string NotEmpty(const std::string& text);
/// The same of at most 256 bytes: names, units and what a value has to be, which databases keep in an index.
std::string ShortText(const std::string& text);
/// An IPv4 address in dotted-decimal text.
std::string Ipv4Address(const std::string& text);

/// The nearest of the words that somebody may have meant, or nothing.
std::optional<std::string> Nearest(const std::string& word, const std::vector<std::string>& words);

}  // namespace Station
