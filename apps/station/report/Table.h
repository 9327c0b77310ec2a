// Tables: aligned for a person, as CSV for a spreadsheet, as JSON for a program.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Station {

/// Nothing, a text, a count or a number.
using Cell = std::variant<std::monostate, std::string, long long, double>;

template <class Held>
Cell OrNothing(const std::optional<Held>& held)
{
    return held ? Cell(*held) : Cell();
}

struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<Cell>> rows;  ///< each as long as columns
};

/// A table and its name.
using NamedTables = std::vector<std::pair<std::string, Table>>;

/// Lines with the columns one below the other, numbers to the right. Control characters are spelled out.
std::string ToText(const Table& table);

/// RFC 4180, in UTF-8: a head, then a line for each row. Of several tables the columns follow one another, and the
/// first names the table. A text that a spreadsheet would take for a formula, because it begins with = + - @, a tab or
/// a carriage return, gets an apostrophe in front.
std::string ToCsv(const NamedTables& tables);

/// An object with an array for each table, of an object for each row.
std::string ToJson(const NamedTables& tables);

}  // namespace Station
