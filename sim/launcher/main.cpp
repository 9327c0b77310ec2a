// The launcher of the simulated board: runs an unchanged program on it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "sim/SimBoard.h"
#include "sim/launcher/Launch.h"
#include "sim/launcher/Preload.h"
#include "sim/launcher/Screenshot.h"

namespace {

namespace fs = std::filesystem;

struct Options {
    std::string folder = "simboard";
    std::vector<std::string> faults;
    std::pair<int, int> screen = {800, 480};
    std::string screenshot;
    bool listFaults = false;
    std::vector<std::string> command;
};

/// Claims a folder that is new, empty or left by an earlier board. No second board can claim it until the last program
/// on this one has ended.
void Take(const fs::path& folder)
{
    fs::create_directories(folder);
    const fs::path path = folder / "lock";
    if (!fs::exists(path) && !fs::is_empty(folder)) {
        throw std::runtime_error(folder.string() + " holds other files: name a folder for the board alone");
    }
    const int lock = open(path.c_str(), O_RDWR | O_CREAT, 0644);
    if (lock < 0) {
        throw std::system_error(errno, std::generic_category(), path.string());
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("another simulated board uses " + folder.string());
    }
}

/// Finds a file: `name` beside the launcher as built, otherwise `installed`, a path relative to the launcher's folder.
fs::path Find(const char* name, const char* installed)
{
    const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path found = fs::exists(folder / name) ? folder / name : folder / installed;
    if (!fs::exists(found)) {
        throw std::runtime_error("cannot find " + found.string());
    }
    return found.lexically_normal();
}

/// The library to preload. The loader splits its path at blanks and colons, and would run the program without it, on
/// the PC's own devices.
std::string Library()
{
    std::string library = Find(SIMBOARD_LIBRARY, SIMBOARD_INSTALLED_LIBRARY);
    if (library.find_first_of(" :") != std::string::npos) {
        throw std::runtime_error("cannot run from a folder with a blank or colon in its path: " + library);
    }
    return library;
}

/// The file with the pixels.
fs::path ScreenFile(const Options& options)
{
    return fs::path(options.folder) / "screen";
}

/// Makes a black screen. The launcher makes it, so that all programs on the board draw on the same one and the picture
/// outlives them.
void PrepareScreen(const Options& options)
{
    const auto [width, height] = options.screen;
    std::ofstream(ScreenFile(options)).close();
    fs::resize_file(ScreenFile(options),
                    std::uintmax_t{4} * static_cast<unsigned>(width) * static_cast<unsigned>(height));
    setenv("SIMBOARD_WIDTH", std::to_string(width).c_str(), 1);
    setenv("SIMBOARD_HEIGHT", std::to_string(height).c_str(), 1);
}

/// Writes what instruments at the board measure after power-on.
void PrepareMeters(const Options& options)
{
    const fs::path folder = fs::path(options.folder) / "meters";
    fs::create_directory(folder);
    std::ofstream(folder / "pwm") << "0\n";
    std::ofstream(folder / "brightness") << "100\n";
    std::ofstream(folder / "screen") << options.screen.first << ' ' << options.screen.second << '\n';
}

/// Removes what an earlier run left in the folder, and has the loader preload the simulated board. The launcher makes
/// the serial line, so that the program and all that it starts or becomes share one.
void Prepare(const Options& options)
{
    const fs::path folder = fs::absolute(options.folder);
    Take(folder);
    for (const char* const name : {"screen", "syslog", "ttyS0", "ttyS0.settings", "usb", "root", "meters"}) {
        fs::remove_all(folder / name);
    }
    fs::create_directory(folder / "usb");
    fs::create_directories(folder / "root/mnt/usb");
    PrepareScreen(options);
    PrepareMeters(options);

    static const Sim::SerialPort line("/dev/ttyS0");
    fs::create_symlink(line.StationPath(), folder / "ttyS0");
    const int boardFd = dup(line.BoardFd());  // stays open across exec
    setenv("SIMBOARD_LINE", std::to_string(boardFd).c_str(), 1);

    const char* const others = std::getenv("LD_PRELOAD");
    setenv("LD_PRELOAD", ((others != nullptr ? others + std::string(":") : "") + Library()).c_str(), 1);
    setenv("SIMBOARD_DIR", folder.c_str(), 1);
    setenv("TSLIB_CONFFILE", Find("ts.conf", SIMBOARD_INSTALLED_TS_CONF).c_str(), 0);
    std::string faults;
    for (const std::string& fault : options.faults) {
        faults += fault + ",";
    }
    setenv("SIMBOARD_FAULTS", faults.c_str(), 1);
}

/// Runs the program on the board and returns its exit code.
int Run(Options& options)
{
    const std::string& program = options.command[0];
    if (const std::string reason = Launch::WhyNotPreloaded(program); !reason.empty()) {
        std::cerr << "simboard: " << program << " would run on the PC's own devices: " << reason << "\n";
        return Launch::CANNOT_RUN;
    }
    if (options.screenshot.empty()) {
        Prepare(options);
        return Launch::Become(options.command);
    }
    Screenshot::CheckWritable(options.screenshot);
    Prepare(options);
    const int result = Launch::Run(options.command);
    Screenshot::Write(options.screenshot, ScreenFile(options), options.screen.first, options.screen.second);
    return result;
}

void ListFaults()
{
    for (const Sim::BoardFault& fault : Sim::BoardFaults()) {
        std::cout << std::left << std::setw(20) << fault.name << fault.explanation << "\n";
    }
}

/// Parses a size such as "800x480".
std::pair<int, int> ParseScreen(const std::string& text)
{
    std::istringstream words(text);
    int width = 0;
    int height = 0;
    char separator = 0;
    const auto isSide = [](int side) { return side >= 1 && side <= Sim::MAX_SCREEN_SIDE; };
    if (!(words >> width >> separator >> height) || separator != 'x' ||
        words.peek() != std::istringstream::traits_type::eof() || !isSide(width) || !isSide(height)) {
        throw CLI::ValidationError("--screen", text + " is no size: give WIDTHxHEIGHT, each 1 to " +
                                                   std::to_string(Sim::MAX_SCREEN_SIDE));
    }
    return {width, height};
}

std::string CheckFault(const std::string& name)
{
    const auto& faults = Sim::BoardFaults();
    const bool isKnown =
        std::any_of(faults.begin(), faults.end(), [&](const auto& fault) { return name == fault.name; });
    return isKnown ? "" : "there is no fault " + name + "; --list-faults names them";
}

void Define(CLI::App& app, Options& options)
{
    app.get_formatter()->column_width(24);
    app.add_option("--dir", options.folder, "The folder for the board's files (default: ./simboard)")->type_name("DIR");
    app.add_option("--fault", options.faults, "A fault of the board; may be given several times")
        ->type_name("NAME")
        ->expected(1)
        ->take_all()
        ->check(CheckFault);
    app.add_flag("--list-faults", options.listFaults, "Name and explain every fault");
    app.add_option_function<std::string>(
           "--screen", [&](const std::string& text) { options.screen = ParseScreen(text); },
           "The size of the display in pixels (default: 800x480)")
        ->type_name("WxH");
    app.add_option("--screenshot", options.screenshot, "Write what is on the display when the program has ended")
        ->type_name("FILE.png");
    app.add_option("command", options.command, "The program and its arguments, after --")->type_name("PROGRAM");
    app.positionals_at_end();
    app.footer(
        "Files in DIR:\n"
        "  screen          the display: 4 bytes for each pixel (blue, green, red, unused), row by row\n"
        "  ttyS0           the station's end of the board's /dev/ttyS0\n"
        "  meters/  what instruments would measure: pwm, brightness (percent), screen (width and height in pixels)\n"
        "  ttyS0.settings  the line settings last applied to it, such as 115200 8N1\n"
        "  syslog          the board's system log\n"
        "  usb/            the files on the USB disk\n"
        "  root/mnt/usb/   the files that were left in /mnt/usb/ while no disk was mounted there\n"
        "Exit codes: those of the program; 2 wrong options or no screenshot, 126 or 127 the program cannot be\n"
        "run. With --screenshot 128 and the number of the signal that ended the program.");
}

}  // namespace

int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape): it ends the program
{
    CLI::App app("Runs a program on the simulated board.");
    Options options;
    Define(app, options);
    try {
        app.parse(argc, argv);
        if (options.command.empty() && !options.listFaults) {
            throw CLI::RequiredError("PROGRAM");
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (options.listFaults) {
        ListFaults();
        return 0;
    }
    try {
        return Run(options);
    } catch (const std::exception& error) {
        std::cerr << "simboard: " << error.what() << "\n";
        return 2;
    }
}
