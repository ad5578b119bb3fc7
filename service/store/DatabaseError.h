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

/// The records are being moved to another place, or were: they can be read, and not changed.
class DatabaseReadOnly : public DatabaseError {
public:
    /// \param forGood whether they will not be changed here any more
    DatabaseReadOnly(const std::string& what, bool forGood) : DatabaseError(what), m_forGood(forGood) {}
    bool isForGood() const { return m_forGood; }

private:
    bool m_forGood;
};

/// There is no room left for what was to be written.
class DatabaseFull : public DatabaseError {
public:
    using DatabaseError::DatabaseError;
};

} // namespace kinloomd

#endif
