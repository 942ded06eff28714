#pragma once
// CWiFi: the Wi-Fi page, for generation 7 units. The module as a station on
// an external network and as the access point of the unit's own network,
// and the module's state. The field map and the checks live in WiFiFields
// (unit/); this class shows them.
#include "pages/PropertySheetPanel.h"
#include "unit/NetFields.h"
#include "unit/StatusLB.h"

class wxCheckBox;
class wxStaticBox;
class wxTextCtrl;

class CWiFi : public PropertySheetPanel {
public:
    explicit CWiFi(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    // Turns m_StatusWiFi into the status texts; the frame calls it after
    // each askWiFi reply, then DataToPanel.
    void DecodeStatus();
    // Shows the status group only: a reply must not undo what the user types.
    void DataToPanel();

    CStatusWiFi m_StatusWiFi;

private:
    void OnBnClickedEnablExtr(wxCommandEvent& event);
    void OnBnClickedEnablStatic(wxCommandEvent& event);
    void OnBnClickedEnablIntr(wxCommandEvent& event);
    void OnBnClickedRenewInterWifi(wxCommandEvent& event);
    void Toggled(bool& member, wxCommandEvent& event);
    void ApplyEnabled();

    WiFiFields m_Fields;
    wxString m_ExtName, m_ExtPass, m_IntName, m_IntPass;
    // Status texts.
    wxString m_Module, m_Mode, m_Connection, m_MAC, m_RSSI;

    wxCheckBox* m_CbSpecified = nullptr;
    wxCheckBox* m_CbStatic = nullptr;
    wxTextCtrl* m_EdExtName = nullptr;
    wxTextCtrl* m_EdExtPass = nullptr;
    wxTextCtrl* m_EdStatic[4] = {};
    wxTextCtrl* m_EdIntPass = nullptr;
    wxTextCtrl* m_EdChannel = nullptr;
    wxStaticBox* m_StatusBox = nullptr;
};
