// Rows that stay at the bottom of a terminal, below the lines that scroll.
#include "apps/station/terminal/Panel.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Station {

namespace {

bool IsControl(char character)
{
    constexpr char DELETE = 0x7F;
    return (character >= 0 && character < ' ') || character == DELETE;
}

/// Whether a byte begins a character of UTF-8.
bool IsFirst(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

}  // namespace

Space Panel::Fits()
{
    winsize size = {};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 && size.ws_row > 1;
    return isKnown ? Space{size.ws_col - 1U, size.ws_row - 1U} : Space{79, 23};
}

void Panel::Show(std::vector<std::string> rows)
{
    const std::size_t height = Fits().height;
    if (rows.size() > height) {
        rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(height));
    }
    if (rows == m_rows) {
        return;
    }
    std::string output;
    if (!m_rows.empty()) {
        output = m_rows.size() > 1 ? "\033[" + std::to_string(m_rows.size() - 1) + "A" : "";
        output += "\r\033[J";
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        output += (i > 0 ? "\n" : "") + rows[i];
    }
    std::cerr << output << std::flush;
    m_rows = std::move(rows);
}

std::vector<std::string> Wrap(const std::string& text, std::size_t width)
{
    std::vector<std::string> rows(1);
    std::size_t column = 0;
    for (const char byte : text) {
        if (IsFirst(byte) && column++ == width) {
            rows.emplace_back();
            column = 1;
        }
        rows.back() += IsControl(byte) ? '?' : byte;
    }
    return rows;
}

std::size_t Length(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsFirst));
}

std::string Cut(const std::string& text, std::size_t width)
{
    return Wrap(text, width).front();
}

}  // namespace Station
