// Keeping the records in good order: copies of them, and room on the disk.
#pragma once

#include <chrono>
#include <string>

#include "apps/station/records/Database.h"

namespace Station {

/// Copies the whole database as it is now into an empty file, also while runs are in progress.
/// @throws RecordError also for a server, which has tools of its own
void BackUp(Database& database, const std::string& file);

/// What became of the traffic of the runs that started before a time.
struct Pruned {
    Integer removed = 0;       ///< runs that lost it
    Integer open = 0;          ///< runs that kept it, because they have no verdict yet
    Integer notForwarded = 0;  ///< runs that kept it, because a server does not have it yet
};

/// Removes the traffic of the runs that started before that time, a few runs at a time, so that a station goes on
/// meanwhile, and gives the space back.
/// @throws RecordError
Pruned PruneTraffic(Database& database, std::chrono::system_clock::time_point before);

}  // namespace Station
