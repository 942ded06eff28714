#include "base/StringRes.h"

#include <cstdio>
#include <mutex>

// The tables and their filler are defined in this one file, in this order, so
// that the tables exist before the static initialiser below fills them.
StringTable g_StringLocaleENU("ENU");
StringTable g_StringLocale("RUS");
StringTable g_StringLocaleCHN("CHN");
bool g_StringENU = false;

void StringTable::Insert(int id, const char* utf8Text)
{
    if (m_Texts.count(id)) {
        std::fprintf(stderr, "duplicate resource %s identifier: %d\n", m_Language, id);
        return;
    }
    m_Texts.emplace(id, DBString(utf8Text));
}

DBString StringTable::Load(unsigned short id) const
{
    auto it = m_Texts.find(id);
    if (it != m_Texts.end()) return it->second;
    return DBString(m_Language) + DBString().Format(L"%d", static_cast<int>(id));
}

DBString LoadStringFromResource(unsigned short id) { return g_StringLocale.Load(id); }
DBString LoadStringFromResourceENU(unsigned short id) { return g_StringLocaleENU.Load(id); }

DBString _S_(unsigned short id)
{
    return g_StringENU ? LoadStringFromResourceENU(id) : LoadStringFromResource(id);
}

void FillStringTables()
{
    static std::once_flag once;
    std::call_once(once, [] {
        VELKLib_rc();
        VELKDbLib_rc();
        VELKUiLib_rc();
        VELKLibENU_rc();
        VELKDbLibENU_rc();
        VELKUiLibENU_rc();
        Velkonf_rc();
        VelkonfENU_rc();
    });
}

namespace {
[[maybe_unused]] const bool s_Filled = (FillStringTables(), true);
}
