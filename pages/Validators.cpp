#include "pages/Validators.h"

#include "base/IPv6.h"
#include "pages/WxText.h"

#include <arpa/inet.h>
#include <wx/msgdlg.h>
#include <wx/textctrl.h>

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

}  // namespace

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
