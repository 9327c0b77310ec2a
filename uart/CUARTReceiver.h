// Receives frames of the serial test link on a thread of its own.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "common/CEventRoute.h"
#include "common/CFileLogger.h"
#include "common/Export.h"
#include "ostrel/Thread.h"
#include "uart/UARTFrame.h"

namespace UART {

class RunMonitor;

/// Waits on a serial port, reads one frame at a time and posts the outcome to the host "0x2".
///
/// | outcome            | event               | text   | first parameter            | second parameter         |
/// |--------------------|---------------------|--------|----------------------------|--------------------------|
/// | frame              | EVT_UART_RECV, 1000 | "RECV" | header, UART_HDR_T*        | body, 26 unsigned chars  |
/// | failure            | EVT_UART_ERR, 1001  | "ERR"  | error code ERR_..., int*   | header, UART_HDR_T*      |
///
/// Only the checksum of a frame is verified. The parameters are valid until the event's delivery returns. They point
/// into buffers that all receivers of the process share, so only one may receive at a time.
///
/// Every read waits 10 ms first, so a frame whose bytes stop arriving for longer than that fails. Frames are dumped to
/// the log and printed on standard output.
class TESTMODE_API CUARTReceiver : public Ostrel::Service::Thread, public virtual Common::Event::CEventRoute {
public:
    /// `name` is the identity of its log lines.
    explicit CUARTReceiver(std::string name);
    /// Stops the thread and waits until it has ended.
    ~CUARTReceiver() override;

    /// Starts the thread on an open, non-blocking descriptor below FD_SETSIZE, which stays the caller's. Waits for an
    /// earlier thread that has been told to stop. 0, or -1 when the thread cannot be started, for a descriptor that
    /// does not fit, and on the receive thread itself. A second `Start` while the thread is running also returns -1,
    /// and ends that thread and with it the link.
    int Start(int fd);

    /// Tells the thread to stop and returns; the thread ends within 300 ms, or after the frame in progress. Always 0.
    /// Any thread.
    int Stop();

    /// The body of the thread, called by the framework; blocks all signals. Returns 0 after `Stop`, when the
    /// descriptor becomes 0 or less, or when waiting on it fails.
    int Run() override;

    /// Reads `count` bytes in chunks of at most 4096, each after a pause of 10 ms. Returns the bytes read (fewer at the
    /// end of the input, 0 for a count below 1), or -1 for a descriptor below 1 or when a read fails, also for want of
    /// data (EAGAIN).
    int ReceiveBytes(int fd, const void* destination, int count);

    /// Reads a frame: 3 bytes to `header`, 26 to `body`, 2 to `tail`. 0, ERR_RECV_HEADER, ERR_RECV_BODY or
    /// ERR_RECV_TAIL for the stage that came short, or -1 for a descriptor below 1.
    int ReceivePacket(int fd, UART_HDR_T* header, UART_TAIL_T* tail, unsigned char* body);

    /// 0 when the XOR of header and 26 body bytes is the tail's checksum, else -1.
    int IsValidChecksum(UART_HDR_T* header, UART_TAIL_T* tail, unsigned char* body);

    /// Does nothing and returns 0: the receiver sends events and receives none.
    int OnRecvMessage(Ostrel::Event::EventMessage* message) override;

protected:
    /// Returns once no `Run` is in progress; at once on the receive thread itself. The destructor of a derived class
    /// calls it after `Stop`: the thread may use the members of that class until it has ended.
    void WaitForEnd();

    /// True on the thread that is executing `Run`.
    bool IsReceiveThread();

private:
    int WaitReadable(int fd);
    void ReceiveFrame(int fd);
    bool ReceiveStage(int fd, void* destination, int count, const char* name);

    static UART_HDR_T s_stRecvHdr;
    static UART_TAIL_T s_stRecvTail;
    static unsigned char s_byRecvBody[UART_BUF_SIZE];
    static int s_nRecvError;

    Common::Logger::CFileLogger m_logger;
    std::atomic<int> m_nFd{-1};
    static_assert(std::atomic<int>::is_always_lock_free);
    const std::unique_ptr<RunMonitor> m_runs;
};

}  // namespace UART
