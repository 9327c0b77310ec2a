// The signals that end the test application.
#include "apps/testapp/EndSignals.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

#include <sys/eventfd.h>

namespace TestApp {

namespace {

/// Ends the application when it has not ended by itself soon after a signal: a check in progress may be waiting for a
/// person.
void EndSoon(const sigset_t& signals, int arrived)
{
    int signal = 0;
    sigwait(&signals, &signal);
    std::printf("testapp: ended by %s\n", strsignal(signal));
    eventfd_write(arrived, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::fputs("testapp: a check is still in progress, ending without it\n", stderr);
    std::quick_exit(EXIT_SUCCESS);
}

}  // namespace

int WatchEndSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int arrived = eventfd(0, EFD_CLOEXEC);
    if (arrived < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    std::thread([signals, arrived] { EndSoon(signals, arrived); }).detach();
    return arrived;
}

}  // namespace TestApp
