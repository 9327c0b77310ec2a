// The framework's thread.
#include "ostrel/Thread.h"

#include <cstdio>
#include <exception>
#include <system_error>

#include <cxxabi.h>

#include "ostrel/Exception.h"

namespace Ostrel::Service {

namespace {

void Report(const char* what)
{
    std::fprintf(stderr, "[Ostrel::Thread] ended by an exception: %s\n", what);
}

void RunGuarded(Thread& thread)
{
    try {
        thread.Run();
    } catch (abi::__forced_unwind&) {
        throw;  // the thread is being cancelled or ends itself
    } catch (const Common::Exception* exception) {
        Report(exception->GetMessage());
    } catch (const std::exception& exception) {
        Report(exception.what());
    } catch (...) {
        Report("of unknown type");
    }
}

}  // namespace

Thread::Thread() : m_stop(std::make_shared<std::atomic<bool>>(false)) {}

Thread::~Thread()
{
    if (m_thread.joinable()) {
        m_thread.detach();
    }
}

int Thread::Start()
{
    if (m_thread.joinable()) {
        if (!*m_stop) {
            return 0;
        }
        m_thread.join();
    }
    *m_stop = false;
    try {
        m_thread = std::thread([this, stop = m_stop] {
            struct AtEnd {
                std::atomic<bool>& stop;
                ~AtEnd() { stop = true; }
            } const atEnd{*stop};
            RunGuarded(*this);
        });
    } catch (const std::system_error&) {
        *m_stop = true;
        return 0;
    }
    return 1;
}

void Thread::Stop(bool wait)
{
    *m_stop = true;
    if (wait && m_thread.joinable()) {
        m_thread.join();
    }
}

}  // namespace Ostrel::Service
