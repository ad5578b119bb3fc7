// SPDX-License-Identifier: MIT
/// \file What the plugin prints.
#ifndef PLUGIN_SUPPORT_LOGCAPTURE_H
#define PLUGIN_SUPPORT_LOGCAPTURE_H

#include "W/WTypes.h"
#include "support/CaptureStdout.h"

#include <ostream>
#include <vector>

namespace kinloom_test {

/// One report of a failure.
struct LogEntry {
    W::STRING name; ///< the printable name of the status
    W::WSTATUS status = 0;
    W::STRING source; ///< "src/KLService" or "src/WKLOAI"
    int line = 0;

    friend bool operator==(const LogEntry& a, const LogEntry& b)
    {
        return a.name == b.name && a.status == b.status && a.source == b.source && a.line == b.line;
    }
    friend std::ostream& operator<<(std::ostream& out, const LogEntry& entry)
    {
        return out << entry.name << '(' << entry.status << ") " << entry.source << '(' << entry.line << ')';
    }
};

/// A report of the transport, whose line numbers are fixed.
LogEntry serviceEntry(W::WSTATUS status, int line);

/// Takes standard output over for as long as it lives. Prints what it took when the test has failed by then.
class LogCapture {
public:
    LogCapture() = default;
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Everything printed since the last clear().
    W::STRING text() const;
    /// The reports in it.
    std::vector<LogEntry> entries() const;
    /// The statuses of the reports of one source.
    std::vector<W::WSTATUS> statuses(const W::STRING& source) const;
    /// What remains of the text when the reports are taken out: nothing, if the plugin keeps to its contract.
    W::STRING strays() const;
    void clear();

private:
    mutable test::CaptureStdout m_capture;
    std::size_t m_begin = 0; ///< where what was not cleared begins
};

} // namespace kinloom_test

#endif
