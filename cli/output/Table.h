// SPDX-License-Identifier: MIT
/// \file Records as a person reads them.
#ifndef KINLOOM_OUTPUT_TABLE_H
#define KINLOOM_OUTPUT_TABLE_H

#include "output/Output.h"

#include <string>
#include <vector>

namespace kinloom {

/// Rows of cells: an aligned table with a heading on a terminal, else one line a row with tabs between the cells.
class Table {
public:
    struct Column {
        std::string title;
        bool alignRight = false;
        bool shrinks = false; ///< gives way when the terminal is too narrow
    };

    explicit Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

    /// One cell for each column, in any text: what could steer a terminal is neutralised.
    void add(const std::vector<std::string>& cells);
    bool empty() const { return m_rows.empty(); }

    /// The aligned table. \param columns of the terminal. \param colour whether the heading may stand out.
    std::string aligned(std::size_t columns, bool colour) const;
    /// The plain lines.
    std::string plain() const;
    void print(Output& output) const;

private:
    std::vector<std::size_t> widths(std::size_t columns) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

/// Names and values of one record: aligned on a terminal, else with a tab between.
class Sheet {
public:
    /// A value without text is left out.
    void add(const std::string& name, const std::string& value);
    /// A value of several lines keeps them.
    void addText(const std::string& name, const std::string& text);
    /// \param columns of the terminal; longer lines of texts are wrapped.
    std::string aligned(std::size_t columns) const;
    std::string plain() const;
    void print(Output& output) const;

private:
    struct Row {
        std::string name;
        std::vector<std::string> lines; ///< one at least
        bool wraps = false;
    };
    std::vector<Row> m_rows;
};

} // namespace kinloom

#endif
