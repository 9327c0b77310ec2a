// The tables of the records. docs/records.md describes each field.
#pragma once

#include <soci/soci.h>

namespace Station {

/// The schema that this program works with.
constexpr int SCHEMA = 2;

/// False for an empty database and for one of an earlier version; changes nothing.
/// @throws RecordError for one of a later version, and for one that is none of ours
bool IsUpToDate(soci::session& sql, bool isSqlite);

/// Makes the tables, or adds what an earlier version of the program did not have; within the caller's transaction.
/// @throws RecordError for a database of a later version, and for one that is none of ours
void BringUpToDate(soci::session& sql, bool isSqlite);

}  // namespace Station
