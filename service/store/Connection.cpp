// SPDX-License-Identifier: MIT
#include "store/Connection.h"

#include "core/Text.h"

#include <utility>

namespace kinloomd {

namespace {

thread_local std::uint64_t statementCount = 0;

} // namespace

std::uint64_t takeStatementCount() { return std::exchange(statementCount, 0); }

void Query::count() { ++statementCount; }

void Query::requireText(std::string_view value)
{
    if (!isText(value))
        throw NotText("bytes that are no UTF-8 text cannot be stored, nor looked for");
}

void Transaction::commit()
{
    m_open = false;
    try {
        m_connection.commit();
    } catch (const TransactionUndone&) {
        m_connection.rollback();
        throw;
    } catch (DatabaseError& error) {
        m_connection.rollback();
        error.setMayBeDone();
        throw;
    }
}

} // namespace kinloomd
