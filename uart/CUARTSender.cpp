// Writes frames of the serial test link.
#include "uart/CUARTSender.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "uart/UARTFrame.h"

namespace UART {

namespace {

constexpr int MAX_ATTEMPTS = 50;
constexpr int ATTEMPT_WAIT_MS = 100;

void WaitWritable(int fd)
{
    pollfd port = {fd, POLLOUT, 0};
    poll(&port, 1, ATTEMPT_WAIT_MS);
}

}  // namespace

CUARTSender::CUARTSender(std::string name) : m_logger("")
{
    m_logger.SetIdentity(name);
}

CUARTSender::~CUARTSender() = default;

int CUARTSender::SendBytes(int fd, const void* bytes, int count)
{
    if (fd < 1) {
        return -1;
    }
    const auto* const data = static_cast<const unsigned char*>(bytes);
    int offset = 0;
    int attempts = 0;
    while (offset < count) {
        const int chunk = std::min(count - offset, UART_BUF_SIZE);
        const auto result = static_cast<int>(write(fd, data + offset, static_cast<std::size_t>(chunk)));
        if (result > 0) {
            offset += result;
            attempts = 0;
            continue;
        }
        if (result == 0 || errno != EAGAIN) {
            return result;
        }
        m_logger.WriteError("[%s::%s] EAGAIN write[%d], offset[%d] \n", "CUARTSender", "SendBytes", result, offset);
        if (++attempts == MAX_ATTEMPTS) {
            m_logger.WriteError("[%s::%s] Port stays full, offset[%d] \n", "CUARTSender", "SendBytes", offset);
            return result;
        }
        WaitWritable(fd);
    }
    return offset;
}

int CUARTSender::SendPacket(int fd, unsigned char type, unsigned char cmd, const void* data, unsigned short length)
{
    if (fd < 1) {
        return -1;
    }
    if (length > UART_MAX_DATA_LEN || (data == nullptr && length > 0)) {
        m_logger.WriteError("[%s::%s] Data Error, length[%d] \n", "CUARTSender", "SendPacket", length);
        return -1;
    }
    unsigned char frame[UART_BUF_SIZE] = {};
    const int size = BuildFrame(frame, type, cmd, data, length);
    m_logger.WriteInfo(frame, size, "Send Packet : ");
    if (SendBytes(fd, frame, size) != size) {
        m_logger.WriteError("[%s::%s] error sending packet \n", "CUARTSender", "SendPacket");
        return -1;
    }
    return 0;
}

}  // namespace UART
