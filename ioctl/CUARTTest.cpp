// The loopback check of a serial port.
#include "ioctl/CUARTTest.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "common/internal/SerialLine.h"
#include "ioctl/internal/ClassLogger.h"
#include "ioctl/internal/Pause.h"

namespace IOCTL {

namespace {

constexpr const char* TESTED_PORT = "/dev/ttyS1";
constexpr std::size_t BUFFER_SIZE = 1024;
constexpr unsigned char FIRST_BYTE = 0xEE;
constexpr useconds_t READ_PAUSE_US = 10000;
constexpr int MAX_FAILED_READS = 100;

}  // namespace

CUARTTest::CUARTTest() : m_logger(ClassLogger("CUARTTest")) {}

CUARTTest::~CUARTTest() = default;

int CUARTTest::Open(std::string port, int baud, int dataBits, int /*stopBits*/, int /*parity*/, bool /*flowControl*/)
{
    if (m_nFd > 0) {
        return 0;
    }
    m_nFd = open(port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (m_nFd < 0) {
        m_logger.WriteError("[UART] %s Open Error!", port.c_str());
        return -1;
    }
    Common::SetUpSerialLine(m_nFd, baud, dataBits, 0);
    return 0;
}

void CUARTTest::Close()
{
    if (m_nFd > 0) {
        close(m_nFd);
        m_nFd = -1;
    }
}

int CUARTTest::IsOpen()
{
    return m_nFd > 0 ? 0 : -1;
}

int CUARTTest::start()
{
    m_bStop = false;
    return pthread_create(&m_tThread, nullptr, thread_function, this);
}

int CUARTTest::stop()
{
    m_bStop = true;
    return pthread_join(m_tThread, nullptr);
}

// Neither noexcept nor with a catch-all: ending the thread unwinds this function.
void* CUARTTest::thread_function(void* object)
{
    static_cast<CUARTTest*>(object)->Monitor();
    pthread_exit(nullptr);
}

/// Logs what arrives until the thread is told to stop.
void CUARTTest::Monitor()
{
    Common::Logger::CFileLogger logger("CUARTTest-Thread");
    logger.WriteDebug("thread start\n");
    while (!m_bStop) {
        TestRXD(m_ucRxBuf);
        int count = 0;
        do {
            count = ReadBlock(m_ucRxBuf);
            if (count > 0) {
                logger.WriteDebug("TestRXD nBytes = %d\n", count);
                logger.WriteDebug("TestRXD nBytes = [%02X][%02X]\n", m_ucRxBuf[0], m_ucRxBuf[0]);
            }
        } while (count > 0 || (count < 0 && !m_bStop));
    }
}

int CUARTTest::TestTXD(unsigned char* buf)
{
    if (m_nFd < 1) {
        return -1;
    }
    const auto written = static_cast<int>(write(m_nFd, buf, BLOCK_BYTES));
    m_logger.WriteDebug("TestTXD nBytes = %d\n", written);
    return 0;
}

/// Reads up to one block after a pause. Returns the result of `read`.
int CUARTTest::ReadBlock(unsigned char* buf) const
{
    usleep(READ_PAUSE_US);
    return static_cast<int>(read(m_nFd, buf, BLOCK_BYTES));
}

int CUARTTest::TestRXD(unsigned char* buf)
{
    if (m_nFd < 1) {
        return -1;
    }
    int total = 0;
    int failed = 0;
    for (int count = ReadBlock(buf); count != 0; count = ReadBlock(buf)) {
        total += std::max(count, 0);
        failed = count < 0 ? failed + 1 : 0;
        if (failed == MAX_FAILED_READS) {
            m_logger.WriteError("[UART] Read Error!\n");
            return -1;
        }
    }
    m_logger.WriteDebug("TestRXD total = %d\n", total);
    for (int i = 0; i < std::min(total, BLOCK_BYTES); ++i) {
        m_logger.WriteDebug("TestRXD = [%02X]\n", buf[i]);
    }
    return 0;
}

int CUARTTest::TestUART(std::string /*port*/, int /*baud*/, int /*dataBits*/, int /*stopBits*/, int /*parity*/,
                        bool /*flowControl*/, char const* text)
{
    Open(TESTED_PORT, 115200, 8, 1, 0, false);
    unsigned char sent[BUFFER_SIZE] = {FIRST_BYTE};
    unsigned char received[BUFFER_SIZE] = {};
    std::memcpy(sent, text, strnlen(text, BUFFER_SIZE - 1));
    m_logger.WriteDebug("TestTXD = %d\n", TestTXD(sent));
    PauseOneSecond();
    m_logger.WriteDebug("TestRXD = %d\n", TestRXD(received));
    m_logger.WriteDebug("TestRXD data = [%02X]\n", received[0]);
    Close();
    return std::equal(sent, sent + BLOCK_BYTES, received) ? 0 : 3;
}

}  // namespace IOCTL
