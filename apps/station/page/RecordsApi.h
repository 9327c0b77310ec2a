// What the pages ask the records, and the answers.
#pragma once

#include <string>

#include "apps/station/page/Query.h"
#include "apps/station/page/Server.h"
#include "apps/station/records/Location.h"

namespace Station {

struct Answer {
    int status = 200;  ///< of HTTP
    std::string type;  ///< of the content: JSON, or CSV
    std::string text;
};

/// Answers a GET of what follows "/api/". On a connection of its own, so that no question waits for another, nor a test
/// for a question; any thread may call.
///
///     history   runs, the newest first, and how many are newer and older: search (beginning of the unit), unit,
///               verdict, plan, from and to (days here, as 2026-11-23; both count), before or after (UUID of a run),
///               limit (1 to 500, or to 100000 for CSV)
///     run/UUID  the record of a run, as `station show` has it
///     yield     the tables of `station yield`; values have a number besides: by (day, plan, station, check), from, to,
///               plan, station
///     values    one of the values and its histogram: value (its number), from, to, plan, station
///     choices   verdicts, and the names of plans and stations
///
/// All but the last are CSV with format=csv. What is not understood is answered with 400, what is not there with 404,
/// and 503 when there are no records to ask; then the text is an object whose "error" is a sentence.
Answer AskRecords(const Location& records, const std::string& path, const Query::Parameters& parameters);

/// Adds to the server what AskRecords() answers, with GET. More than 16 questions at once are answered with 503.
void AddRecords(Server& server, const Location& records);

}  // namespace Station
