// Plan files: a plan is good, or is refused with all that is wrong and where.
#include <set>
#include <sstream>

#include "apps/station/plan/PlanFile.h"
#include "fuzz/Fuzz.h"
#include "tests/support/Bmp.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Support::MemoryFile memory;
    memory.Write({data, size});
    const std::string path = memory.Path();
    try {
        const Station::Plan plan = Station::ReadPlan(path, {});
        std::set<std::string> names;
        bool countsAny = false;
        for (const Station::Entry& entry : plan.entries) {
            Fuzz::Expect(!entry.name.empty() && names.insert(entry.name).second, "a name of its own");
            Fuzz::Expect(!entry.check->Description().empty(), "a description");
            countsAny = countsAny || !entry.isOptional;
        }
        Fuzz::Expect(countsAny, "a check that counts");
        Fuzz::Expect(!plan.name.empty() && plan.sha256.size() == 64, "a name, and the text's digest");
        Station::Remarks(plan);
    } catch (const Station::PlanError& error) {
        std::istringstream lines(error.what());
        std::string line;
        Fuzz::Expect(!std::string(error.what()).empty(), "a reason");
        while (std::getline(lines, line)) {
            Fuzz::Expect(line.rfind(path + ":", 0) == 0, "the file in front of " + line);
        }
    }
    return 0;
}
