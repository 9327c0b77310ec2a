// The launcher of the simulated board: runs an unchanged program on it.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

/// Empties the folder of what an earlier run left, and has the loader put the simulated board under the program.
void Prepare(const fs::path& folder)
{
    fs::create_directories(folder);
    fs::remove(folder / "syslog");
    fs::remove(folder / "ttyS0");
    const fs::path library = fs::read_symlink("/proc/self/exe").parent_path() / SIMBOARD_LIBRARY;
    std::string preload = library.string();
    if (const char* const others = std::getenv("LD_PRELOAD")) {
        preload = others + (":" + preload);
    }
    setenv("LD_PRELOAD", preload.c_str(), 1);
    setenv("SIMBOARD_DIR", fs::absolute(folder).c_str(), 1);
}

[[noreturn]] void Run(std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    throw std::system_error(errno, std::generic_category(), command[0]);
}

}  // namespace

int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape): it ends the program
{
    CLI::App options(
        "Runs a program on the simulated board.\n"
        "Files in DIR: syslog takes the board's system log, ttyS0 is the station's end of its /dev/ttyS0.");
    options.get_formatter()->column_width(24);
    std::string folder = "simboard";
    std::vector<std::string> command;
    options.add_option("--dir", folder, "The folder for the board's files (default: ./simboard)")->type_name("DIR");
    options.add_option("command", command, "The program and its arguments, after --")->required()->type_name("PROGRAM");
    options.positionals_at_end();
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return options.exit(error) == 0 ? 0 : 2;
    }
    try {
        Prepare(folder);
        Run(command);
    } catch (const std::system_error& error) {
        std::cerr << "simboard: " << error.what() << "\n";
        return error.code() == std::errc::no_such_file_or_directory ? 127 : 126;
    }
}
