#pragma once
// COwn: the Ethernet page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class COwn : public PropertySheetPanel {
public:
    explicit COwn(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // A new connection: the status of the last one is gone.
    void Clear() { m_StatusEth = CStatusEth(); }
    // The frame fills m_StatusEth from each askStatus reply.
    CStatusEth m_StatusEth;
};
