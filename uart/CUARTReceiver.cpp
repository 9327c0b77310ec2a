// Receives frames of the serial test link on a thread of its own.
#include "uart/CUARTReceiver.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <sys/select.h>
#include <unistd.h>

#include "common/internal/OstrelAccess.h"
#include "uart/internal/RunMonitor.h"

namespace UART {

namespace {

constexpr suseconds_t SELECT_TIMEOUT_US = 300000;
constexpr useconds_t READ_PAUSE_US = 10000;

/// True for a descriptor that an fd_set can hold; FD_ISSET of any other is undefined.
bool FitsSelect(int fd)
{
    return fd >= 0 && fd < FD_SETSIZE;
}

/// Keeps the application's signal handlers off this thread: one that interrupts `select` would end the link.
void BlockSignals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

/// Stops the receiver when its `Run` ends, also by an exception.
struct StopAtEnd {
    CUARTReceiver& receiver;
    ~StopAtEnd() { receiver.Stop(); }
};

void PrintBytes(const void* bytes, int count)
{
    const auto* const data = static_cast<const unsigned char*>(bytes);
    std::for_each(data, data + count, [](unsigned char byte) { std::printf("%02X ", byte); });
}

void PrintFrame(const UART_HDR_T& header, const unsigned char* body, const UART_TAIL_T& tail)
{
    std::printf("[%s] HEADER : ", "ReceivePacket");
    PrintBytes(&header, UART_HDR_LEN);
    std::printf("\n[%s] BODY : ", "ReceivePacket");
    PrintBytes(body, UART_BODY_LEN);
    std::printf("\n[%s] TAIL : ", "ReceivePacket");
    PrintBytes(&tail, UART_TAIL_LEN);
    std::printf("\n");
}

}  // namespace

UART_HDR_T CUARTReceiver::s_stRecvHdr = {};
UART_TAIL_T CUARTReceiver::s_stRecvTail = {};
unsigned char CUARTReceiver::s_byRecvBody[UART_BUF_SIZE] = {};
int CUARTReceiver::s_nRecvError = 0;

CUARTReceiver::CUARTReceiver(std::string name) : CEventRoute(name), m_logger(""), m_runs(std::make_unique<RunMonitor>())
{
    m_logger.SetIdentity(name);
}

CUARTReceiver::~CUARTReceiver()
{
    Stop();
    WaitForEnd();
}

int CUARTReceiver::Start(int fd)
{
    if (!FitsSelect(fd)) {
        m_logger.WriteError("[%s::%s] Descriptor Error [%d] \n", "CUARTReceiver", "Start", fd);
        return -1;
    }
    if (IsReceiveThread()) {
        m_logger.WriteError("[%s::%s] Called on the receive thread \n", "CUARTReceiver", "Start");
        return -1;
    }
    if (Common::OstrelAccess::IsStop(*this)) {
        WaitForEnd();
    }
    m_runs->Announce();
    m_nFd = fd;
    if (Thread::Start() == 0) {
        m_nFd = -1;
        m_runs->Withdraw();
        return -1;
    }
    return 0;
}

int CUARTReceiver::Stop()
{
    if (!Common::OstrelAccess::IsStop(*this)) {
        Thread::Stop(false);
        m_nFd = -1;
    }
    return 0;
}

int CUARTReceiver::Run()
{
    const RunMonitor::Scope scope(*m_runs);  // its end tells the waiting thread that this object may be destroyed
    const StopAtEnd stop{*this};
    BlockSignals();
    s_stRecvHdr = {};
    s_stRecvTail = {};
    std::memset(s_byRecvBody, 0, sizeof s_byRecvBody);

    for (int fd = m_nFd; fd > 0; fd = m_nFd) {
        s_nRecvError = 0;
        const int readable = WaitReadable(fd);
        if (readable < 0) {
            m_logger.WriteError("[%s::%s] Select Error \n", "CUARTReceiver", "Run");
            return 0;
        }
        if (readable > 0) {
            ReceiveFrame(readable);
        }
    }
    return 0;
}

/// Waits for input at `fd`, which fits an fd_set. Returns the descriptor to read from, 0 after a timeout, -1 when
/// waiting fails.
int CUARTReceiver::WaitReadable(int fd)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval timeout = {0, SELECT_TIMEOUT_US};
    const int ready = select(fd + 1, &readable, nullptr, nullptr, &timeout);
    if (ready <= 0) {
        return ready;
    }
    const int current = m_nFd;  // Stop may have reset it meanwhile
    return FitsSelect(current) && FD_ISSET(current, &readable) ? current : 0;
}

