#pragma once
// CStatistic: the Statistics page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CStatistic : public PropertySheetPanel {
public:
    explicit CStatistic(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // The frame fills m_Counters from each askStatistic reply.
    CStatCounters m_Counters;
};
