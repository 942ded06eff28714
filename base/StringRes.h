#pragma once
// Bilingual string resources: every text the user sees has a number and an
// English and a Russian form. The texts themselves live in base/res/*.po,
// one file per library, from which the build generates the fill functions.
//
// The tables are filled before main and are read-only afterwards, so any
// thread may look a text up without a lock.
#include "base/DBString.h"

#include <map>

class StringTable {
public:
    explicit StringTable(const char* language) : m_Language(language) {}
    // Adds a text. A second text for a known identifier is reported on
    // standard error and dropped; the first one stays.
    void Insert(int id, const char* utf8Text);
    // The text, or "<language>%d" for an unknown identifier, e.g. "RUS10005",
    // so that a missing text shows on screen as its number.
    DBString Load(unsigned short id) const;
    bool Has(int id) const { return m_Texts.count(id) != 0; }
    const std::map<int, DBString>& All() const { return m_Texts; }

private:
    const char* m_Language;
    std::map<int, DBString> m_Texts;
};

extern StringTable g_StringLocaleENU;   // English
extern StringTable g_StringLocale;      // Russian
extern StringTable g_StringLocaleCHN;   // exists, and stays empty
// True selects English. OnInit sets it from the command line and the client
// configuration file before the first window is built.
extern bool g_StringENU;

DBString LoadStringFromResource(unsigned short id);      // Russian
DBString LoadStringFromResourceENU(unsigned short id);   // English
// The text in the language of the run.
DBString _S_(unsigned short id);

// Fills both tables once, in the order of the libraries at start-up; later
// calls do nothing. Runs from a static initialiser, and again (harmlessly)
// from the application's start-up.
void FillStringTables();

// Generated from base/res/*.po.
void VELKLib_rc();
void VELKDbLib_rc();
void VELKUiLib_rc();
void Velkonf_rc();
void VELKLibENU_rc();
void VELKDbLibENU_rc();
void VELKUiLibENU_rc();
void VelkonfENU_rc();
int StringResourceCount();
