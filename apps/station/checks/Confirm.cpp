// confirm: asks whether the board is in test mode.
#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

class Confirm : public CommandCheck {
public:
    Confirm() : CommandCheck(UART::CMD_CONFIRM_TEST_MODE, {}) {}
    [[nodiscard]] std::string Description() const override { return "Ask whether the board is in test mode"; }
};

}  // namespace

std::unique_ptr<Check> MakeConfirm(Parameters& /*parameters*/)
{
    return std::make_unique<Confirm>();
}

}  // namespace Station
