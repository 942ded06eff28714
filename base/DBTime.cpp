#include "base/DBTime.h"

#include <cmath>
#include <cstdio>

namespace {

// The date-value calendar: 1900 is common, then every fourth year is leap.
bool IsDateLeap(int year) { return year != 1900 && (year - 1900) % 4 == 0; }
int YearDays(int year) { return IsDateLeap(year) ? 366 : 365; }
int MonthDays(int year, int month)
{
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsDateLeap(year) ? 29 : kDays[month - 1];
}

constexpr double kFirstDate = 2.0;        // 1 January 1900
constexpr double kLastDate = 2958466.0;   // 1 January 10000

tm LocalFields(time_t t)
{
    tm f{};
    localtime_r(&t, &f);
    return f;
}

}  // namespace

DBTime::DBTime(int year, int month, int day, int hour, int minute, int second)
{
    tm f{};
    f.tm_year = year - 1900;
    f.tm_mon = month - 1;
    f.tm_mday = day;
    f.tm_hour = hour;
    f.tm_min = minute;
    f.tm_sec = second;
    f.tm_isdst = -1;
    time_t t = mktime(&f);
    m_Time = t == static_cast<time_t>(-1) ? 0 : t;
}

DBTime::DBTime(double date, bool toUTC, int bias)
{
    CivilTime c;
    if (!DateToCivil(date, c)) return;
    tm f{};
    f.tm_year = c.year - 1900;
    f.tm_mon = c.month - 1;
    f.tm_mday = c.day;
    f.tm_hour = c.hour;
    f.tm_min = c.minute;
    f.tm_sec = c.second;
    f.tm_isdst = -1;
    time_t t = toUTC ? timegm(&f) + static_cast<time_t>(bias) * 60 : mktime(&f);
    m_Time = t;
}

DBTime DBTime::CurDateTime() { return DBTime(std::time(nullptr)); }

double DBTime::ToDATE(bool toUTC, int bias) const
{
    if (m_Time == 0) return 0.0;
    time_t t = static_cast<time_t>(m_Time);
    tm f{};
    if (toUTC) {
        t -= static_cast<time_t>(bias) * 60;
        gmtime_r(&t, &f);
    } else {
        localtime_r(&t, &f);
    }
    CivilTime c{f.tm_year + 1900, f.tm_mon + 1, f.tm_mday, f.tm_hour, f.tm_min, f.tm_sec};
    double d = 0;
    return CivilToDate(c, d) ? d : 0.0;
}

bool DBTime::DateToCivil(double date, CivilTime& out)
{
    if (!(date >= kFirstDate && date < kLastDate)) return false;  // also refuses NaN
    double whole = std::floor(date);
    long long days = static_cast<long long>(whole);
    long long secs = std::llround((date - whole) * 86400.0);
    if (secs >= 86400) {
        ++days;
        secs -= 86400;
    }
    long long n = days - 2;
    int year = 1900;
    while (n >= YearDays(year)) n -= YearDays(year++);
    int month = 1;
    while (n >= MonthDays(year, month)) n -= MonthDays(year, month++);
    if (year > 9999) return false;
    out = CivilTime{year, month, static_cast<int>(n) + 1, static_cast<int>(secs / 3600),
                    static_cast<int>(secs / 60 % 60), static_cast<int>(secs % 60)};
    return true;
}

bool DBTime::CivilToDate(const CivilTime& c, double& out)
{
    if (c.year < 1900 || c.year > 9999 || c.month < 1 || c.month > 12 || c.day < 1 ||
        c.day > MonthDays(c.year, c.month) || c.hour < 0 || c.hour > 23 || c.minute < 0 || c.minute > 59 ||
        c.second < 0 || c.second > 59)
        return false;
    long long days = 2;
    for (int y = 1900; y < c.year; ++y) days += YearDays(y);
    for (int m = 1; m < c.month; ++m) days += MonthDays(c.year, m);
    days += c.day - 1;
    out = static_cast<double>(days) + (c.hour * 3600 + c.minute * 60 + c.second) / 86400.0;
    return true;
}

DBString DBTime::TimShortString() const
{
    if (m_Time == 0) return L"00:00:00";
    tm f = LocalFields(Get());
    return DBString().Format(L"%02d:%02d:%02d", f.tm_hour, f.tm_min, f.tm_sec);
}

DBString DBTime::DatTimString() const
{
    if (m_Time == 0) return L"00.00.0000 00:00:00 ";
    return DBString(DatTimStr());
}

std::string DBTime::DatTimStr() const
{
    tm f = LocalFields(Get());
    char buf[64];
    std::snprintf(buf, sizeof buf, "%02d.%02d.%04d %02d:%02d:%02d ", f.tm_mday, f.tm_mon + 1, f.tm_year + 1900,
                  f.tm_hour, f.tm_min, f.tm_sec);
    return buf;
}

std::string DBTime::DatTimForLog() const
{
    tm f = LocalFields(Get());
    char buf[64];
    std::snprintf(buf, sizeof buf, "%02d.%02d.%04d %02d:%02d.%02d", f.tm_mday, f.tm_mon + 1, f.tm_year + 1900,
                  f.tm_hour, f.tm_min, f.tm_sec);
    return buf;
}
