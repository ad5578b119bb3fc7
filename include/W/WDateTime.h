// SPDX-License-Identifier: MIT
/// \file Points in time and time spans.
#ifndef W_WDATETIME_H
#define W_WDATETIME_H

#include "W/WTypes.h"

#include <ostream>

namespace W {

/// A point in time with nanosecond resolution, or unset. Unset dates equal each other and sort before all others.
class WDateTime {
public:
    enum DATEFORMAT : UINT32 {
        FORMAT_ISO8601 = 0, ///< RFC 3339 and ISO 8601 calendar date-times
    };
    enum TIMEZONE : UINT32 {
        ZONE_LOCAL = 0,
        ZONE_UTC = 1,
    };

    WDateTime() = default;

    /// Reads a date.
    ///
    /// Format 0 accepts RFC 3339 and ISO 8601 date-times: "2010-05-05T07:04:09Z", numeric offsets, fractions of a second, a blank
    /// in place of the "T", and a date alone (midnight). Blanks around the text are ignored.
    /// \param zone the zone of a text that names none.
    /// \return the unset date when the text cannot be read or the format is unknown; never throws.
    static WDateTime fromString(const STRING& text, DATEFORMAT format, TIMEZONE zone);

    bool isSet() const { return m_set; }
    /// Seconds since 1970-01-01T00:00:00Z, rounded down; 0 when unset.
    std::int64_t getSeconds() const { return m_seconds; }
    /// The fraction of the second, in nanoseconds.
    UINT32 getNanoseconds() const { return m_nanoseconds; }

    /// The date in UTC as RFC 3339 writes it, with as many digits of the fraction as it needs; empty when unset.
    STRING toString() const;

    /// Prints what toString() returns.
    friend std::ostream& operator<<(std::ostream& out, const WDateTime& date) { return out << date.toString(); }

    friend bool operator==(const WDateTime& a, const WDateTime& b)
    {
        return a.m_set == b.m_set && a.m_seconds == b.m_seconds && a.m_nanoseconds == b.m_nanoseconds;
    }
    friend bool operator<(const WDateTime& a, const WDateTime& b)
    {
        if (a.m_set != b.m_set)
            return b.m_set;
        return a.m_seconds != b.m_seconds ? a.m_seconds < b.m_seconds : a.m_nanoseconds < b.m_nanoseconds;
    }
    friend bool operator!=(const WDateTime& a, const WDateTime& b) { return !(a == b); }
    friend bool operator>(const WDateTime& a, const WDateTime& b) { return b < a; }
    friend bool operator<=(const WDateTime& a, const WDateTime& b) { return !(b < a); }
    friend bool operator>=(const WDateTime& a, const WDateTime& b) { return !(a < b); }

private:
    std::int64_t m_seconds = 0;
    UINT32 m_nanoseconds = 0;
    bool m_set = false;
};

/// A time span, such as an event's.
class WWhen {
public:
    void setStartTime(const WDateTime& start) { m_start = start; }
    const WDateTime& getStartTime() const { return m_start; }
    void setEndTime(const WDateTime& end) { m_end = end; }
    const WDateTime& getEndTime() const { return m_end; }

private:
    WDateTime m_start;
    WDateTime m_end;
};

} // namespace W

#endif
