#pragma once
// CG4: the 4G page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CG4 : public PropertySheetPanel {
public:
    explicit CG4(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // The frame fills m_StatusG4 from each askG4 reply.
    CStatusG4 m_StatusG4;
};
