// The station's side of the frame format: frames to send, and finding frames among the bytes received.
#pragma once

#include <optional>
#include <string>

#include "apps/station/Types.h"
#include "uart/UARTFrame.h"

namespace Station {

/// Lays out a frame of 31 bytes; `data` of less than 26 bytes is filled up with zeros.
Bytes MakeFrame(unsigned char boardType, unsigned char command, Bytes data);

/// The frame by which a board of this type answers what it cannot accept: command 255, 26 bytes of 0xFF.
Bytes MakeErrorFrame(unsigned char boardType);

/// Tells the error frame from a reply to CMD_CONFIRM_TEST_MODE, which has the same code.
bool IsErrorFrame(const Bytes& frame);

/// "5A 01 FF": two digits per byte, separated by blanks.
std::string Hex(const Bytes& bytes);

/// Finds replies of 31 bytes in a byte stream that may also hold noise and damaged frames.
class FrameScanner {
public:
    /// Waits for the reply of a board of this type to this command; both only help to recognise a damaged one.
    FrameScanner(unsigned char boardType, unsigned char command) : m_boardType(boardType), m_command(command) {}

    void Add(const Bytes& bytes);

    /// Takes the next intact frame: start byte, end byte and checksum are right. What stood before it is noise.
    std::optional<Bytes> Next();

    /// Takes the bytes that were passed over.
    Bytes TakeNoise();
    /// How many there are.
    [[nodiscard]] std::size_t NoiseSize() const { return m_noise.size(); }

    /// Takes all bytes left, noise and the beginning of a frame alike.
    Bytes TakeRest();

    /// True if something passed by that was the expected reply or an error frame but for a few bytes.
    [[nodiscard]] bool SawDamagedReply() const;

private:
    [[nodiscard]] bool IsFrameAt(std::size_t position) const;
    [[nodiscard]] bool ResemblesReplyAt(std::size_t position) const;

    unsigned char m_boardType;
    unsigned char m_command;
    bool m_sawDamaged = false;
    Bytes m_noise;
    Bytes m_pending;
};

}  // namespace Station
