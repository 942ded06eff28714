#pragma once
// CG4: the page of the unit's 4G module: the APN, the roaming switch, and
// the module's state from the askG4 reply. The field map lives in G4Fields
// (unit/); this class shows it.
#include "pages/PropertySheetPanel.h"
#include "unit/NetFields.h"
#include "unit/StatusLB.h"

class wxStaticBox;

class CG4 : public PropertySheetPanel {
public:
    explicit CG4(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    // Shows m_StatusG4; only the status group, so typing is not undone.
    void DataToPanel();

    // The frame fills this from each askG4 reply.
    CStatusG4 m_StatusG4;

private:
    void OnBnClickedRefresh(wxCommandEvent& event);
    void OnBnClickedRestart(wxCommandEvent& event);

    G4Fields m_Fields;
    wxString m_APN;
    wxString m_Version, m_IMEI, m_SIM, m_Module, m_Info, m_Signal, m_Registration, m_Address;
    wxStaticBox* m_StatusBox = nullptr;
};
