#pragma once
// CDirect: the Links page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

#include <map>

class CDirect : public PropertySheetPanel {
public:
    explicit CDirect(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // The state of each link in use, by link number, from the askDirect replies.
    std::map<int, CDirectOne> m_StatusDirect;
};
