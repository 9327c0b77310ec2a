// What every check is: how it is carried out, and what it found.
#include "apps/station/checks/Check.h"

namespace Station {

void HoldAgainstLimits(Finding& finding)
{
    std::string wrong;
    for (const Value& value : finding.values) {
        if (!value.IsWithin()) {
            wrong +=
                (wrong.empty() ? "" : "; ") + value.name + " is " + value.Text() + ", expected " + value.LimitsText();
        }
    }
    if (finding.result == Result::Pass && !wrong.empty()) {
        finding.result = Result::Fail;
        finding.message = wrong;
    }
}

}  // namespace Station
