#pragma once
// CVoice: the Voice page, a read-only overview of the voice side: the unit's
// own voice port as its Ethernet parameters hold it and as the unit reports
// it in use, and the voice port of each link record in use beside the one
// its live link reports. The frame hands it each status; it writes nothing.
#include "pages/PropertySheetPanel.h"
#include "unit/StatusLB.h"
#include "unit/VoiceFields.h"

#include <map>

class wxListCtrl;

class CVoice : public PropertySheetPanel {
public:
    explicit CVoice(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override { return true; }
    void DataToPanel();

    // The last askStatus the unit sent, and the live links of the last
    // Links refresh; the frame keeps them current.
    void TakeStatus(const CStatusEth& status);
    void TakeLinks(const std::map<int, CDirectOne>& links);

private:
    void OnBnClickedRefresh(wxCommandEvent& event);

    VoiceFields m_Fields;
    CStatusEth m_Status;
    std::map<int, int> m_LivePort;   // voice port in use, by neighbour node
    wxString m_Own, m_InUse, m_Cable;
    wxListCtrl* m_List = nullptr;
};
