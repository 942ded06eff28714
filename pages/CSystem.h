#pragma once
// Interim System page: replaced by the page with its controls.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CSystem : public PropertySheetPanel {
public:
    explicit CSystem(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    void DecodeStatus() {}
    CStatusSys m_StatusSys;
    int m_TimeZone = 50;
};
