// The serial test link as the application sees it.
#include "uart/CUARTMgr.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "common/internal/OstrelAccess.h"
#include "common/internal/SerialLine.h"
#include "ostrel/EventHandler.h"
#include "ostrel/EventMessage.h"
#include "ostrel/Exception.h"

namespace UART {

namespace {

namespace OstrelAccess = Common::OstrelAccess;

constexpr unsigned char ERROR_BYTE = 0xFF;

tcflag_t ControlFlags(int stopBits, int parity, bool flowControl)
{
    tcflag_t flags = CLOCAL;
    if (stopBits == 2) {
        flags |= CSTOPB;
    }
    if (parity == 1) {
        flags |= PARENB | PARODD;
    } else if (parity == 2) {
        flags |= PARENB;
    }
    if (flowControl) {
        flags |= CRTSCTS;
    }
    return flags;
}

/// Reports an exception of a command handler to the event bus.
void ReportException(Ostrel::Event::EventHandler& handler, const char* what)
{
    Ostrel::Event::EventMessage report;
    OstrelAccess::Address(report, 0, EVT_UART_ERR, what);
    handler.SendEventMsg(&report);
}

}  // namespace

CUARTMgr* CUARTMgr::m_pInstance = nullptr;

CUARTMgr* CUARTMgr::GetInstance(std::string name, char boardType)
{
    if (m_pInstance == nullptr) {
        m_pInstance = new CUARTMgr(name, boardType);
        Register(m_pInstance, "0x2");
    }
    return m_pInstance;
}

int CUARTMgr::DestroyInstance()
{
    if (m_pInstance == nullptr) {
        return 0;
    }
    if (m_pInstance->IsReceiveThread()) {
        m_pInstance->m_logger.WriteError("[%s::%s] Called on the receive thread \n", "CUARTMgr", "DestroyInstance");
        return -1;
    }
    UnRegister();
    delete m_pInstance;
    m_pInstance = nullptr;
    return 0;
}

CUARTMgr::CUARTMgr(std::string name, char boardType)
    : CEventRoute(name), CUARTSender(name), CUARTReceiver(name), m_logger(""), m_strName(name), m_cBoardType(boardType)
{
    m_logger.SetIdentity(name);
    m_logger.WriteDebug("[%s::%s] UART Manager Start. \n", "CUARTMgr", "CUARTMgr");
}

CUARTMgr::~CUARTMgr()
{
    if (IsOpen() == 0) {
        Close();
        m_logger.WriteDebug("[%s::%s] Close Port \n", "CUARTMgr", "~CUARTMgr");
    }
    // The thread may still be on its way out after a Close in a command handler.
    CUARTReceiver::Stop();
    WaitForEnd();
}

int CUARTMgr::Open(std::string device, int baud, int dataBits, int stopBits, int parity, bool flowControl)
{
    if (IsOpen() == 0) {
        return 0;
    }
    m_nFd = -1;
    const int fd = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        return -1;
    }
    m_nFd = fd;
    Common::SetUpSerialLine(fd, baud, dataBits, ControlFlags(stopBits, parity, flowControl));
    if (m_nFd < 0) {
        m_logger.WriteError("[%s::%s] UART file descriptor Error \n", "CUARTMgr", "Open");
        return -1;
    }
    if (Start(fd) != 0) {
        Close();
        return -1;
    }
    m_logger.WriteDebug("[%s::%s] Start Receive Thread \n", "CUARTMgr", "Open");
    m_logger.WriteDebug("[%s::%s] Open Success [%s] \n", "CUARTMgr", "Open", device.c_str());
    return 0;
}

void CUARTMgr::Close()
{
    if (m_nFd >= 0) {
        CUARTReceiver::Stop();
        WaitForEnd();
    }
    if (IsOpen() != 0) {
        return;
    }
    const int fd = m_nFd.exchange(-1);
    if (fd > 0) {
        close(fd);
        m_logger.WriteDebug("[%s::%s] Port Close \n", "CUARTMgr", "Close");
    }
}

