#pragma once
// DBTime: a moment in whole seconds since the POSIX epoch; zero means "not
// set". Calendar fields are computed in local time when asked for.
//
// The date value is the dispatcher protocol's form of a time: a double that
// counts days from 30 December 1899, with the time of day as the fraction.
// Its calendar treats 1900 as a common year and every later fourth year as a
// leap year (no further century rule).
#include "base/DBString.h"

#include <cstdint>
#include <ctime>
#include <string>

struct CivilTime {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

class DBTime {
public:
    DBTime() = default;
    explicit DBTime(time_t seconds) : m_Time(seconds) {}
    // Local calendar time: year, month (1..12), day, hour, minute, second.
    DBTime(int year, int month, int day, int hour, int minute, int second);
    // From a date value. With toUTC false the value holds this machine's
    // local time; with toUTC true it holds the wall time of a zone whose
    // bias is `bias` minutes (UTC = local + bias, so Moscow is -180).
    // A value outside 1 January 1900 .. 31 December 9999 gives the zero time.
    DBTime(double date, bool toUTC, int bias);

    static DBTime CurDateTime();

    // The date value of this time, read as in the constructor; 0 for the zero time.
    double ToDATE(bool toUTC, int bias) const;

    time_t Get() const { return static_cast<time_t>(m_Time); }
    bool IsEmpty() const { return m_Time == 0; }
    bool operator==(const DBTime&) const = default;

    DBString TimShortString() const;   // "hh:mm:ss"
    DBString DatTimString() const;     // "dd.mm.yyyy hh:mm:ss " (blank at the end)
    std::string DatTimStr() const;     // the same, 8-bit; no special case for zero
    std::string DatTimForLog() const;  // "dd.mm.yyyy hh:mm.ss" (point before the seconds)

    // The date-value calendar. Both refuse what the calendar does not hold,
    // such as 29 February 1900.
    static bool DateToCivil(double date, CivilTime& out);
    static bool CivilToDate(const CivilTime& in, double& out);

private:
    int64_t m_Time = 0;
};
