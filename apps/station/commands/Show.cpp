// show: one run of the records.
#include <stdexcept>
#include <string>

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"
#include "apps/station/report/History.h"
#include "apps/station/report/Json.h"

namespace Station {

namespace {

RunSummary FindRun(Database& database, const std::string& beginning)
{
    const std::vector<RunSummary> found = FindRuns(database, beginning);
    if (found.empty()) {
        throw std::runtime_error("there is no run " + beginning + " in the records: station history tells the runs");
    }
    if (found.size() > 1) {
        std::string ids;
        for (const RunSummary& run : found) {
            ids += "\n  " + run.id + "  " + Shown(run.unit);
        }
        throw std::runtime_error("several runs begin with " + beginning + ":" + ids);
    }
    return found[0];
}

}  // namespace

int ShowRun(const Options& options)
{
    const Question& question = options.question;
    Database database = Database::Existing(options.records);
    const RunRecord run = ReadRun(database, FindRun(database, question.run));
    if (question.isCsv) {
        WriteOut(ToCsv(RunTables(run)));
    } else {
        WriteOut(question.isJson ? ToJson(run) : RunText(run, question.showsFrames));
    }
    return 0;
}

}  // namespace Station
