// question: an operator's answer alone.
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

/// There is nothing to carry out: the plan's `ask` is the check.
class Question : public Check {
public:
    Finding CarryOut(Bench& bench) const override
    {
        ++bench.attempts;
        return {Result::Pass, "", {}, {}};
    }
    [[nodiscard]] std::string Description() const override { return "Ask the operator"; }
    [[nodiscard]] bool IsJudgedByBoard() const override { return false; }
};

}  // namespace

std::unique_ptr<Check> MakeQuestion(Parameters& parameters)
{
    if (!parameters.Has("ask")) {
        parameters.Report("", "'ask' is missing: the question to the operator");
    }
    return std::make_unique<Question>();
}

}  // namespace Station
