#pragma once
// CMQTT: the MQTT page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CMQTT : public PropertySheetPanel {
public:
    explicit CMQTT(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // The frame fills m_StatusMQTT from each askMQTT reply.
    CStatusMQTT m_StatusMQTT;
};
