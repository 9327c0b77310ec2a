// yield: how many units pass, what they fail for, and how close the measured values are to their limits.
#include "apps/station/report/Yield.h"

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"

namespace Station {

int ShowYield(const Options& options)
{
    const Question& question = options.question;
    Database database = Database::Existing(options.records);
    const Yield yield = ReadYield(database, {question.since, question.by});
    if (question.isCsv) {
        WriteOut(ToCsv(YieldTables(yield)));
    } else {
        WriteOut(question.isJson ? ToJson(YieldTables(yield)) : YieldText(yield, question.by));
    }
    return 0;
}

}  // namespace Station
