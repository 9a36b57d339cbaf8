// Alignment of cells.

#include "TextTable.h"

#include <algorithm>
#include <cstddef>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

// The columns that a text takes on a terminal: one a character, of which UTF-8 marks all bytes but the first.
std::size_t widthOf(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

std::vector<std::size_t> widthsOf(const std::vector<Row>& rows)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], widthOf(row[i]));
    return widths;
}

} // namespace

std::string aligned(const std::vector<Row>& rows)
{
    const std::vector<std::size_t> widths = widthsOf(rows);
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += "  " + row[i] + std::string(widths[i] - widthOf(row[i]), ' ');
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string cell(const std::string& text)
{
    return text.empty() ? "-" : text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
