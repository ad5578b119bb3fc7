// SPDX-License-Identifier: MIT
/// \file The database of a service: who may use it when, and how it is changed.
#ifndef KINLOOMD_STORE_DATABASE_H
#define KINLOOMD_STORE_DATABASE_H

#include "store/Connection.h" // IWYU pragma: export

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace kinloomd {

class Engine;

/// The database of a service. Safe for several threads; other processes may use the same database.
class Database {
public:
    using Purpose = DatabaseConnection::Purpose;

    /// Opens the database at an address ("postgresql://..."), or in a file, which is made when it is not there, and brings it to
    /// the present layout. Throws std::runtime_error when a newer program has brought it to one that this
    /// one does not understand.
    explicit Database(const std::string& location);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// A connection lent for a while.
    class Lease {
    public:
        Lease(Database& database, Purpose purpose);
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease();
        operator DatabaseConnection&() const { return *m_connection; }
        DatabaseConnection* operator->() const { return m_connection.get(); }

    private:
        Engine& m_engine;
        Purpose m_purpose;
        std::unique_ptr<DatabaseConnection> m_connection;
    };

    /// A connection lent to one of many readers that go on again and again: no more of them read at a time than connections are
    /// kept, so that a crowd of them neither opens connections all the time nor fills the memory with theirs.
    class Turn {
    public:
        explicit Turn(Database& database) : m_place(database), m_lease(database.read()) {}
        operator DatabaseConnection&() const { return m_lease; }

    private:
        struct Place {
            explicit Place(Database& database);
            Place(const Place&) = delete;
            Place& operator=(const Place&) = delete;
            ~Place();
            Database& database;
        };
        Place m_place;
        Lease m_lease;
    };

    Lease read() { return Lease(*this, Purpose::READ); }
    /// Waits for a turn to read. Only for a thread that holds no connection.
    Turn readInTurn() { return Turn(*this); }
    /// A connection that may write, each statement for itself. What belongs together is changed with \c change.
    Lease write() { return Lease(*this, Purpose::WRITE); }

    /// Does work in a transaction, and commits it; what the work throws undoes it. When this returns, the changes are there for
    /// good. Only for a thread that holds no connection.
    ///
    /// The engine may want the work done anew: what it sets it sets from the beginning each time, and it has no effect but on the
    /// database. Files, notes to others and answers follow afterwards. An error that \c mayBeDone has come when the end of the
    /// transaction had begun: whether it was committed is unknown.
    ///
    /// While the records are moved, and once their media have another place than \c setMediaNumber was told of, this throws
    /// DatabaseReadOnly, unless the purpose is that of a mover.
    ///
    /// \return what the work returns.
    template <typename Work> auto change(const Work& work, Purpose purpose = Purpose::WRITE)
    {
        using Outcome = std::invoke_result_t<const Work&, DatabaseConnection&>;
        if constexpr (std::is_void_v<Outcome>) {
            changeBy(work, purpose);
        } else {
            std::optional<Outcome> outcome;
            changeBy([&](DatabaseConnection& connection) { outcome.emplace(work(connection)); }, purpose);
            return std::move(*outcome);
        }
    }

    /// Changes something that nobody waits for and nothing depends on, such as when somebody was here last: where \c change throws
    /// DatabaseReadOnly that is left out.
    template <typename Work> void note(const Work& work)
    {
        try {
            changeBy(work, Purpose::WRITE);
        } catch (const DatabaseReadOnly&) {
            return;
        }
    }

    /// From now on changes are made for media at the place of that number (store/Moving.h), and for no other one. Before several
    /// threads use the database.
    void setMediaNumber(std::string number) { m_mediaNumber = std::move(number); }

    /// The longest that a change may take until others see it.
    std::chrono::milliseconds longestChange() const;

private:
    void changeBy(const std::function<void(DatabaseConnection&)>& work, Purpose purpose);

    std::unique_ptr<Engine> m_engine;
    std::optional<std::string> m_mediaNumber;
    std::mutex m_mutex;
    std::condition_variable m_turnEnded;
    std::size_t m_turns = 0; // guarded by m_mutex
};

} // namespace kinloomd

#endif
