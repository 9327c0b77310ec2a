// What is typed, key by key.
#include "apps/station/terminal/Keyboard.h"

#include <array>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace Station {

namespace {

constexpr char ESCAPE = 0x1B;
constexpr char DELETE = 0x7F;
constexpr char CTRL_D = 0x04;
constexpr int ESCAPE_WAIT_MS = 50;  // a terminal sends Alt and the key at once, a person does not

/// Adds what comes in time to `bytes`; false when nothing will ever come again.
bool Read(std::string& bytes, int waitMs)
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, waitMs) <= 0) {
        return true;
    }
    std::array<char, 4096> chunk{};
    const ssize_t count = read(STDIN_FILENO, chunk.data(), chunk.size());
    bytes.append(chunk.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

/// Behind ESC [ or ESC O: the place of the sequence's last byte.
std::size_t EndOfSequence(const std::string& bytes, std::size_t at)
{
    const bool isLong = bytes[at] == '[';
    do {
        ++at;
    } while (isLong && at < bytes.size() && (bytes[at] < '@' || bytes[at] > '~'));
    return at;
}

Key Plain(char byte)
{
    switch (byte) {
    case '\n':
    case '\r':
        return {Key::Kind::Enter};
    case '\b':
    case DELETE:
        return {Key::Kind::Backspace};
    case CTRL_D:
        return {Key::Kind::End};
    default:
        return {Key::Kind::Character, byte};
    }
}

}  // namespace

Keyboard::Keyboard(bool takesKeys)
{
    termios settings = {};
    if (!takesKeys || tcgetattr(STDIN_FILENO, &settings) != 0) {
        return;
    }
    m_former = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings);
}

Keyboard::~Keyboard()
{
    if (m_former) {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &*m_former);
    }
}

std::vector<Key> Keyboard::Take() const
{
    std::string bytes;
    bool isOpen = Read(bytes, 0);
    if (m_former && !bytes.empty() && bytes.back() == ESCAPE) {
        isOpen = Read(bytes, ESCAPE_WAIT_MS);
    }
    std::vector<Key> keys;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (!m_former) {
            keys.push_back({bytes[i] == '\n' ? Key::Kind::Enter : Key::Kind::Character, bytes[i]});
        } else if (bytes[i] != ESCAPE) {
            keys.push_back(Plain(bytes[i]));
        } else if (++i < bytes.size()) {
            const bool isSequence = bytes[i] == '[' || bytes[i] == 'O';  // an arrow or a function key
            i = isSequence ? EndOfSequence(bytes, i) : i;
            if (!isSequence) {
                keys.push_back({Key::Kind::Alt, bytes[i]});
            }
        }
    }
    if (!isOpen) {
        keys.push_back({Key::Kind::Lost});
    }
    return keys;
}

}  // namespace Station
