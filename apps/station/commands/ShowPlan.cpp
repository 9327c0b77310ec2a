// plan: the built-in plan, or what a plan's file says.
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>

#include "apps/station/commands/Commands.h"

namespace Station {

int ShowPlan(const Options& options)
{
    if (options.plan.empty() && options.settings.empty()) {
        std::cout << BuiltInPlan() << std::flush;
        if (!std::cout) {
            throw std::runtime_error("the plan cannot be written to standard output");
        }
        return 0;
    }
    const Plan plan = ReadPlan(options.plan, options.settings);
    std::cout << Shown(plan.name + (plan.version.empty() ? "" : ", version " + plan.version)) << ": "
              << plan.entries.size() << " checks\n";
    for (const Entry& entry : plan.entries) {
        std::cout << "  " << std::left << std::setw(24) << Shown(entry.name) << "  "
                  << Shown(entry.check->Description()) << (entry.isOptional ? " (optional)" : "") << '\n';
        if (!entry.ask.empty()) {
            std::cout << std::string(28, ' ') << "Asks: " << Shown(entry.ask) << '\n';
        }
    }
    for (const std::string& remark : Remarks(plan)) {
        std::cout << "Note: " << Shown(remark) << '\n';
    }
    return 0;
}

}  // namespace Station
