// Writes frames of the serial test link.
#pragma once

#include <string>

#include "common/CFileLogger.h"
#include "common/Export.h"

namespace UART {

/// Frames data and writes it to a serial port that the caller owns.
///
/// Keeps no state between calls and takes no lock: frames sent from several threads at once to one port may mix.
class TESTMODE_API CUARTSender {
public:
    /// `name` is the identity of its log lines.
    explicit CUARTSender(std::string name);
    virtual ~CUARTSender();

    /// Writes `count` bytes in chunks of at most 4096, going on after short writes. A full port (EAGAIN) is logged and
    /// waited for, at most 100 ms an attempt and 50 attempts in a row without progress.
    /// Returns `count`, 0 for a count below 1 or when a write takes nothing, and -1 for a descriptor below 1 or when a
    /// write fails (`errno` tells why). Bytes already written stay written.
    int SendBytes(int fd, const void* bytes, int count);

    /// Frames `length` data bytes (0 to 4091; `data` may be null for 0), logs the frame and writes it.
    /// Returns 0 when the whole frame was written; -1 for a descriptor below 1 (not logged), for more data than fits a
    /// frame or null data with a length (nothing is written), and when the write fails.
    int SendPacket(int fd, unsigned char type, unsigned char cmd, const void* data, unsigned short length);

private:
    Common::Logger::CFileLogger m_logger;
};

}  // namespace UART
