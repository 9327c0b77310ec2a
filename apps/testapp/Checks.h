// What the test application does for each command of the station.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "apps/testapp/Reply.h"

namespace TestApp {

/// The check of each command.
class Checks {
public:
    /// `images` is the folder of the touch test's images.
    explicit Checks(const std::string& images);

    /// Carries out the command with that code. `request` holds its 26 data bytes; it is null for CMD_READ_VERSION and
    /// CMD_CONFIRM_TEST_MODE, which have none. A command without a check is answered as not supported.
    [[nodiscard]] Reply CarryOut(unsigned char code, const unsigned char* request) const;

private:
    using Check = std::function<Reply(const unsigned char* request)>;

    std::map<unsigned char, Check> m_checks;
};

}  // namespace TestApp
