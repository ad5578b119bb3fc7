// SPDX-License-Identifier: MIT
/// \file The bytes of a connection, read ahead. Of the library alone.
#ifndef HTTPD_INTAKE_H
#define HTTPD_INTAKE_H

#include "httpd/Transport.h"

#include <string>

namespace httpd {

/// What has come on a connection and belongs to no request yet: clients may send several requests at once.
class Intake {
public:
    explicit Intake(Transport& transport) : m_transport(transport) {}

    /// What is there already. Good until the next call that is not const.
    std::string_view bytes() const { return std::string_view(m_buffer).substr(m_taken); }
    void take(std::size_t count);
    /// Waits for more. \param until as Transport::read has it. \return false when nothing comes.
    bool fill(const StopSignal* until = nullptr);

private:
    Transport& m_transport;
    std::string m_buffer;
    std::size_t m_taken = 0;
};

} // namespace httpd

#endif