/// Reads one frame and posts the outcome.
void CUARTReceiver::ReceiveFrame(int fd)
{
    s_nRecvError = ReceivePacket(fd, &s_stRecvHdr, &s_stRecvTail, s_byRecvBody);
    if (s_nRecvError != 0) {
        m_logger.WriteDebug("[%s::%s] HDR, BODY, TAIL Error [0x%x]. \n", "CUARTReceiver", "Run",
                            static_cast<unsigned int>(s_nRecvError));
    } else if (IsValidChecksum(&s_stRecvHdr, &s_stRecvTail, s_byRecvBody) != 0) {
        s_nRecvError = ERR_CHECKSUM;
        m_logger.WriteDebug("[%s::%s] CHECKSUM Error. \n", "CUARTReceiver", "Run");
    }
    if (s_nRecvError != 0) {
        SendMessage(FindHostID("0x2"), EVT_UART_ERR, "ERR", &s_nRecvError, &s_stRecvHdr, nullptr);
    } else {
        SendMessage(FindHostID("0x2"), EVT_UART_RECV, "RECV", &s_stRecvHdr, s_byRecvBody, nullptr);
    }
}

int CUARTReceiver::ReceiveBytes(int fd, const void* destination, int count)
{
    if (fd < 1) {
        return -1;
    }
    auto* const bytes = static_cast<unsigned char*>(const_cast<void*>(destination));
    int received = 0;
    while (received < count) {
        usleep(READ_PAUSE_US);
        const int chunk = std::min(count - received, UART_BUF_SIZE);
        const auto result = static_cast<int>(read(fd, bytes + received, static_cast<std::size_t>(chunk)));
        if (result < 0) {
            return result;
        }
        if (result == 0) {
            break;
        }
        received += result;
    }
    return received;
}

int CUARTReceiver::ReceivePacket(int fd, UART_HDR_T* header, UART_TAIL_T* tail, unsigned char* body)
{
    if (fd < 1) {
        return -1;
    }
    if (!ReceiveStage(fd, header, UART_HDR_LEN, "RECV HEAD : ")) {
        m_logger.WriteError("[%s::%s] Receive Header Error \n", "CUARTReceiver", "ReceivePacket");
        return ERR_RECV_HEADER;
    }
    if (!ReceiveStage(fd, body, UART_BODY_LEN, "RECV BODY : ")) {
        m_logger.WriteError("[%s::%s] Receive Body Error \n", "CUARTReceiver", "ReceivePacket");
        return ERR_RECV_BODY;
    }
    if (!ReceiveStage(fd, tail, UART_TAIL_LEN, "RECV TAIL : ")) {
        m_logger.WriteError("[%s::%s] Receive Tail Error \n", "CUARTReceiver", "ReceivePacket");
        return ERR_RECV_TAIL;
    }
    PrintFrame(*header, body, *tail);
    return 0;
}

/// Reads one part of a frame and dumps it; false when it comes short.
bool CUARTReceiver::ReceiveStage(int fd, void* destination, int count, const char* name)
{
    if (ReceiveBytes(fd, destination, count) < count) {
        return false;
    }
    char title[512] = {};
    std::snprintf(title, sizeof title, "[%s::%s] =====> %s", "CUARTReceiver", "ReceivePacket", name);
    m_logger.WriteInfo(destination, count, title);
    return true;
}

int CUARTReceiver::IsValidChecksum(UART_HDR_T* header, UART_TAIL_T* tail, unsigned char* body)
{
    unsigned char covered[UART_HDR_LEN + UART_BODY_LEN];
    std::memcpy(covered, header, UART_HDR_LEN);
    std::memcpy(covered + UART_HDR_LEN, body, UART_BODY_LEN);
    const unsigned char computed = Common::Convertor::CChecksum::Checksum8(covered, sizeof covered);
    if (computed == tail->cksum) {
        return 0;
    }
    m_logger.WriteError("[%s::%s] Checksum Invalid. cksum[0x%x], tail_cksum[0x%x] \n", "CUARTReceiver",
                        "IsValidChecksum", computed, tail->cksum);
    return -1;
}

int CUARTReceiver::OnRecvMessage(Ostrel::Event::EventMessage* /*message*/)
{
    return 0;
}

void CUARTReceiver::WaitForEnd()
{
    m_runs->WaitForEnd();
}

bool CUARTReceiver::IsReceiveThread()
{
    return m_runs->IsInside();
}

}  // namespace UART
