#pragma once
// CRIN: the SD RIN page. "Test SD" asks the unit to test its SD card
// (packAskTest with typAsk 1) and the line below tells when it was asked.
// No image field: the page writes nothing.
#include "pages/PropertySheetPanel.h"

class CRIN : public PropertySheetPanel {
public:
    explicit CRIN(wxWindow* parent);
    void Init();
    void SetActive() override { TransferDataToWindow(); }
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }

private:
    void OnBnClickedTestRin(wxCommandEvent& event);

    wxString m_Sent;   // when the last test was asked for
};
