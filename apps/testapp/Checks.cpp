// What the test application does for each command of the station.
#include "apps/testapp/Checks.h"

#include <algorithm>
#include <iterator>

namespace TestApp {

namespace {

Reply ConfirmTestMode(const unsigned char* /*request*/)
{
    return StatusReply(Status::PASS);
}

struct Check {
    unsigned char code;
    Reply (*carryOut)(const unsigned char* request);
};

constexpr Check CHECKS[] = {
    {UART::CMD_CONFIRM_TEST_MODE, ConfirmTestMode},
};

}  // namespace

Reply StatusReply(Status status)
{
    return {static_cast<unsigned char>(status)};
}

Reply CarryOut(unsigned char code, const unsigned char* request)
{
    const auto* const check =
        std::find_if(std::begin(CHECKS), std::end(CHECKS), [code](const Check& entry) { return entry.code == code; });
    return check == std::end(CHECKS) ? StatusReply(Status::NOT_SUPPORTED) : check->carryOut(request);
}

}  // namespace TestApp
