// SPDX-License-Identifier: MIT
#include "output/Table.h"

#include "core/Text.h"

#include <algorithm>
#include <numeric>

namespace kinloom {

namespace {

constexpr std::size_t GAP = 2;
constexpr std::size_t NARROWEST = 8; // a narrower cell is too short to be of use

void trimRight(std::string& line) { line.erase(line.find_last_not_of(' ') + 1); }

} // namespace

void Table::add(const std::vector<std::string>& cells)
{
    std::vector<std::string> row;
    row.reserve(m_columns.size());
    for (const std::string& cell : cells)
        row.push_back(neutralised(cell));
    row.resize(m_columns.size());
    m_rows.push_back(std::move(row));
}

std::vector<std::size_t> Table::widths(std::size_t columns) const
{
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        std::size_t width = displayWidth(m_columns[i].title);
        for (const auto& row : m_rows)
            width = std::max(width, displayWidth(row[i]));
        widths.push_back(width);
    }
    std::size_t total = std::accumulate(widths.begin(), widths.end(), GAP * (widths.size() - 1));
    // Narrows whichever column is the widest among those that may shrink, step by step, until the table fits.
    while (total > columns) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (m_columns[i].shrinks && widths[i] > NARROWEST && (widest == nullptr || widths[i] > *widest))
                widest = &widths[i];
        }
        if (widest == nullptr)
            break;
        --*widest;
        --total;
    }
    return widths;
}

std::string Table::aligned(std::size_t columns, bool colour) const
{
    const std::vector<std::size_t> width = widths(columns);
    const auto lineOf = [&](auto cellAt) {
        std::string line;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            line += padded(clipped(cellAt(i), width[i]), width[i], m_columns[i].alignRight);
            line.append(GAP, ' ');
        }
        trimRight(line);
        return line;
    };
    std::string text = lineOf([&](std::size_t i) { return m_columns[i].title; });
    if (colour)
        text = "\x1b[1m" + text + "\x1b[0m";
    text += '\n';
    for (const auto& row : m_rows)
        text += lineOf([&](std::size_t i) { return row[i]; }) + '\n';
    return text;
}

std::string Table::plain() const
{
    std::string text;
    for (const auto& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i)
            text.append(i == 0 ? "" : "\t").append(row[i]);
        text += '\n';
    }
    return text;
}

void Table::print(Output& output) const
{
    output.write(output.tables() ? aligned(output.size().columns, output.colour()) : plain());
}

void Sheet::add(const std::string& name, const std::string& value)
{
    if (!value.empty())
        m_rows.push_back({name, {neutralised(value)}, false});
}

void Sheet::addText(const std::string& name, const std::string& text)
{
    std::vector<std::string> lines = neutralisedLines(text);
    if (!lines.empty())
        m_rows.push_back({name, std::move(lines), true});
}

std::string Sheet::aligned(std::size_t columns) const
{
    std::size_t width = 0;
    for (const Row& row : m_rows)
        width = std::max(width, displayWidth(row.name));
    width += GAP;
    const std::size_t room = std::max(columns, width + NARROWEST) - width;
    std::string text;
    for (const Row& row : m_rows) {
        std::string label = padded(row.name, width);
        for (const std::string& line : row.lines) {
            for (const std::string& piece : row.wraps ? wrapped(line, room) : std::vector<std::string>{line}) {
                text.append(piece.empty() ? "" : label + piece).append("\n");
                label.assign(width, ' ');
            }
        }
    }
    return text;
}

std::string Sheet::plain() const
{
    std::string text;
    for (const Row& row : m_rows) {
        std::string label = row.name;
        for (const std::string& line : row.lines) {
            text.append(label).append("\t").append(line).append("\n");
            label.clear();
        }
    }
    return text;
}

void Sheet::print(Output& output) const { output.write(output.tables() ? aligned(output.size().columns) : plain()); }

} // namespace kinloom
