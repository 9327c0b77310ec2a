// plan: the built-in plan, or what a plan's file says.
#include <iomanip>
#include <sstream>
#include <string>

#include "apps/station/commands/Commands.h"
#include "apps/station/commands/Output.h"

namespace Station {

int ShowPlan(const Options& options)
{
    if (options.plan.empty() && options.settings.empty()) {
        WriteOut(BuiltInPlan());
        return 0;
    }
    const Plan plan = ReadPlan(options.plan, options.settings);
    std::ostringstream text;
    text << Shown(plan.name + (plan.version.empty() ? "" : ", version " + plan.version)) << ": " << plan.entries.size()
         << " checks\n";
    for (const Entry& entry : plan.entries) {
        text << "  " << std::left << std::setw(24) << Shown(entry.name) << "  " << Shown(entry.check->Description())
             << (entry.isOptional ? " (optional)" : "") << '\n';
        if (!entry.ask.empty()) {
            text << std::string(28, ' ') << "Asks: " << Shown(entry.ask) << '\n';
        }
    }
    for (const std::string& remark : Remarks(plan)) {
        text << "Note: " << Shown(remark) << '\n';
    }
    WriteOut(text.str());
    return 0;
}

}  // namespace Station
