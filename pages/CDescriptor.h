#pragma once
// CDescriptor: the Descriptors page, the unit's 96-byte description as text
// and as hexadecimal bytes. Editable only while the setting
// /Param/UserDescriptor is not 0; then an edited text is written back at
// KillActive (DescriptorFields, unit/). Otherwise the page writes nothing.
#include "pages/PropertySheetPanel.h"
#include "unit/DescriptorFields.h"

class wxStaticText;
class wxTextCtrl;

class CDescriptor : public PropertySheetPanel {
public:
    explicit CDescriptor(wxWindow* parent);
    void Init();
    void SetActive() override;
    bool KillActive() override;
    void DataToPanel() { TransferDataToWindow(); }

private:
    static bool Editable();

    DescriptorFields m_Fields;
    wxString m_Text, m_Hex;
    wxTextCtrl* m_EdText = nullptr;
    wxStaticText* m_Hint = nullptr;
};
