// Where records are kept: what --records says.
#include "apps/station/records/Location.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

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

/// A command line can be read by everybody on the machine, and it becomes part of the record.
void RefusePassword(const std::string& url)
{
    const std::size_t begin = url.find("://") + 3;
    const std::string authority = url.substr(begin, url.find_first_of("/?", begin) - begin);
    const std::size_t at = authority.rfind('@');
    const bool isInAuthority = at != std::string::npos && authority.find(':') < at;
    if (isInAuthority || url.find("password=", begin) != std::string::npos) {
        throw std::invalid_argument("leave the password out of the URL: PostgreSQL takes it from ~/.pgpass, "
                                    "or from PGPASSWORD or PGPASSFILE in the environment");
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
        RefusePassword(url);
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
