#pragma once
// CMQTT: the page of the unit's MQTT client: broker, credentials, topic,
// QoS and flags, and the client's live state from the askMQTT reply. The
// field map lives in MQTTFields (unit/); this class shows it.
#include "pages/PropertySheetPanel.h"
#include "unit/NetFields.h"
#include "unit/StatusLB.h"

class wxStaticBox;

class CMQTT : public PropertySheetPanel {
public:
    explicit CMQTT(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    // Shows m_StatusMQTT; only the status group, so typing is not undone.
    void DataToPanel();

    // The frame fills this from each askMQTT reply.
    CStatusMQTT m_StatusMQTT;

private:
    void OnBnClickedRefreshMqtt(wxCommandEvent& event);
    void OnBnClickedReconnectMqtt(wxCommandEvent& event);

    MQTTFields m_Fields;
    wxString m_Broker, m_Login, m_Password, m_Topic;
    wxString m_OnOff, m_Socket, m_Connection;
    wxStaticBox* m_StatusBox = nullptr;
};
