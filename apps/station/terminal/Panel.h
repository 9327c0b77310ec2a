// Rows that stay at the bottom of a terminal, below the lines that scroll.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Station {

/// In columns and rows.
struct Space {
    std::size_t width;
    std::size_t height;
};

/// On standard error, which is a terminal. Nothing else may be written while rows are shown. Used by one thread at a
/// time.
class Panel {
public:
    /// What fits: one column and one row less than the terminal has, 79 and 23 where it does not say.
    [[nodiscard]] static Space Fits();
    /// Shows these rows instead of the former ones; of too many the last ones. Each has to fit.
    void Show(std::vector<std::string> rows);
    void Hide() { Show({}); }

private:
    std::vector<std::string> m_rows;
};

/// A UTF-8 text in rows of at most `width` characters. Control characters become question marks.
std::vector<std::string> Wrap(const std::string& text, std::size_t width);
/// How many characters a UTF-8 text has.
std::size_t Length(const std::string& text);
/// The first of those rows.
std::string Cut(const std::string& text, std::size_t width);

}  // namespace Station
