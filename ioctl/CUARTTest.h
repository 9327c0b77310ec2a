// The loopback check of a serial port.
#pragma once

#include <atomic>
#include <string>

#include <pthread.h>

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace IOCTL {

/// Checks a serial port: sends 10 bytes and expects them back. Or monitors an open port with a thread of its own.
///
/// For the check, call `TestUART` alone. To monitor, call `Open`, `start`, later `stop`, then `Close`, in this order
/// and before the object is destroyed: the destructor neither stops the thread nor closes the port. One object must not
/// do both at a time. Apart from the monitor thread, one object is used by one thread at a time.
class TESTMODE_API CUARTTest {
public:
    CUARTTest();
    virtual ~CUARTTest();

    /// Opens a port raw, with one stop bit, no parity and no flow control. `baud` is 9600, 19200, 38400, 57600 or
    /// 115200 bit/s (anything else counts as 9600), `dataBits` 5 to 8 (anything else counts as 8); the other settings
    /// are ignored. 0, also when a port is already open, which stays as it is, or -1 when the port cannot be opened
    /// (logged).
    int Open(std::string port, int baud, int dataBits, int stopBits, int parity, bool flowControl);
    /// Closes the port if it is open.
    void Close();
    /// 0 when the port is open, -1 when not: not a boolean.
    int IsOpen();

    /// Starts the monitor thread on the open port: it logs what arrives. The result of pthread_create, 0 on success.
    int start();
    /// After a successful `start`: ends the monitor thread and waits for it. The result of pthread_join.
    int stop();
    /// Body of the monitor thread; `object` is the CUARTTest. Ends the calling thread.
    static void* thread_function(void* object);

    /// Writes the 10 bytes at `buf`, once. 0 however many bytes the write took (logged), or -1 when the port is not
    /// open.
    int TestTXD(unsigned char* buf);

    /// Reads up to 10 bytes every 10 ms, each time to the start of `buf` (10 bytes), until nothing is left. Logs how
    /// many came, and as many bytes of `buf`, at most 10. 0, or -1 when the port is not open or 100 reads in a row
    /// failed (only the latter is logged).
    int TestRXD(unsigned char* buf);

    /// The loopback check of "/dev/ttyS1" at 115200 bit/s with 8 data bits; the first six arguments are ignored. Sends
    /// the first 10 characters of `text` (not null), filled up with zeros (for an empty text, 0xEE and zeros), waits 1
    /// second, reads as `TestRXD` does and compares. 0 when the last read left the bytes that were sent, 3 when not,
    /// also when the port cannot be opened. Closes the port.
    int TestUART(std::string port, int baud, int dataBits, int stopBits, int parity, bool flowControl,
                 char const* text);

private:
    static constexpr int BLOCK_BYTES = 10;

    void Monitor();
    int ReadBlock(unsigned char* buf) const;

    unsigned char m_ucRxBuf[BLOCK_BYTES] = {};
    int m_nFd = -1;
    pthread_t m_tThread = {};
    std::atomic<bool> m_bStop{false};
    static_assert(std::atomic<bool>::is_always_lock_free);
    Common::Logger::CFileLogger m_logger;
};

}  // namespace IOCTL
