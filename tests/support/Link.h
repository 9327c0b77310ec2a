// What tests of the serial test link share: frames, hosts that keep what they receive, and a manager with its port.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/EventHostGeneric.h"
#include "ostrel/EventMessage.h"
#include "tests/support/Log.h"
#include "tests/support/Pty.h"
#include "uart/CUARTMgr.h"

namespace Support {

/// A frame as the station sends it; `body` is filled up to 26 bytes with zeros.
inline Bytes Frame(unsigned char type, unsigned char cmd, Bytes body = {})
{
    body.resize(UART::UART_BODY_LEN);
    Bytes frame(UART::UART_FRAME_LEN, 0);
    UART::BuildFrame(frame.data(), type, cmd, body.data(), UART::UART_BODY_LEN);
    return frame;
}

/// The board's answer to a bad frame.
inline Bytes ErrorFrame(unsigned char type)
{
    return Frame(type, UART::CMD_ERROR, Bytes(UART::UART_BODY_LEN, 0xFF));
}

/// A message, with a copy of the data that its pointers point to.
struct Event {
    int id;
    std::string text;
    Bytes header;  // of event 1000 and 1001; of a command its code
    Bytes body;    // empty when there is none
    int error;     // of event 1001
};

inline bool operator==(const Event& a, const Event& b)
{
    return a.id == b.id && a.text == b.text && a.header == b.header && a.body == b.body && a.error == b.error;
}

inline Event Copy(const Ostrel::Event::EventMessage& message)
{
    const auto bytes = [](const void* data, std::size_t size) {
        return data == nullptr ? Bytes() : Bytes(static_cast<const unsigned char*>(data), size);
    };
    const int id = message.GetEventID();
    const bool isError = id == UART::EVT_UART_ERR;
    const std::size_t headSize = id >= UART::EVT_CMD_BASE ? 1 : UART::UART_HDR_LEN;
    return {id, message.GetText(), bytes(isError ? message.GetParam2() : message.GetParam1(), headSize),
            isError ? Bytes() : bytes(message.GetParam2(), UART::UART_BODY_LEN),
            isError ? *static_cast<int*>(message.GetParam1()) : 0};
}

/// A host that keeps what it receives.
class KeepingHost : public Ostrel::Event::EventHostGeneric {
public:
    using Handler = std::function<void(const Ostrel::Event::EventMessage&)>;

    KeepingHost() : EventHostGeneric("keeping") {}

    /// What to do with each message besides keeping it.
    void Handle(Handler handler)
    {
        const std::lock_guard lock(m_mutex);
        m_handler = std::move(handler);
    }
    int OnRecvMessage(Ostrel::Event::EventMessage* message) override
    {
        Handler handler;
        {
            const std::lock_guard lock(m_mutex);
            m_events.push_back(Copy(*message));
            handler = m_handler;
        }
        if (handler) {
            handler(*message);
        }
        return 0;
    }

    std::vector<Event> Take()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_events, {});
    }
    std::size_t Count()
    {
        const std::lock_guard lock(m_mutex);
        return m_events.size();
    }

private:
    std::mutex m_mutex;
    std::vector<Event> m_events;
    Handler m_handler;
};

/// Long enough to be allocated on the heap: the log shows when a destroyed manager still writes.
inline const std::string NAME = "the manager of the tests";
/// A type that does not fit a signed char.
inline constexpr unsigned char BOARD_TYPE = 200;

/// A manager with the application's host, and a pseudo-terminal to open.
class ManagerTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::thread([] {}).join();  // ThreadSanitizer starts a thread of its own with the process's first
        Sim::Reset();
        Create();
    }
    void TearDown() override { UART::CUARTMgr::DestroyInstance(); }

    void Create()
    {
        m_manager = UART::CUARTMgr::GetInstance(NAME, static_cast<char>(BOARD_TYPE));
        ASSERT_EQ(Common::Event::CEventRoute::Register(&m_application, "0x1"), 0);
    }
    int Open() { return Open(m_pty.Path()); }
    int Open(const std::string& path) { return m_manager->Open(path, 115200, 8, 1, 0, false); }

    Pty m_pty;
    KeepingHost m_application;
    UART::CUARTMgr* m_manager = nullptr;
};

}  // namespace Support
