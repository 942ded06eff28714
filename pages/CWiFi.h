#pragma once
// CWiFi: the Wi-Fi page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CWiFi : public PropertySheetPanel {
public:
    explicit CWiFi(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // The frame fills m_StatusWiFi from each askWiFi reply.
    CStatusWiFi m_StatusWiFi;
};
