// The test station's program: takes signals and errors, and starts what was typed.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "apps/station/commands/Commands.h"

namespace {

using namespace Station;

std::atomic<bool> g_stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

/// Puts /dev/null where standard input, output or error is closed: the port would take its place, and what is printed
/// would go to the board.
void FillStandardStreams()
{
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
    close(fd);
}

void IgnoreClosedPipes()
{
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);  // a reader of our output that ends must not cost the record
}

/// Lets an interrupted run end in good order, with its records written.
void CatchSignals()
{
    struct sigaction stop = {};
    stop.sa_handler = [](int) { g_stop = true; };
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction previous = {};
        sigaction(number, nullptr, &previous);
        const bool keepIgnored = number == SIGHUP && previous.sa_handler == SIG_IGN;  // started by nohup
        if (!keepIgnored) {
            sigaction(number, &stop, nullptr);
        }
    }
}

int Start(int argc, char** argv)
{
    const Options options = ParseOptions(argc, argv);
    IgnoreClosedPipes();
    if (!options.MayEndAnywhere()) {
        CatchSignals();
    }
    switch (options.action) {
    case Options::Action::Plan:
        return ShowPlan(options);
    case Options::Action::Backup:
        return Backup(options);
    case Options::Action::History:
        return ShowHistory(options);
    case Options::Action::Prune:
        return Prune(options);
    case Options::Action::Show:
        return ShowRun(options);
    case Options::Action::Yield:
        return ShowYield(options);
    case Options::Action::Line:
        return Line(options, g_stop);
    case Options::Action::Serve:
        return Serve(options, g_stop);
    case Options::Action::Send:
        return Send(options, g_stop);
    case Options::Action::Forward:
        return Forward(options, g_stop);
    default:
        return Test(options, g_stop);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        FillStandardStreams();
        return Start(argc, argv);
    } catch (const EndNow& end) {
        return end.exitCode;
    } catch (const PlanError& error) {
        std::cerr << error.what() << '\n';
        return COULD_NOT_RUN;
    } catch (const std::exception& error) {
        std::cerr << "station: " << error.what() << '\n';
        return COULD_NOT_RUN;
    }
}
