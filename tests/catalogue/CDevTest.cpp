// Labels of devices and lift controllers. Each test sets the language it reads.
#include "catalogue/CDev.h"

#include "base/StringRes.h"

#include <gtest/gtest.h>

#include <set>

TEST(DeviceCatalogue, EveryControllerCodeHasItsOwnLabel)
{
    g_StringENU = true;
    std::set<std::wstring> seen;
    for (int code = 0; code < CDev::controllerCount; ++code) {
        const DBString label = CDev(CDev::kindLiftController, code).TypLB();
        EXPECT_FALSE(label.empty()) << code;
        EXPECT_EQ(label.find(L"ENU"), std::wstring::npos) << "missing text for code " << code;
        EXPECT_TRUE(seen.insert(label).second) << "label of code " << code << " repeats: " << label.ToStr();
    }
    EXPECT_EQ(CDev(0, 0).TypLB(), L"Loader");
    EXPECT_EQ(CDev(0, 4).TypLB(), L"OTIS");
    EXPECT_EQ(CDev(0, 45).TypLB(), L"Invalid") << "a real entry of the table";
    EXPECT_EQ(CDev(0, 129).TypLB(), L"Emulator");
    EXPECT_EQ(CDev(0, 130).TypLB(), L"KONEL");
    EXPECT_EQ(CDev(1, 136).TypLB(), L"ALPACA");
}

TEST(DeviceCatalogue, UnknownCombinationsShowAsNumbers)
{
    g_StringENU = true;
    EXPECT_EQ(CDev(0, 137).TypLB(), L"(0) (137)");
    EXPECT_EQ(CDev(0, -1).TypLB(), L"(0) (-1)");
    EXPECT_EQ(CDev(16, 3).TypLB(), L"(16) (3)");
    EXPECT_EQ(CDev(-2, 0).TypLB(), L"(-2) (0)");
}

TEST(DeviceCatalogue, UnitsAreNamedByKindAndSubType)
{
    g_StringENU = true;
    EXPECT_EQ(CDev(12, 2).TypLB(), L"CM3");
    EXPECT_EQ(CDev(12, 1).TypLB(), L"LU (1)");
    EXPECT_EQ(CDev(14, 0).TypLB(), L"LU-7");
    EXPECT_EQ(CDev(14, 3).TypLB(), L"LU-7 Wi-Fi 4G");
    EXPECT_EQ(CDev(14, 9).TypLB(), L"LU generation 7 (9)");
    EXPECT_EQ(CDev(2, 5).TypLB(), L"Dispatcher console (5)");
    g_StringENU = false;
    EXPECT_EQ(CDev(14, 0).TypLB(), L"ЛБ-7");
    EXPECT_EQ(CDev(12, 2).TypLB(), L"CM3");
    EXPECT_EQ(CDev(0, 12).TypLB(), L"Эскалатор");
}
