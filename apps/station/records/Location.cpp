// Where records are kept: what --records says.
#include "apps/station/records/Location.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include <libpq-fe.h>

namespace Station {

namespace {

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::string Variable(const char* name)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// A command line can be read by everybody on the machine, and it becomes part of the record. Says nothing of the URL
/// itself.
[[noreturn]] void RefusePassword()
{
    throw std::invalid_argument("leave the password out of the URL: PostgreSQL takes it from ~/.pgpass, "
                                "or from PGPASSWORD or PGPASSFILE in the environment");
}

/// Also one that makes the URL invalid: the library's message would show it.
bool SeemsToHavePassword(std::string url)
{
    std::transform(url.begin(), url.end(), url.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    const std::string place = url.substr(url.find("://") + 3);
    const std::size_t at = place.rfind('@');
    const bool isBeforeHost = at != std::string::npos && place.find(':') < at;
    return isBeforeHost || place.find("password", std::min(place.find('?'), place.size())) != std::string::npos;
}

/// As the library that connects understands it.
void CheckServer(const std::string& url)
{
    if (SeemsToHavePassword(url)) {
        RefusePassword();
    }
    char* message = nullptr;
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> options(PQconninfoParse(url.c_str(), &message),
                                                                               PQconninfoFree);
    const std::unique_ptr<char, decltype(&PQfreemem)> freed(message, PQfreemem);
    if (!options) {
        const std::string problem = message != nullptr ? message : "out of memory";
        throw std::invalid_argument(problem.substr(0, problem.find('\n')));
    }
    for (const PQconninfoOption* option = options.get(); option->keyword != nullptr; ++option) {
        const bool isSecret = option->dispchar[0] == '*';
        if (isSecret && option->val != nullptr) {
            RefusePassword();
        }
    }
}

}  // namespace

Location ParseLocation(const std::string& url)
{
    const std::string sqlite = "sqlite:";
    if (url == "none") {
        return {};
    }
    if (url.empty()) {
        return {DefaultFile(), ""};
    }
    if (StartsWith(url, sqlite) && url.size() > sqlite.size()) {
        return {std::filesystem::absolute(url.substr(sqlite.size())), ""};
    }
    if (StartsWith(url, "postgresql://") || StartsWith(url, "postgres://")) {
        CheckServer(url);
        return {DefaultFile(), url};
    }
    throw std::invalid_argument(url + ": expected sqlite:PATH, postgresql://HOST/DATABASE or none");
}

std::string DefaultFile()
{
    const std::string state = Variable("XDG_STATE_HOME");
    const std::string home = Variable("HOME");
    if (state.empty() && home.empty()) {
        throw std::invalid_argument("neither HOME nor XDG_STATE_HOME is set: say where the records are");
    }
    return (state.empty() ? home + "/.local/state" : state) + "/testmode/records.db";
}

}  // namespace Station
