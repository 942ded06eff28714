#pragma once
// COwn: the Ethernet page. How the unit's own port gets its address (DHCP,
// static or PPPoE), its UDP ports, and what the port is doing now. The field
// map lives in OwnFields (unit/); this class shows it.
#include "pages/PropertySheetPanel.h"
#include "unit/NetFields.h"
#include "unit/StatusLB.h"

class wxRadioButton;
class wxStaticBox;
class wxTextCtrl;

class COwn : public PropertySheetPanel {
public:
    explicit COwn(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    // Shows m_StatusEth, which the frame has just filled from an askStatus
    // reply. Only the status group is transferred: a reply must not undo
    // what the user is typing.
    void DataToPanel();
    // A new connection: the last unit's status is gone.
    void Clear();

    // The frame fills this from each askStatus reply; its m_Seen is the
    // status-seen flag that gates adding the parameter pages.
    CStatusEth m_StatusEth;

private:
    void OnBnClickedDhcp(wxCommandEvent& event);
    void OnBnClickedStaticIp(wxCommandEvent& event);
    void OnBnClickedPppoe(wxCommandEvent& event);
    void OnBnClickedOwnRefresh(wxCommandEvent& event);
    void SetType(int type);
    void ApplyEnabled();
    void StatusToMembers();

    OwnFields m_Fields;
    wxString m_Login, m_Password;
    // Status texts.
    wxString m_CableText, m_MACText, m_TypeText, m_StateText;

    wxRadioButton* m_RbType[3] = {};
    wxTextCtrl* m_EdLogin = nullptr;
    wxTextCtrl* m_EdPassword = nullptr;
    wxTextCtrl* m_EdAddr[4] = {};   // IP, mask, gateway, DNS
    wxStaticBox* m_StatusBox = nullptr;
};
