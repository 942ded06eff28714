#pragma once
// CLink: the Parameters page, nine timing values of the unit's link layer.
// The field map, scales and range checks live in LinkFields (unit/); this
// class shows them. In the book only while /Param/OpenLink is not 0.
#include "pages/PropertySheetPanel.h"
#include "unit/LinkFields.h"

class CLink : public PropertySheetPanel {
public:
    explicit CLink(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    void DataToPanel() { TransferDataToWindow(); }

private:
    void OnBnClickedDefault(wxCommandEvent& event);

    LinkFields m_Fields;   // the nine members, bound to the controls
};
