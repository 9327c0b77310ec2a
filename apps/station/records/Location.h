// Where records are kept: what --records says.
#pragma once

#include <string>

namespace Station {

struct Location {
    std::string file;    ///< the station's own SQLite database; empty when no records are kept
    std::string server;  ///< the PostgreSQL database that gets a copy of every run; empty for none
};

/// Understands "sqlite:PATH", "postgresql://..." (and "postgres://..."), "none", and nothing at all: the default.
/// With a server, the station's own database is the default one.
/// @throws std::invalid_argument for anything else, and for a server's URL with a password in it
Location ParseLocation(const std::string& url);

/// ${XDG_STATE_HOME:-~/.local/state}/testmode/records.db
/// @throws std::invalid_argument when neither XDG_STATE_HOME nor HOME is set
std::string DefaultFile();

}  // namespace Station
