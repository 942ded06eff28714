#include "pages/WxText.h"

#include "base/StringRes.h"

wxString _W_(unsigned short id) { return toWxString(_S_(id)); }

wxString toWxString(const DBString& text) { return wxString(text.c_str(), text.size()); }

DBString toDBString(const wxString& text) { return DBString(text.ToStdWstring()); }

wxString IPtoWxString(int address)
{
    auto a = static_cast<unsigned>(address);
    return wxString::Format("%d.%d.%d.%d", a & 0xFF, (a >> 8) & 0xFF, (a >> 16) & 0xFF, (a >> 24) & 0xFF);
}
