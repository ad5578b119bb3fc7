// SPDX-License-Identifier: MIT
/// \file What goes wrong with a database, whichever engine keeps it.
#ifndef KINLOOMD_STORE_DATABASEERROR_H
#define KINLOOMD_STORE_DATABASEERROR_H

#include <stdexcept>
#include <string>

namespace kinloomd {

/// The engine refuses what it was asked for: a statement that it does not take, a reference to nothing, a damaged file.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;

    /// \return whether the transaction may have been committed all the same: it failed when that had begun.
    bool mayBeDone() const { return m_mayBeDone; }
    void setMayBeDone() { m_mayBeDone = true; }

private:
    bool m_mayBeDone = false;
};

/// What was asked for cannot be had now, or not in time. Later it may.
class DatabaseUnavailable : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

/// The transaction was undone, since others were in its way or its connection was lost. It may be done anew.
class TransactionUndone : public DatabaseUnavailable {
public:
    using DatabaseUnavailable::DatabaseUnavailable;
};

/// A text that is none: NUL, or bytes that are no UTF-8.
class NotText : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

/// Why records can be read, and not changed.
enum class ReadOnlyCause {
    MOVING,      ///< they are being moved to another place, or from one
    MOVED,       ///< they were, and will not be changed here any more
    MEDIA_MOVED, ///< their media have come to another place than this program knows
};

/// The records can be read, and not changed, by this program at least.
class DatabaseReadOnly : public DatabaseError {
public:
    DatabaseReadOnly(const std::string& what, ReadOnlyCause cause) : DatabaseError(what), m_cause(cause) {}
    ReadOnlyCause cause() const { return m_cause; }

private:
    ReadOnlyCause m_cause;
};

/// There is no room left for what was to be written.
class DatabaseFull : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

} // namespace kinloomd

#endif
