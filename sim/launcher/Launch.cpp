// Running a program, for the launcher of the simulated board.
#include "sim/launcher/Launch.h"

#include <cerrno>
#include <csignal>
#include <iostream>
#include <system_error>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Launch {

namespace {

std::vector<char*> Arguments(std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    return arguments;
}

int ReportFailure(const std::string& program, int error)
{
    std::cerr << "simboard: " << program << ": " << std::generic_category().message(error) << "\n";
    return error == ENOENT ? NOT_FOUND : CANNOT_RUN;
}

/// 0, or the error number that tells why the child cannot be started.
int Spawn(std::vector<std::string>& command, const sigset_t& signalMask, pid_t& child)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &signalMask);
    const int error =
        posix_spawnp(&child, command[0].c_str(), nullptr, &attributes, Arguments(command).data(), environ);
    posix_spawnattr_destroy(&attributes);
    return error;
}

/// Waits for the child's end, and passes signals on to it.
int Wait(pid_t child, const sigset_t& signals)
{
    int status = 0;
    while (waitpid(child, &status, WNOHANG) != child) {
        siginfo_t signal = {};
        sigwaitinfo(&signals, &signal);
        // A signal from the terminal (si_code above 0) has already reached the child.
        if (signal.si_signo != SIGCHLD && signal.si_code <= 0) {
            kill(child, signal.si_signo);
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int Become(std::vector<std::string>& command)
{
    execvp(command[0].c_str(), Arguments(command).data());
    return ReportFailure(command[0], errno);
}

int Run(std::vector<std::string>& command)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) {
        sigaddset(&signals, signal);
    }
    sigset_t former;
    sigprocmask(SIG_BLOCK, &signals, &former);
    std::signal(SIGCHLD, SIG_DFL);  // while it is ignored, waiting for a child fails
    pid_t child = -1;
    const int error = Spawn(command, former, child);
    return error != 0 ? ReportFailure(command[0], error) : Wait(child, signals);
}

}  // namespace Launch
