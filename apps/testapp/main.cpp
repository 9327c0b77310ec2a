// The board's test application: carries out the commands that the test station sends over a serial port.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "apps/testapp/CommandHost.h"
#include "apps/testapp/EndSignals.h"
#include "apps/testapp/Line.h"
#include "apps/testapp/Options.h"
#include "common/CEventRoute.h"
#include "uart/CUARTMgr.h"

namespace {

using TestApp::CommandHost;
using TestApp::Line;
using UART::CUARTMgr;

/// Prepares everything for commands. False, with a message, when that fails.
bool Start(CommandHost& host, Line& line, const std::string& port)
{
    if (Common::Event::CEventRoute::Register(&host, "0x1") != 0) {
        std::fputs("testapp: the event bus does not take the application's host\n", stderr);
        return false;
    }
    if (const std::string fault = line.Open(); !fault.empty()) {
        std::fprintf(stderr, "testapp: cannot use %s: %s\n", port.c_str(), fault.c_str());
        return false;
    }
    std::printf("testapp: waiting for commands on %s\n", port.c_str());
    return true;
}

int Serve(const TestApp::Options& options)
{
    if (const std::string fault = TestApp::CheckImages(options.images); !fault.empty()) {
        std::fprintf(stderr, "testapp: %s: the touch test will fail\n", fault.c_str());
    }
    const int end = TestApp::WatchEndSignals();
    CUARTMgr* const manager = CUARTMgr::GetInstance("testapp", static_cast<char>(options.boardType));
    CommandHost host(*manager, options.images);
    Line line(*manager, options.line);
    const bool isStarted = Start(host, line, options.line.port);
    if (isStarted) {
        line.Keep(end);
    }
    CUARTMgr::DestroyInstance();
    return isStarted ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape): it ends the program
{
    TestApp::Options options;
    if (const auto exitCode = TestApp::Parse(argc, argv, options)) {
        return *exitCode;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever watches sees each frame as it comes
    return Serve(options);
}
