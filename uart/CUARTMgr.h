// The serial test link as the application sees it.
#pragma once

#include <atomic>
#include <string>

#include "common/CEventRoute.h"
#include "common/CFileLogger.h"
#include "common/Export.h"
#include "uart/CUARTReceiver.h"
#include "uart/CUARTSender.h"

namespace UART {

/// The one manager of the process: owns the serial port to the test station, forwards each valid command to the
/// application's host "0x1", answers bad frames with an error frame, and sends the application's replies.
///
/// A command arrives at "0x1" as event EVT_CMD_BASE (10000) + code, text "". Its first parameter points to the command
/// byte, its second to the 26 body bytes (null for CMD_READ_VERSION and CMD_CONFIRM_TEST_MODE), the third is null. The
/// pointers are valid until the application's handler returns. The handler runs on the receive thread and holds up the
/// next frame as long as it works; it answers with `SendPacket`.
///
/// `GetInstance`, `DestroyInstance`, `Open` and `Close` belong to one thread of the application; `Close`, `IsOpen` and
/// `SendPacket` may also be called from a command handler. The application registers its host after `GetInstance`, with
/// `CEventRoute::Register(host, "0x1")`, and keeps it until `DestroyInstance` has returned.
class TESTMODE_API CUARTMgr : public CUARTSender, public CUARTReceiver, public virtual Common::Event::CEventRoute {
public:
    /// The one manager. The first call creates it: `name` is the identity of its log lines, `boardType` goes into every
    /// frame it sends. Later calls ignore the arguments.
    static CUARTMgr* GetInstance(std::string name, char boardType);

    /// Unregisters all hosts, closes the port as `Close` does and destroys the manager; 0, also without one. On the
    /// receive thread it does nothing and returns -1.
    static int DestroyInstance();

    /// Use `GetInstance`.
    CUARTMgr(std::string name, char boardType);
    ~CUARTMgr() override;

    /// Opens a serial port and starts the receive thread. `baud` is 9600, 19200, 38400, 57600 or 115200 bit/s (anything
    /// else stands for 9600), `dataBits` 5 to 8 (else 8), `stopBits` 2 for two (else one), `parity` 1 odd, 2 even (else
    /// none), `flowControl` is RTS/CTS. 0, also when a port is already open (it stays as it is); -1 when the port
    /// cannot be opened or the thread cannot be started. Line settings that the system refuses are not reported.
    int Open(std::string device, int baud, int dataBits, int stopBits, int parity, bool flowControl);

    /// Stops the receive thread, waits until it has ended (a command handler in progress finishes and can still
    /// answer), and closes the port. From a command handler it closes at once. Without an open port it does nothing.
    void Close();

    /// 0 when the port is open, -1 when not: not a boolean.
    int IsOpen();

    /// Sends a frame with the manager's board type, the low 8 bits of `cmd` and `length` data bytes (0 to 4091). 0 when
    /// it was written, -1 when the port is closed, the data does not fit or the write fails. Calls from several threads
    /// must not overlap.
    int SendPacket(unsigned short cmd, const void* data, unsigned short length);

    /// Takes the receiver's events; called by the framework on the receive thread. Always 0. A framework exception or a
    /// std::exception of a command handler is reported as event 1001 to host identifier 0. Any other exception passes
    /// on and ends the receive thread: the port then stays "open" without a thread until `Close`.
    int OnRecvMessage(Ostrel::Event::EventMessage* message) override;

    /// Judges a received frame: forwards a valid command (0), or answers with an error frame (the result of sending
    /// it). -1 for a null message.
    int OnParsing(Ostrel::Event::EventMessage* message);

    /// Answers a receive failure with an error frame and returns the result of sending it; -1 for a null message.
    int OnError(Ostrel::Event::EventMessage* message);

private:
    void Forward(UART_HDR_T& header, unsigned char* body, const UART_COMMAND_T& command);

    static CUARTMgr* m_pInstance;

    Common::Logger::CFileLogger m_logger;
    std::string m_strName;
    std::atomic<int> m_nFd{-1};
    char m_cBoardType;
};

}  // namespace UART
