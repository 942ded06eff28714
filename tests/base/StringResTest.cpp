// The bilingual string tables: lookup, fall-backs and completeness.
#include "base/StringRes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

namespace {

struct EnglishFor {
    explicit EnglishFor(bool on) : m_Old(g_StringENU) { g_StringENU = on; }
    ~EnglishFor() { g_StringENU = m_Old; }
    bool m_Old;
};

// Every numeric identifier that code asks for: _S_(n), _W_(n), ErrorXML(n...).
std::map<int, std::string> IdsUsedInCode()
{
    namespace fs = std::filesystem;
    const std::regex use(R"((?:\b_S_|\b_W_|\bErrorXML)\(\s*(\d+)\s*[,)])");
    std::map<int, std::string> ids;
    for (const char* dir : {"base", "catalogue", "link", "disp", "app", "pages", "relay", "tools"}) {
        fs::path root = fs::path(VELK_SOURCE_DIR) / dir;
        if (!fs::exists(root)) continue;
        for (const auto& f : fs::recursive_directory_iterator(root)) {
            auto ext = f.path().extension();
            if (ext != ".cpp" && ext != ".h") continue;
            std::ifstream in(f.path());
            std::stringstream text;
            text << in.rdbuf();
            std::string s = text.str();
            for (std::sregex_iterator it(s.begin(), s.end(), use), end; it != end; ++it)
                ids.emplace(std::stoi((*it)[1]), f.path().string());
        }
    }
    return ids;
}

}  // namespace

TEST(StringResources, LookupFollowsTheLanguageOfTheRun)
{
    {
        EnglishFor en(false);
        EXPECT_EQ(_S_(10005), L"Сохранить");
    }
    {
        EnglishFor en(true);
        EXPECT_EQ(_S_(10005), L"Save");
    }
    EXPECT_EQ(LoadStringFromResourceENU(41083), L"Error loadXML");
    EXPECT_EQ(LoadStringFromResource(41083), L"Ошибка loadXML");
}

TEST(StringResources, UnknownIdentifierShowsAsItsNumber)
{
    EnglishFor ru(false);
    EXPECT_EQ(_S_(65000), L"RUS65000");
    EnglishFor en(true);
    EXPECT_EQ(_S_(65000), L"ENU65000");
}

TEST(StringResources, DuplicateKeepsTheFirstTextAndSaysSo)
{
    StringTable t("RUS");
    t.Insert(7, "first");
    testing::internal::CaptureStderr();
    t.Insert(7, "second");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(t.Load(7), L"first");
    EXPECT_EQ(err, "duplicate resource RUS identifier: 7\n");
}

TEST(StringResources, TablesAreFilledBeforeMainAndOnlyOnce)
{
    EXPECT_EQ(static_cast<int>(g_StringLocale.All().size()), StringResourceCount());
    EXPECT_EQ(static_cast<int>(g_StringLocaleENU.All().size()), StringResourceCount());
    EXPECT_TRUE(g_StringLocaleCHN.All().empty());
    testing::internal::CaptureStderr();
    FillStringTables();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a second fill must not insert again";
}

TEST(StringResources, BothTablesHoldTheSameIdentifiers)
{
    for (const auto& [id, text] : g_StringLocaleENU.All()) EXPECT_TRUE(g_StringLocale.Has(id)) << id;
    for (const auto& [id, text] : g_StringLocale.All()) EXPECT_TRUE(g_StringLocaleENU.Has(id)) << id;
}

TEST(StringResources, EveryIdentifierUsedInCodeExistsInBothTables)
{
    auto used = IdsUsedInCode();
    ASSERT_FALSE(used.empty()) << "the scan found no use at all: is VELK_SOURCE_DIR right?";
    for (const auto& [id, file] : used) {
        EXPECT_TRUE(g_StringLocaleENU.Has(id)) << "English text " << id << " used in " << file;
        EXPECT_TRUE(g_StringLocale.Has(id)) << "Russian text " << id << " used in " << file;
    }
}

TEST(StringResources, QuotedRussianTextsStandAsGiven)
{
    EXPECT_EQ(LoadStringFromResource(41076), L"Ошибка при добавлении");
    EXPECT_EQ(LoadStringFromResource(10068 + 28), L"UTC+03:00 Москва, Минск, Найроби, Багдад");
    for (int i = 0; i < 50; ++i) {
        DBString en = LoadStringFromResourceENU(static_cast<unsigned short>(10068 + i));
        DBString ru = LoadStringFromResource(static_cast<unsigned short>(10068 + i));
        EXPECT_EQ(en.substr(0, 9), ru.substr(0, 9)) << "zone " << i << " must begin with the same UTC offset";
        EXPECT_EQ(en.substr(0, 3), L"UTC");
    }
}
