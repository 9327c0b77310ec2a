// prune: the room that the traffic of old runs takes.
#include <string>

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"
#include "apps/station/records/Upkeep.h"

namespace Station {

int Prune(const Options& options)
{
    Database database = Database::Existing(options.records);
    const Pruned pruned = PruneTraffic(database, *options.question.before);
    std::string text = std::to_string(pruned.removed) + " runs lost their frames\n";
    if (pruned.open > 0) {
        text += std::to_string(pruned.open) + " runs kept them: they have no verdict yet\n";
    }
    if (pruned.notForwarded > 0) {
        text += std::to_string(pruned.notForwarded) + " runs kept them: a server does not have them yet\n";
    }
    WriteOut(text);
    return 0;
}

}  // namespace Station
