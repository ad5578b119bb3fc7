// SPDX-License-Identifier: MIT
/// \file What keeps a database.
#ifndef KINLOOMD_STORE_ENGINE_H
#define KINLOOMD_STORE_ENGINE_H

#include "store/Connection.h"

#include <chrono>
#include <cstddef>
#include <memory>

namespace kinloomd {

/// Opens connections to one database and lends them. Safe for several threads.
class Engine {
public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine() = default;

    /// A connection for what it is to be used for; waits for one where they are all lent. Throws DatabaseUnavailable when that
    /// takes too long.
    virtual std::unique_ptr<DatabaseConnection> lend(DatabaseConnection::Purpose purpose) = 0;
    virtual void takeBack(DatabaseConnection::Purpose purpose, std::unique_ptr<DatabaseConnection> connection) noexcept = 0;

    /// How many may read for long at a time.
    virtual std::size_t readers() const = 0;

    /// The longest that a change may take from its first statement until others see it. Numbers that are given in rising order
    /// become visible in any order within that time. Nothing, where one change follows the other.
    virtual std::chrono::milliseconds longestChange() const = 0;
};

} // namespace kinloomd

#endif
