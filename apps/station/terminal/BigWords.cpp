// Words that can be read from the other side of the room.
#include "apps/station/terminal/BigWords.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace Station {

namespace {

constexpr std::size_t ROWS = 5;              // of a letter, and its columns
constexpr std::size_t PITCH = 6;             // from letter to letter
constexpr std::size_t GAP = 2;               // from word to word
constexpr std::size_t CELL_ROWS = ROWS + 1;  // with the caption

using Points = std::array<const char*, ROWS>;

// clang-format off
constexpr std::pair<char, Points> LETTERS[] = {
    {'A', {" ### ", "#   #", "#####", "#   #", "#   #"}}, {'D', {"#### ", "#   #", "#   #", "#   #", "#### "}},
    {'F', {"#####", "#    ", "#### ", "#    ", "#    "}}, {'I', {"#####", "  #  ", "  #  ", "  #  ", "#####"}},
    {'L', {"#    ", "#    ", "#    ", "#    ", "#####"}}, {'O', {" ### ", "#   #", "#   #", "#   #", " ### "}},
    {'P', {"#### ", "#   #", "#### ", "#    ", "#    "}}, {'S', {" ####", "#    ", " ### ", "    #", "#### "}},
    {'T', {"#####", "  #  ", "  #  ", "  #  ", "  #  "}}, {'V', {"#   #", "#   #", "#   #", " # # ", "  #  "}},
};
// clang-format on

const Points& PointsOf(char letter)
{
    const auto* const found = std::find_if(std::begin(LETTERS), std::end(LETTERS),
                                           [letter](const auto& known) { return known.first == letter; });
    if (found == std::end(LETTERS)) {
        throw std::invalid_argument(std::string("there is no big letter ") + letter);
    }
    return found->second;
}

/// One row of a word; each point is so many columns wide.
std::string LetterRow(const BigWord& big, std::size_t row, std::size_t scale, bool hasColours)
{
    // The character has the colour of its ground: a full block that any terminal can show.
    constexpr int GROUND = 10;
    const std::string on = "\033[" + std::to_string(big.colour) + ';' + std::to_string(big.colour + GROUND) + 'm';
    std::string text;
    bool isOn = false;
    for (const char letter : big.word) {
        for (const char point : std::string(PointsOf(letter)[row]) + ' ') {
            if (hasColours && isOn != (point == '#')) {
                isOn = !isOn;
                text += isOn ? on : "\033[0m";
            }
            text.append(scale, point);
        }
    }
    return text;
}

std::size_t CellWidth(const std::vector<BigWord>& words, std::size_t scale)
{
    std::size_t letters = 0;
    for (const BigWord& big : words) {
        letters = std::max(letters, big.word.size());
    }
    return letters * PITCH * scale + GAP;
}

/// The words from one to another, side by side.
void AddWords(std::vector<std::string>& rows, const BigWord* from, const BigWord* to, std::size_t width,
              std::size_t scale, bool hasColours)
{
    std::vector<std::string> added(CELL_ROWS);
    for (const BigWord* big = from; big != to; ++big) {
        const std::string caption = Cut(big->caption, width - GAP);
        added[0] += caption + std::string(width - Length(caption), ' ');
        for (std::size_t row = 0; row < ROWS; ++row) {
            added[row + 1] += LetterRow(*big, row, scale, hasColours);
            added[row + 1] += std::string(width - big->word.size() * PITCH * scale, ' ');
        }
    }
    rows.insert(rows.end(), added.begin(), added.end());
}

}  // namespace

std::vector<std::string> ShowBig(const std::vector<BigWord>& words, Space space, bool hasColours)
{
    std::vector<std::string> rows;
    for (const std::size_t scale : {std::size_t{2}, std::size_t{1}}) {
        const std::size_t width = CellWidth(words, scale);
        const std::size_t across = space.width / width;
        if (across == 0 || (words.size() + across - 1) / across * CELL_ROWS > space.height) {
            continue;
        }
        for (std::size_t i = 0; i < words.size(); i += across) {
            AddWords(rows, &words[i], words.data() + std::min(i + across, words.size()), width, scale, hasColours);
        }
        return rows;
    }
    for (const BigWord& big : words) {
        rows.push_back(Cut(big.word + ": " + big.caption, space.width));
    }
    return rows;
}

}  // namespace Station
