#pragma once
// Validators that move a value between a control and a member of a page and
// refuse bad input with a message that names the field, the text and why.
#include <wx/validate.h>

#include <netinet/in.h>

// An IPv4 or IPv6 address held in 16 bytes, IPv4 as the mapped form
// (::ffff:a.b.c.d). Shown as dotted IPv4 when it is a mapped address.
class IPv6Validator : public wxValidator {
public:
    IPv6Validator(in6_addr* value, const wxString& name = wxString());
    wxObject* Clone() const override { return new IPv6Validator(*this); }
    bool Validate(wxWindow* parent) override;
    bool TransferToWindow() override;
    bool TransferFromWindow() override;

    // The text form the control shows for an address.
    static wxString ToText(const in6_addr& value);
    // Reads an IPv4 or IPv6 text; false if it is neither.
    static bool FromText(const wxString& text, in6_addr& value);

private:
    in6_addr* m_Value;
    wxString m_Name;
};
