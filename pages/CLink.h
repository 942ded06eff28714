#pragma once
// CLink: the Parameters page (link timing). For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"

class CLink : public PropertySheetPanel {
public:
    explicit CLink(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
};
