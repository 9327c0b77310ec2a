// The board's test application: carries out the commands that the test station sends over a serial port.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "apps/testapp/CommandHost.h"
#include "apps/testapp/DisplayChecks.h"
#include "common/CEventRoute.h"
#include "uart/CUARTMgr.h"

namespace {

using Common::Event::CEventRoute;
using UART::CUARTMgr;

/// Where the images of the touch test are, built and installed alike.
std::string DefaultImages()
{
    std::error_code withoutProc;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", withoutProc);
    return (program.parent_path() / TESTAPP_IMAGES).lexically_normal();
}

/// Which of the images in a folder cannot be read, or nothing.
std::string CheckImages(const std::string& folder)
{
    for (const char* const image : {TestApp::TARGET_IMAGE, TestApp::CONFIRMATION_IMAGE}) {
        const std::string path = folder + '/' + image;
        if (access(path.c_str(), R_OK) != 0) {
            return "cannot read " + path + ": " + std::strerror(errno);
        }
    }
    return "";
}

struct Options {
    std::string port;
    int baud = 115200;
    int dataBits = 8;
    int stopBits = 1;
    int parity = 0;
    bool flowControl = false;
    int boardType = 1;
    std::string images = DefaultImages();
};

void Define(CLI::App& app, Options& options)
{
    app.get_formatter()->column_width(28);
    app.add_option("--port", options.port, "The serial port to the station")->required()->type_name("DEVICE");
    app.add_option("--baud", options.baud, "Speed in bit/s (default: 115200)")
        ->check(CLI::IsMember({9600, 19200, 38400, 57600, 115200}));
    app.add_option("--data-bits", options.dataBits, "Data bits (default: 8)")->check(CLI::Range(5, 8));
    app.add_option("--stop-bits", options.stopBits, "Stop bits (default: 1)")->check(CLI::Range(1, 2));
    app.add_option("--parity", options.parity, "Parity: none, odd or even (default: none)")
        ->type_name("TEXT")
        ->transform(
            CLI::CheckedTransformer(std::map<std::string, int>{{"none", 0}, {"odd", 1}, {"even", 2}}).description(""));
    app.add_flag("--flow-control", options.flowControl, "RTS/CTS hardware flow control");
    app.add_option("--board-type", options.boardType, "This board's type (default: 1)")
        ->check(CLI::IsMember({1, 3, 5}));
    app.add_option("--images", options.images,
                   "The folder of the touch test's images (default: " + options.images + ")")
        ->type_name("DIR")
        ->check(CheckImages);
}

/// The signals that end the application. Blocked before any thread exists, they wait for the main thread.
sigset_t BlockEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// The end of the link waits for the check in progress, which may itself be waiting for somebody: not for long.
void EndSoon()
{
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        std::fputs("testapp: a check is still in progress, ending without it\n", stderr);
        std::_Exit(EXIT_SUCCESS);
    }).detach();
}

/// Why the port cannot be used, or nothing. The library takes any file for a serial port, and would write frames into
/// it.
std::string Fault(const std::string& port)
{
    const int fd = open(port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        return std::strerror(errno);
    }
    const bool isSerial = isatty(fd) != 0;
    close(fd);
    return isSerial ? "" : "it is not a serial port";
}

int Serve(const Options& options)
{
    if (const std::string fault = Fault(options.port); !fault.empty()) {
        std::fprintf(stderr, "testapp: cannot use %s: %s\n", options.port.c_str(), fault.c_str());
        return EXIT_FAILURE;
    }
    if (const std::string fault = CheckImages(options.images); !fault.empty()) {
        std::fprintf(stderr, "testapp: %s: the touch test will fail\n", fault.c_str());
    }
    const sigset_t endSignals = BlockEndSignals();
    CUARTMgr* const manager = CUARTMgr::GetInstance("testapp", static_cast<char>(options.boardType));
    TestApp::CommandHost host(*manager, options.images);
    if (CEventRoute::Register(&host, "0x1") != 0) {
        std::fputs("testapp: the event bus does not take the application's host\n", stderr);
        CUARTMgr::DestroyInstance();
        return EXIT_FAILURE;
    }
    manager->Open(options.port, options.baud, options.dataBits, options.stopBits, options.parity, options.flowControl);
    if (manager->IsOpen() != 0) {
        std::fprintf(stderr, "testapp: cannot open %s\n", options.port.c_str());
        CUARTMgr::DestroyInstance();
        return EXIT_FAILURE;
    }
    std::printf("testapp: waiting for commands on %s\n", options.port.c_str());

    int signal = 0;
    sigwait(&endSignals, &signal);
    EndSoon();
    std::printf("testapp: ended by %s\n", strsignal(signal));
    CUARTMgr::DestroyInstance();
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape): it ends the program
{
    CLI::App app("The board's test application: carries out the test station's commands until SIGINT or SIGTERM.\n"
                 "Exit codes: 0 ended by a signal, 1 it could not start, 2 wrong options.");
    Options options;
    Define(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // whoever watches sees each frame as it comes
    return Serve(options);
}
