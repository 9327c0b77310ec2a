// The entry points of libc that tests take over themselves.
#include "tests/ioctl/Board.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Support {

namespace {

std::atomic<Steps*> g_steps;
Answer g_answer;

template <class Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void Board::SetAnswer(Answer answer)
{
    g_answer = std::move(answer);
}

Steps::Steps()
{
    g_steps = this;
}

Steps::~Steps()
{
    g_steps = nullptr;
}

Texts Steps::Taken() const
{
    Texts texts;
    auto pause = m_pauses.begin();
    const std::vector<Sim::Call> calls = m_recording.Calls();
    for (std::size_t i = 0; i <= calls.size(); ++i) {
        for (; pause != m_pauses.end() && pause->first == i; ++pause) {
            texts.push_back(pause->second);
        }
        if (i < calls.size()) {
            texts.push_back(calls[i].name + (calls[i].path.empty() ? "" : " " + calls[i].path) + " " +
                            std::to_string(calls[i].argument));
        }
    }
    return texts;
}

unsigned int Steps::Pause(const char* name, unsigned int duration)
{
    m_pauses.emplace_back(m_recording.Calls().size(), name + (" " + std::to_string(duration)));
    if (std::exchange(m_isCut, false)) {
        errno = EINTR;
    }
    return 0;
}

}  // namespace Support

extern "C" __attribute__((visibility("default"))) unsigned int sleep(unsigned int seconds)
{
    static auto* const next = Support::Next<unsigned int(unsigned int)>("sleep");
    Support::Steps* const steps = Support::g_steps;
    return steps != nullptr ? steps->Pause("sleep", seconds) : next(seconds);
}

extern "C" __attribute__((visibility("default"))) int usleep(useconds_t microseconds)
{
    static auto* const next = Support::Next<int(useconds_t)>("usleep");
    Support::Steps* const steps = Support::g_steps;
    return steps != nullptr ? static_cast<int>(steps->Pause("usleep", microseconds)) : next(microseconds);
}

extern "C" __attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept
{
    static auto* const next = Support::Next<int(int, unsigned long, ...)>("ioctl");
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const std::optional<int> answer = Support::g_answer ? Support::g_answer(request, argument) : std::nullopt;
    return answer ? *answer : next(fd, request, argument);
}
