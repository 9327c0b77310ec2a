// history: earlier runs, a line each.
#include "apps/station/report/History.h"

#include <iostream>
#include <limits>

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"

namespace Station {

int ShowHistory(const Options& options)
{
    const Question& question = options.question;
    HistoryFilter filter;
    filter.unit = question.unit;
    filter.since = question.since;
    filter.verdict = question.isFailed ? std::optional(Verdict::Fail) : std::nullopt;
    filter.most = question.isAll ? std::numeric_limits<Integer>::max() : question.most;
    Database database = Database::Existing(options.records);
    const History history = ReadHistory(database, filter);
    if (question.isCsv) {
        WriteOut(ToCsv(HistoryTables(history.runs)));
    } else if (question.isJson) {
        WriteOut(ToJson(HistoryTables(history.runs)));
    } else if (!history.runs.empty()) {
        WriteOut(HistoryText(history.runs));
    }
    if (history.runs.empty()) {
        std::cerr << "there is no such run in the records\n";
    }
    if (history.older > 0) {
        std::cerr << history.older << " earlier runs are not shown: see --limit and --all\n";
    }
    return 0;
}

}  // namespace Station
