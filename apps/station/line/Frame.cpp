// The station's side of the frame format: frames to send, and finding frames among the bytes received.
#include "apps/station/line/Frame.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Station {

namespace {

constexpr std::size_t FRAME_LEN = UART::UART_FRAME_LEN;
constexpr unsigned char ERROR_FILL = 0xFF;

}  // namespace

Bytes MakeFrame(unsigned char boardType, unsigned char command, Bytes data)
{
    data.resize(UART::UART_BODY_LEN);
    Bytes frame(FRAME_LEN);
    UART::BuildFrame(frame.data(), boardType, command, data.data(), UART::UART_BODY_LEN);
    return frame;
}

Bytes MakeErrorFrame(unsigned char boardType)
{
    return MakeFrame(boardType, UART::CMD_CONFIRM_TEST_MODE, Bytes(UART::UART_BODY_LEN, ERROR_FILL));
}

bool IsErrorFrame(const Bytes& frame)
{
    return frame == MakeErrorFrame(frame[1]);
}

std::string Hex(const Bytes& bytes)
{
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += text.empty() ? "" : " ";
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0x0F];
    }
    return text;
}

void FrameScanner::Add(const Bytes& bytes)
{
    m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());
}

std::optional<Bytes> FrameScanner::Next()
{
    std::optional<Bytes> frame;
    std::size_t passed = 0;
    while (!frame && passed + FRAME_LEN <= m_pending.size()) {
        const auto start = m_pending.begin() + static_cast<std::ptrdiff_t>(passed);
        if (IsFrameAt(passed)) {
            frame.emplace(start, start + FRAME_LEN);
        } else {
            m_sawDamaged = m_sawDamaged || ResemblesReplyAt(passed);
            ++passed;
        }
    }
    const auto end = m_pending.begin() + static_cast<std::ptrdiff_t>(passed);
    m_noise.insert(m_noise.end(), m_pending.begin(), end);
    m_pending.erase(m_pending.begin(), end + static_cast<std::ptrdiff_t>(frame ? FRAME_LEN : 0));
    return frame;
}

Bytes FrameScanner::TakeNoise()
{
    return std::exchange(m_noise, {});
}

Bytes FrameScanner::TakeRest()
{
    Bytes rest = TakeNoise();
    rest.insert(rest.end(), m_pending.begin(), m_pending.end());
    m_pending.clear();
    return rest;
}

bool FrameScanner::SawDamagedReply() const
{
    bool damaged = m_sawDamaged;
    for (std::size_t position = 0; !damaged && position < m_pending.size(); ++position) {
        damaged = ResemblesReplyAt(position);
    }
    return damaged;
}

bool FrameScanner::IsFrameAt(std::size_t position) const
{
    constexpr unsigned int COVERED = UART::UART_HDR_LEN + UART::UART_BODY_LEN;
    const unsigned char* frame = m_pending.data() + position;
    return frame[0] == UART::UART_START_BYTE && frame[FRAME_LEN - 1] == UART::UART_END_BYTE &&
           frame[COVERED] == Common::Convertor::CChecksum::Checksum8(frame, COVERED);
}

/// Three of the four bytes that are known in advance: then one byte may be wrong anywhere, or the frame be cut short.
bool FrameScanner::ResemblesReplyAt(std::size_t position) const
{
    const auto holds = [this, position](std::size_t offset, unsigned char value) {
        return position + offset < m_pending.size() && m_pending[position + offset] == value;
    };
    const bool known[] = {holds(0, UART::UART_START_BYTE), holds(1, m_boardType),
                          holds(2, m_command) || holds(2, UART::CMD_CONFIRM_TEST_MODE),
                          holds(FRAME_LEN - 1, UART::UART_END_BYTE)};
    return std::count(std::begin(known), std::end(known), true) >= 3;
}

}  // namespace Station
