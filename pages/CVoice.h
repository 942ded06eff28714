#pragma once
// CVoice: the Voice page. For now a tab without controls: it shows nothing and
// writes nothing to the image, so the book has every tab a unit calls for.
#include "pages/PropertySheetPanel.h"

class CVoice : public PropertySheetPanel {
public:
    explicit CVoice(wxWindow* parent) : PropertySheetPanel(parent) {}
    void Init() {}
    void SetActive() override {}
    bool KillActive() override { return true; }
    void DataToPanel() { TransferDataToWindow(); }
};
