// SPDX-License-Identifier: MIT
/// \file Every table of records and its columns, for those who copy records whatever they mean. Both engines have the same.
#ifndef KINLOOMD_STORE_TABLES_H
#define KINLOOMD_STORE_TABLES_H

#include <cstddef>
#include <string>
#include <vector>

namespace kinloomd {

struct ColumnEntry {
    enum Kind { NUMBER, TEXT };

    std::string name;
    Kind kind;
};

struct TableEntry {
    std::string name;
    std::size_t keyColumns; ///< how many of its columns, the first ones, are the key
    bool numbered;          ///< it gives its rows numbers, none of them twice
    std::vector<ColumnEntry> columns;
};

/// All of them. A row refers to rows of tables before its own.
const std::vector<TableEntry>& recordTables();

} // namespace kinloomd

#endif
