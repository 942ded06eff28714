#include "pages/Validators.h"

#include "base/IPv6.h"
#include "pages/WxText.h"

#include <arpa/inet.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>

#include <cstdio>
#include <cstring>

namespace {

wxTextCtrl* TextOf(wxWindow* w) { return dynamic_cast<wxTextCtrl*>(w); }

// Shows "name: text - reason" with the toolkit's own caption and puts the
// focus back on the refused control.
void Refuse(wxWindow* control, const wxString& name, const wxString& text, const wxString& reason)
{
    wxMessageBox(name + ": " + text + " - " + reason, wxMessageBoxCaptionStr, wxOK | wxCENTRE);
    if (control) control->SetFocus();
}

// wxString::ToLong in base 10, cut to 32 bits as the member holds it.
bool ParseInt(const wxString& text, int32_t& value)
{
    long v = 0;
    if (!text.ToLong(&v, 10)) return false;
    value = static_cast<int32_t>(v);
    return true;
}

}  // namespace

IntValidator::IntValidator(int32_t* value, const wxString& name, int32_t min, int32_t max)
    : m_Value(value), m_Name(name), m_Min(min), m_Max(max)
{
}

bool IntValidator::Validate(wxWindow*)
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    if (!ctrl) return true;
    const wxString text = ctrl->GetValue();
    int32_t v = 0;
    if (!ParseInt(text, v)) {
        Refuse(ctrl, m_Name, text, _W_(25001));
        return false;
    }
    if (m_Min >= 0 && m_Max >= 0 && (v < m_Min || v > m_Max)) {
        Refuse(ctrl, m_Name, text, _W_(25002) + wxString::Format(" %d...%d", m_Min, m_Max));
        return false;
    }
    return true;
}

bool IntValidator::TransferToWindow()
{
    if (wxTextCtrl* ctrl = TextOf(GetWindow())) ctrl->ChangeValue(wxString::Format("%d", *m_Value));
    return true;
}

bool IntValidator::TransferFromWindow()
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    return ctrl && ParseInt(ctrl->GetValue(), *m_Value);
}

StringValidator::StringValidator(wxString* value, const wxString& name, int32_t minLen)
    : m_Value(value), m_Name(name), m_MinLen(minLen)
{
}

bool StringValidator::Validate(wxWindow*)
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    if (!ctrl) return true;
    const wxString text = ctrl->GetValue();
    if (m_MinLen <= 0 || static_cast<int32_t>(text.length()) >= m_MinLen) return true;
    Refuse(ctrl, m_Name, text, _W_(25003) + wxString::Format(" %d", m_MinLen));
    return false;
}

bool StringValidator::TransferToWindow()
{
    if (wxTextCtrl* ctrl = TextOf(GetWindow())) ctrl->ChangeValue(*m_Value);
    return true;
}

bool StringValidator::TransferFromWindow()
{
    if (wxTextCtrl* ctrl = TextOf(GetWindow())) *m_Value = ctrl->GetValue();
    return true;
}

IPv4Validator::IPv4Validator(uint32_t* value, const wxString& name) : m_Value(value), m_Name(name) {}

bool IPv4Validator::FromText(const wxString& text, uint32_t& value)
{
    int a = 0, b = 0, c = 0, d = 0;
    const wxCharBuffer narrow = text.mb_str(wxConvLibc);
    if (!narrow.data() || std::sscanf(narrow.data(), "%d.%d.%d.%d", &a, &b, &c, &d) != 4) return false;
    // A negative number sets high bits, so one test refuses it with the rest.
    if ((static_cast<unsigned>(a) | static_cast<unsigned>(b) | static_cast<unsigned>(c) | static_cast<unsigned>(d)) >= 256)
        return false;
    value = static_cast<uint32_t>(a) | static_cast<uint32_t>(b) << 8 | static_cast<uint32_t>(c) << 16 |
            static_cast<uint32_t>(d) << 24;
    return true;
}

bool IPv4Validator::Validate(wxWindow*)
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    if (!ctrl) return true;
    uint32_t dummy = 0;
    if (FromText(ctrl->GetValue(), dummy)) return true;
    Refuse(ctrl, m_Name, ctrl->GetValue(), _W_(25004));
    return false;
}

bool IPv4Validator::TransferToWindow()
{
    if (wxTextCtrl* ctrl = TextOf(GetWindow())) ctrl->ChangeValue(IPtoWxString(static_cast<int>(*m_Value)));
    return true;
}

bool IPv4Validator::TransferFromWindow()
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    return ctrl && FromText(ctrl->GetValue(), *m_Value);
}

IPv6Validator::IPv6Validator(in6_addr* value, const wxString& name) : m_Value(value), m_Name(name) {}

wxString IPv6Validator::ToText(const in6_addr& value)
{
    static const unsigned char kMapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    char buf[INET6_ADDRSTRLEN];
    if (std::memcmp(value.s6_addr, kMapped, 12) == 0)
        return inet_ntop(AF_INET, &value.s6_addr[12], buf, sizeof buf) ? wxString(buf) : wxString("???.???.???.???");
    return inet_ntop(AF_INET6, &value, buf, sizeof buf) ? wxString(buf) : wxString("::????");
}

bool IPv6Validator::FromText(const wxString& text, in6_addr& value)
{
    std::string s = text.ToStdString();
    in_addr v4{};
    if (inet_pton(AF_INET, s.c_str(), &v4) == 1) {
        value = ToIPv6(static_cast<int>(v4.s_addr));
        return true;
    }
    in6_addr v6{};
    if (inet_pton(AF_INET6, s.c_str(), &v6) == 1) {
        value = v6;
        return true;
    }
    return false;
}

bool IPv6Validator::Validate(wxWindow*)
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    if (!ctrl) return true;
    in6_addr dummy{};
    if (FromText(ctrl->GetValue(), dummy)) return true;
    Refuse(ctrl, m_Name, ctrl->GetValue(), _W_(25005));
    return false;
}

bool IPv6Validator::TransferToWindow()
{
    if (wxTextCtrl* ctrl = TextOf(GetWindow())) ctrl->ChangeValue(ToText(*m_Value));
    return true;
}

bool IPv6Validator::TransferFromWindow()
{
    wxTextCtrl* ctrl = TextOf(GetWindow());
    return ctrl && FromText(ctrl->GetValue(), *m_Value);
}
