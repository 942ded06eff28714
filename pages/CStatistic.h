#pragma once
// CStatistic: the Statistics page, ten traffic counters of the unit under
// the groups Ethernet, Wi-Fi and 4G, read with askStatistic when the page
// opens and on Refresh. Read-only: it writes nothing to the image.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"

class CStatistic : public PropertySheetPanel {
public:
    explicit CStatistic(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
    // Formats m_Counters first: the frame calls this after each reply.
    bool TransferDataToWindow() override;

    // The frame fills m_Counters from each askStatistic reply.
    CStatCounters m_Counters;

private:
    void OnBnClickedRefresh(wxCommandEvent& event);

    wxString m_Text[CStatCounters::kCount];
};
