// The bilingual string tables: lookup, fall-backs and completeness.
#include "base/StringRes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

TEST(StringResources, LookupFollowsTheLanguageOfTheRunAndAnUnknownIdShowsAsItsNumber)
{
    const bool old = g_StringENU;
    g_StringENU = false;
    EXPECT_EQ(_S_(10005), L"Сохранить");
    EXPECT_EQ(_S_(65000), L"RUS65000");
    g_StringENU = true;
    EXPECT_EQ(_S_(10005), L"Save");
    EXPECT_EQ(_S_(65000), L"ENU65000");
    g_StringENU = old;
}

TEST(StringResources, DuplicateKeepsTheFirstTextAndSaysSo)
{
    StringTable t("RUS");
    t.Insert(7, "first");
    testing::internal::CaptureStderr();
    t.Insert(7, "second");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "duplicate resource RUS identifier: 7\n");
    EXPECT_EQ(t.Load(7), L"first");
}

TEST(StringResources, BothTablesAreFilledBeforeMainOnlyOnceWithTheSameIdentifiers)
{
    EXPECT_EQ(static_cast<int>(g_StringLocale.All().size()), StringResourceCount());
    EXPECT_EQ(static_cast<int>(g_StringLocaleENU.All().size()), StringResourceCount());
    for (const auto& [id, text] : g_StringLocaleENU.All()) EXPECT_TRUE(g_StringLocale.Has(id)) << id;
    testing::internal::CaptureStderr();
    FillStringTables();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a second fill must not insert again";
}

TEST(StringResources, EveryIdentifierUsedInCodeExistsInBothTables)
{
    // Every numeric identifier that code asks for: _S_(n), _W_(n), ErrorXML(n...).
    const std::regex use(R"((?:\b_S_|\b_W_|\bErrorXML)\(\s*(\d+)\s*[,)])");
    int uses = 0;
    for (const char* dir : {"base", "catalogue", "link", "disp", "app", "pages", "relay", "tools"}) {
        const auto root = std::filesystem::path(VELK_SOURCE_DIR) / dir;
        if (!std::filesystem::exists(root)) continue;
        for (const auto& f : std::filesystem::recursive_directory_iterator(root)) {
            if (f.path().extension() != ".cpp" && f.path().extension() != ".h") continue;
            std::stringstream text;
            text << std::ifstream(f.path()).rdbuf();
            const std::string s = text.str();
            for (std::sregex_iterator it(s.begin(), s.end(), use), end; it != end; ++it, ++uses) {
                const int id = std::stoi((*it)[1]);
                EXPECT_TRUE(g_StringLocaleENU.Has(id)) << "English text " << id << " used in " << f.path();
                EXPECT_TRUE(g_StringLocale.Has(id)) << "Russian text " << id << " used in " << f.path();
            }
        }
    }
    EXPECT_GT(uses, 0) << "the scan found no use at all: is VELK_SOURCE_DIR right?";
}

TEST(StringResources, QuotedRussianTextsStandAsGiven)
{
    EXPECT_EQ(LoadStringFromResource(41076), L"Ошибка при добавлении");
    EXPECT_EQ(LoadStringFromResource(10068 + 28), L"UTC+03:00 Москва, Минск, Найроби, Багдад");
    for (unsigned short id = 10068; id < 10068 + 50; ++id) {
        const DBString en = LoadStringFromResourceENU(id);
        EXPECT_EQ(en.substr(0, 3), L"UTC") << id;
        EXPECT_EQ(en.substr(0, 9), LoadStringFromResource(id).substr(0, 9)) << id << " must begin with the same offset";
    }
}
