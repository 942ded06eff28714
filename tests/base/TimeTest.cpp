// DBTime: the date value of the dispatcher protocol and the text forms.
#include "base/DBTime.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {
CivilTime Civil(double date)
{
    CivilTime c;
    EXPECT_TRUE(DBTime::DateToCivil(date, c)) << date;
    return c;
}
double Date(int y, int mo, int d, int h = 0, int mi = 0, int s = 0)
{
    double v = -1;
    EXPECT_TRUE(DBTime::CivilToDate(CivilTime{y, mo, d, h, mi, s}, v));
    return v;
}
bool Exists(int y, int mo, int d)
{
    double v;
    return DBTime::CivilToDate(CivilTime{y, mo, d, 0, 0, 0}, v);
}
}  // namespace

TEST(DBTimeDateValue, TwoIsTheFirstOfJanuary1900)
{
    CivilTime c = Civil(2.0);
    EXPECT_EQ(c.year, 1900);
    EXPECT_EQ(c.month, 1);
    EXPECT_EQ(c.day, 1);
    EXPECT_EQ(c.hour + c.minute + c.second, 0);
    EXPECT_DOUBLE_EQ(Date(1900, 1, 1), 2.0);
}

TEST(DBTimeDateValue, Year1900IsCommonAnd1904IsLeap)
{
    EXPECT_FALSE(Exists(1900, 2, 29));
    EXPECT_TRUE(Exists(1904, 2, 29));
    EXPECT_DOUBLE_EQ(Date(1900, 2, 28), 60.0);
    EXPECT_DOUBLE_EQ(Date(1900, 3, 1), 61.0) << "no 29 February 1900 between them";
    CivilTime c = Civil(Date(1904, 2, 29));
    EXPECT_EQ(c.month * 100 + c.day, 229);
    EXPECT_EQ(Civil(Date(1904, 2, 29) + 1).month, 3);
    EXPECT_DOUBLE_EQ(Date(1904, 1, 1) - Date(1903, 1, 1), 365.0);
    EXPECT_DOUBLE_EQ(Date(1905, 1, 1) - Date(1904, 1, 1), 366.0);
}

TEST(DBTimeDateValue, FractionIsTheTimeOfDay)
{
    CivilTime c = Civil(Date(2024, 12, 31, 23, 59, 59));
    EXPECT_EQ(c.year, 2024);
    EXPECT_EQ(c.hour, 23);
    EXPECT_EQ(c.minute, 59);
    EXPECT_EQ(c.second, 59);
    c = Civil(45000.5);
    EXPECT_EQ(c.hour, 12);
    // A fraction a hair below the next day rounds to its midnight.
    c = Civil(45000.9999999);
    EXPECT_EQ(c.hour * 3600 + c.minute * 60 + c.second, 0);
    EXPECT_EQ(Civil(45001.0).day, c.day);
}

TEST(DBTimeDateValue, RefusesValuesOutsideTheCalendar)
{
    CivilTime c;
    EXPECT_FALSE(DBTime::DateToCivil(1.999, c));
    EXPECT_FALSE(DBTime::DateToCivil(-5, c));
    EXPECT_FALSE(DBTime::DateToCivil(1e300, c));
    EXPECT_FALSE(DBTime::DateToCivil(std::nan(""), c));
    EXPECT_EQ(DBTime(1.0, true, 0).Get(), 0);
}

TEST(DBTimeDateValue, UtcConversionWithBiasRoundTrips)
{
    // 1 March 2024 12:00 UTC; in a zone of bias -180 (UTC+3) the wall clock shows 15:00.
    DBTime t(1709294400);
    double d = t.ToDATE(true, -180);
    CivilTime c = Civil(d);
    EXPECT_EQ(c.hour, 15);
    EXPECT_EQ(DBTime(d, true, -180), t);
    EXPECT_EQ(DBTime(t.ToDATE(true, 0), true, 0), t);
    EXPECT_EQ(DBTime().ToDATE(true, 0), 0.0) << "the zero time has no date";
}

TEST(DBTimeText, ZeroAndOrdinaryTimes)
{
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(DBTime().DatTimString(), L"00.00.0000 00:00:00 ");
    EXPECT_EQ(DBTime().TimShortString(), L"00:00:00");
    EXPECT_EQ(DBTime().DatTimStr(), "01.01.1970 00:00:00 ") << "no special case for zero";
    DBTime t(1709294405);   // 01.03.2024 12:00:05 UTC
    EXPECT_EQ(t.DatTimString(), L"01.03.2024 12:00:05 ");
    EXPECT_EQ(t.DatTimStr(), "01.03.2024 12:00:05 ");
    EXPECT_EQ(t.TimShortString(), L"12:00:05");
    EXPECT_EQ(t.DatTimForLog(), "01.03.2024 12:00.05");
    EXPECT_EQ(DBTime(2024, 3, 1, 12, 0, 5), t);
    unsetenv("TZ");
    tzset();
}
