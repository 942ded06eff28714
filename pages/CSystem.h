#pragma once
// The System page: identifier, MAC address, link key, ping switch, NTP server
// and time zone, and a live view of the unit's time service. The field map
// and the checks live in SystemFields (unit/); this class shows them.
//
// Identifier and MAC are a service matter: editable only when the setting
// /Param/ChgMacAddr is not 0.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"
#include "unit/SystemFields.h"

#include <wx/colour.h>

class wxButton;
class wxComboBox;
class wxTextCtrl;

class CSystem : public PropertySheetPanel {
public:
    explicit CSystem(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    void DataToPanel() { TransferDataToWindow(); }
    // Shows m_StatusSys, which the frame has just filled from an askSystem answer.
    void DecodeStatus();

    CStatusSys m_StatusSys;
    // The time-zone selection: 0..49, or 50 for none; the frame refuses to
    // save a unit with time service while it is 50 or more.
    int m_TimeZone = kTimeZones;

private:
    void OnEnChangeKey(wxCommandEvent& event);
    void OnBnClickedRenewNtp(wxCommandEvent& event);
    static bool EditIdent();

    const wxColour m_ClrSet{255, 255, 128};        // the field as the image holds it
    const wxColour m_ClrFallback{128, 255, 128};   // the field came from its fallback
    const wxColour m_ClrGood{0, 255, 0};
    const wxColour m_ClrFair{255, 255, 0};
    const wxColour m_ClrPoor{255, 128, 0};
    const wxColour m_ClrBad{255, 0, 0};

    wxTextCtrl* m_EdIdent = nullptr;
    wxTextCtrl* m_EdMAC = nullptr;
    wxTextCtrl* m_EdLocalTime = nullptr;
    wxComboBox* m_CbZone = nullptr;
    wxButton* m_BtnRefresh = nullptr;

    SystemFields m_Fields;           // node and ping are bound directly
    wxString m_MAC, m_Key, m_Key2, m_NTP;
    // Status texts.
    wxString m_ZoneText, m_LocalTime, m_SourceText;
};
