#pragma once
// Validators that move a value between a control and a member of a page and
// refuse bad input with a message that names the field, the text and why.
#include <wx/validate.h>

#include <netinet/in.h>

#include <cstdint>

// A whole number in a text control. Limits are inclusive; a negative limit
// switches the range check off (every checked range starts at 0 or above).
class IntValidator : public wxValidator {
public:
    IntValidator(int32_t* value, const wxString& name = wxString(), int32_t min = -1, int32_t max = -1);
    wxObject* Clone() const override { return new IntValidator(*this); }
    bool Validate(wxWindow* parent) override;
    bool TransferToWindow() override;
    bool TransferFromWindow() override;

private:
    int32_t* m_Value;
    wxString m_Name;
    int32_t m_Min;
    int32_t m_Max;
};

// A text with an optional minimum length (0 or less: none). The maximum is
// the control's SetMaxLength or the field's width in the image.
class StringValidator : public wxValidator {
public:
    StringValidator(wxString* value, const wxString& name = wxString(), int32_t minLen = 0);
    wxObject* Clone() const override { return new StringValidator(*this); }
    bool Validate(wxWindow* parent) override;
    bool TransferToWindow() override;
    bool TransferFromWindow() override;

private:
    wxString* m_Value;
    wxString m_Name;
    int32_t m_MinLen;
};

// A dotted IPv4 address held as it lies on the wire: first number in the
// lowest byte. Read with sscanf "%d.%d.%d.%d": trailing text after the
// fourth number passes and 010 is ten, and that must stay so.
class IPv4Validator : public wxValidator {
public:
    IPv4Validator(uint32_t* value, const wxString& name = wxString());
    wxObject* Clone() const override { return new IPv4Validator(*this); }
    bool Validate(wxWindow* parent) override;
    bool TransferToWindow() override;
    bool TransferFromWindow() override;

    // False if the text is not four numbers each of 0..255.
    static bool FromText(const wxString& text, uint32_t& value);

private:
    uint32_t* m_Value;
    wxString m_Name;
};

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
