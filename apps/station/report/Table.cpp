// Tables: aligned for a person, as CSV for a spreadsheet, as JSON for a program.
#include "apps/station/report/Table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "apps/station/Types.h"

namespace Station {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* LINE_END = "\r\n";  // of CSV

/// As many digits as tell the number from all others.
std::string ExactText(double number)
{
    if (!std::isfinite(number)) {
        return "";
    }
    std::array<char, 32> text{};
    const char* const end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {static_cast<const char*>(text.data()), end};
}

std::string Plain(const Cell& cell)
{
    if (const auto* const text = std::get_if<std::string>(&cell)) {
        return Shown(*text);
    }
    if (const auto* const count = std::get_if<long long>(&cell)) {
        return std::to_string(*count);
    }
    const auto* const number = std::get_if<double>(&cell);
    return number != nullptr ? NumberText(*number) : "";
}

/// Characters of UTF-8.
std::size_t Width(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](unsigned char byte) { return (byte & 0xC0U) != 0x80; }));
}

/// A field with a comma, quotation mark or line break in it is put in quotation marks.
std::string CsvText(std::string text)
{
    if (!text.empty() && std::string("=+-@\t\r").find(text[0]) != std::string::npos) {
        text.insert(0, 1, '\'');
    }
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    }
    return quoted + '"';
}

std::string CsvCell(const Cell& cell)
{
    if (const auto* const text = std::get_if<std::string>(&cell)) {
        return CsvText(*text);
    }
    const auto* const number = std::get_if<double>(&cell);
    return number != nullptr ? ExactText(*number) : Plain(cell);
}

std::string CsvLine(const std::vector<Cell>& cells)
{
    std::string line;
    for (const Cell& cell : cells) {
        line += (&cell == &cells.front() ? "" : ",") + CsvCell(cell);
    }
    return line + LINE_END;
}

/// All tables in one, which the first column names.
Table Merge(const NamedTables& tables)
{
    Table merged;
    merged.columns = {"table"};
    for (const auto& [name, table] : tables) {
        std::copy_if(table.columns.begin(), table.columns.end(), std::back_inserter(merged.columns),
                     [&merged](const std::string& column) {
                         return std::find(merged.columns.begin(), merged.columns.end(), column) == merged.columns.end();
                     });
    }
    for (const auto& [name, table] : tables) {
        for (const std::vector<Cell>& row : table.rows) {
            std::vector<Cell> cells(merged.columns.size());
            cells[0] = name;
            for (std::size_t i = 0; i < row.size(); ++i) {
                const auto at = std::find(merged.columns.begin(), merged.columns.end(), table.columns[i]);
                cells[static_cast<std::size_t>(at - merged.columns.begin())] = row[i];
            }
            merged.rows.push_back(std::move(cells));
        }
    }
    return merged;
}

Json ToJsonValue(const Cell& cell)
{
    return std::visit(
        [](const auto& held) {
            if constexpr (std::is_same_v<decltype(held), const std::monostate&>) {
                return Json();
            } else {
                return Json(held);
            }
        },
        cell);
}

}  // namespace

std::string ToText(const Table& table)
{
    std::vector<std::vector<Cell>> lines = {{table.columns.begin(), table.columns.end()}};
    lines.insert(lines.end(), table.rows.begin(), table.rows.end());
    std::vector<std::size_t> widths(table.columns.size());
    std::vector<bool> areNumbers(table.columns.size());
    for (const std::vector<Cell>& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            widths[i] = std::max(widths[i], Width(Plain(line[i])));
            areNumbers[i] = areNumbers[i] || line[i].index() > 1;
        }
    }
    std::string text;
    for (const std::vector<Cell>& line : lines) {
        std::string aligned;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::string word = Plain(line[i]);
            const std::string blanks(widths[i] - Width(word), ' ');
            aligned += (areNumbers[i] ? blanks + word : word + blanks) + "  ";
        }
        aligned.erase(aligned.find_last_not_of(' ') + 1);
        text += aligned + '\n';
    }
    return text;
}

std::string ToCsv(const NamedTables& tables)
{
    const Table table = tables.size() == 1 ? tables[0].second : Merge(tables);
    std::string csv = CsvLine({table.columns.begin(), table.columns.end()});
    for (const std::vector<Cell>& row : table.rows) {
        csv += CsvLine(row);
    }
    return csv;
}

std::string ToJson(const NamedTables& tables)
{
    Json json = Json::object();
    for (const auto& [name, table] : tables) {
        Json& rows = json[name] = Json::array();
        for (const std::vector<Cell>& row : table.rows) {
            Json& object = rows.emplace_back(Json::object());
            for (std::size_t i = 0; i < row.size(); ++i) {
                object[table.columns[i]] = ToJsonValue(row[i]);
            }
        }
    }
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace Station
