// The test application's options.
#include "apps/testapp/Options.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

#include <unistd.h>

#include "apps/testapp/DisplayChecks.h"

namespace TestApp {

namespace {

/// The folder of the touch test's images, in the build tree and when installed.
std::string DefaultImages()
{
    std::error_code withoutProc;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", withoutProc);
    return (program.parent_path() / TESTAPP_IMAGES).lexically_normal();
}

void Define(CLI::App& app, Options& options)
{
    LineSettings& line = options.line;
    app.get_formatter()->column_width(28);
    app.add_option("--port", line.port, "The serial port to the station")->required()->type_name("DEVICE");
    app.add_option("--baud", line.baud, "Speed in bit/s (default: 115200)")
        ->check(CLI::IsMember({9600, 19200, 38400, 57600, 115200}));
    app.add_option("--data-bits", line.dataBits, "Data bits (default: 8)")->check(CLI::Range(5, 8));
    app.add_option("--stop-bits", line.stopBits, "Stop bits (default: 1)")->check(CLI::Range(1, 2));
    app.add_option("--parity", line.parity, "Parity: none, odd or even (default: none)")
        ->type_name("TEXT")
        ->transform(
            CLI::CheckedTransformer(std::map<std::string, int>{{"none", 0}, {"odd", 1}, {"even", 2}}).description(""));
    app.add_flag("--flow-control", line.flowControl, "RTS/CTS hardware flow control");
    app.add_option("--board-type", options.boardType, "This board's type (default: 1)")
        ->check(CLI::IsMember({1, 3, 5}));
    app.add_option("--images", options.images,
                   "The folder of the touch test's images (default: " + options.images + ")")
        ->type_name("DIR")
        ->check(CheckImages);
}

}  // namespace

std::optional<int> Parse(int argc, char** argv, Options& options)
{
    CLI::App app("The board's test application: carries out the test station's commands until SIGINT or SIGTERM.\n"
                 "Exit codes: 0 ended by a signal, 1 it could not start, 2 wrong options.");
    options.images = DefaultImages();
    Define(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return std::nullopt;
}

std::string CheckImages(const std::string& folder)
{
    for (const char* const image : {TARGET_IMAGE, CONFIRMATION_IMAGE}) {
        const std::string path = folder + '/' + image;
        if (access(path.c_str(), R_OK) != 0) {
            return "cannot read " + path + ": " + std::strerror(errno);
        }
    }
    return "";
}

}  // namespace TestApp
