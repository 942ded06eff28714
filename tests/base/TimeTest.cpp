// DBTime: the date value of the dispatcher protocol and the text forms.
#include "base/DBTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {
// The calendar fields of a date value as one number, yyyymmddhhmmss; -1 if refused.
long long Civil(double date)
{
    CivilTime c;
    if (!DBTime::DateToCivil(date, c)) return -1;
    return ((((c.year * 100LL + c.month) * 100 + c.day) * 100 + c.hour) * 100 + c.minute) * 100 + c.second;
}
// The date value of a calendar time; -1 if refused.
double Date(int y, int mo, int d, int h = 0, int mi = 0, int s = 0)
{
    double v = -1;
    return DBTime::CivilToDate(CivilTime{y, mo, d, h, mi, s}, v) ? v : -1;
}
}  // namespace

TEST(DBTimeDateValue, TwoIsTheFirstOfJanuary1900AndThatYearIsCommonAnd1904Leap)
{
    EXPECT_EQ(Civil(2.0), 19000101000000);
    EXPECT_DOUBLE_EQ(Date(1900, 1, 1), 2.0);
    EXPECT_EQ(Date(1900, 2, 29), -1);
    EXPECT_DOUBLE_EQ(Date(1900, 2, 28), 60.0);
    EXPECT_DOUBLE_EQ(Date(1900, 3, 1), 61.0) << "no 29 February 1900 between them";
    EXPECT_EQ(Civil(Date(1904, 2, 29)), 19040229000000);
    EXPECT_EQ(Civil(Date(1904, 2, 29) + 1), 19040301000000);
    EXPECT_DOUBLE_EQ(Date(1904, 1, 1) - Date(1903, 1, 1), 365.0);
    EXPECT_DOUBLE_EQ(Date(1905, 1, 1) - Date(1904, 1, 1), 366.0);
}

TEST(DBTimeDateValue, TheFractionIsTheTimeOfDayAndValuesOutsideTheCalendarAreRefused)
{
    EXPECT_EQ(Civil(Date(2024, 12, 31, 23, 59, 59)), 20241231235959);
    EXPECT_EQ(Civil(45000.5) % 1000000, 120000);
    // A fraction a hair below the next day rounds to its midnight.
    EXPECT_EQ(Civil(45000.9999999), Civil(45001.0));
    EXPECT_EQ(Civil(45001.0) % 1000000, 0);
    for (double bad : {1.999, -5.0, 1e300, std::nan("")}) EXPECT_EQ(Civil(bad), -1) << bad;
    EXPECT_EQ(DBTime(1.0, true, 0).Get(), 0);
}

TEST(DBTimeDateValue, UtcConversionWithBiasRoundTrips)
{
    // 1 March 2024 12:00 UTC; in a zone of bias -180 (UTC+3) the wall clock shows 15:00.
    const DBTime t(1709294400);
    EXPECT_EQ(Civil(t.ToDATE(true, -180)), 20240301150000);
    EXPECT_EQ(DBTime(t.ToDATE(true, -180), true, -180), t);
    EXPECT_EQ(DBTime(t.ToDATE(true, 0), true, 0), t);
    EXPECT_EQ(DBTime().ToDATE(true, 0), 0.0) << "the zero time has no date";
}

TEST(DBTimeText, EachTextFormShowsTheTimeOfDayInItsOwnLayout)
{
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(DBTime().DatTimString(), L"00.00.0000 00:00:00 ");
    EXPECT_EQ(DBTime().TimShortString(), L"00:00:00");
    EXPECT_EQ(DBTime().DatTimStr(), "01.01.1970 00:00:00 ") << "no special case for zero";
    DBTime t(1709294405);   // 01.03.2024 12:00:05 UTC
    EXPECT_EQ(t.DatTimString(), L"01.03.2024 12:00:05 ");
    EXPECT_EQ(t.TimShortString(), L"12:00:05");
    EXPECT_EQ(t.DatTimForLog(), "01.03.2024 12:00.05");
    EXPECT_EQ(DBTime(2024, 3, 1, 12, 0, 5), t);
    unsetenv("TZ");
    tzset();
}