int CUARTMgr::IsOpen()
{
    const bool isOpen = m_nFd > 0;
    if (OstrelAccess::IsTrace(*this)) {
        m_logger.WriteDebug("[%s::%s] Port Status = %s \n", "CUARTMgr", "IsOpen", isOpen ? "Open" : "Close");
    }
    return isOpen ? 0 : -1;
}

int CUARTMgr::SendPacket(unsigned short cmd, const void* data, unsigned short length)
{
    const int fd = m_nFd;
    const auto boardType = static_cast<unsigned char>(m_cBoardType);
    if (fd < 0) {
        m_logger.WriteDebug("[%s::%s] UART file descriptor Error [%d] \n", "CUARTMgr", "SendPacket", fd);
        return -1;
    }
    m_logger.WriteDebug("[%s::%s] Type[0x%x], Cmd[0x%x], Datelen[%d] \n", "CUARTMgr", "SendPacket", boardType, cmd,
                        length);
    return CUARTSender::SendPacket(fd, boardType, static_cast<unsigned char>(cmd), data, length);
}

int CUARTMgr::OnRecvMessage(Ostrel::Event::EventMessage* message)
{
    Ostrel::Event::EventHandler* const handler = Ostrel::Event::EventHandler::getInstance();
    try {
        switch (message == nullptr ? 0 : OstrelAccess::EventId(*message)) {
        case EVT_UART_RECV:
            OnParsing(message);
            break;
        case EVT_UART_ERR:
            OnError(message);
            break;
        default:
            break;
        }
    } catch (const Ostrel::Common::Exception* exception) {  // the framework owns it
        // A fixed text, although nothing here is a web server.
        std::printf("[WebServer::Run] Exception: [%s]\n", exception->GetMessage());
        std::fflush(stdout);
        ReportException(*handler, exception->GetMessage());
    } catch (const std::exception& exception) {
        ReportException(*handler, exception.what());
    }
    return 0;
}

int CUARTMgr::OnParsing(Ostrel::Event::EventMessage* message)
{
    m_logger.WriteDebug("[%s::%s] OnParsing \n", "CUARTMgr", "OnParsing");
    if (message == nullptr) {
        m_logger.WriteError("[%s::%s] Message NULL \n", "CUARTMgr", "OnParsing");
        return -1;
    }
    auto* const header = static_cast<UART_HDR_T*>(OstrelAccess::Param1(*message));
    auto* const body = static_cast<unsigned char*>(OstrelAccess::Param2(*message));
    const UART_COMMAND_T* const command = FindCommand(header->cmd);
    if (!IsBoardType(header->type)) {
        m_logger.WriteError("[%s::%s] BOARD_TYPE Error [0x%x] \n", "CUARTMgr", "OnParsing",
                            static_cast<unsigned int>(ERR_BOARD_TYPE));
    } else if (command == nullptr) {
        m_logger.WriteError("[%s::%s] COMMAND Error [0x%x] \n", "CUARTMgr", "OnParsing",
                            static_cast<unsigned int>(ERR_COMMAND));
    } else {
        Forward(*header, body, *command);
        return 0;
    }
    std::fill_n(body, UART_BODY_LEN, ERROR_BYTE);
    return SendPacket(CMD_ERROR, body, UART_BODY_LEN);
}

/// Posts a valid command to the application's host.
void CUARTMgr::Forward(UART_HDR_T& header, unsigned char* body, const UART_COMMAND_T& command)
{
    char title[64];
    std::snprintf(title, sizeof title, "%s : ", command.name);
    m_logger.WriteInfo(body, UART_BODY_LEN, title);
    const bool hasBody = command.code != CMD_READ_VERSION && command.code != CMD_CONFIRM_TEST_MODE;
    SendMessage(FindHostID("0x1"), EVT_CMD_BASE + command.code, "", &header.cmd, hasBody ? body : nullptr, nullptr);
}

int CUARTMgr::OnError(Ostrel::Event::EventMessage* message)
{
    if (message == nullptr) {
        m_logger.WriteError("[%s::%s] Message NULL \n", "CUARTMgr", "OnError");
        return -1;
    }
    unsigned char body[UART_BODY_LEN];
    std::fill_n(body, UART_BODY_LEN, ERROR_BYTE);
    return SendPacket(CMD_ERROR, body, UART_BODY_LEN);
}

}  // namespace UART
