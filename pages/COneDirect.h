#pragma once
// COneDirect: the dialog of one link record. It has no OK button: Return
// (or the keypad's Enter) and the close box check and write the record,
// Escape leaves without writing.
#include "unit/DirectFields.h"

#include <wx/dialog.h>

class CListDirect;
class wxCheckBox;
class wxTextCtrl;

class COneDirect : public wxDialog {
public:
    COneDirect(CListDirect* list, int index);

    // Loads the record into the controls (the dialog's init step).
    void Load();
    // Checks and writes: wxID_OK when written, wxID_CANCEL when the user
    // gave up after a bad field, 0 to stay in the dialog.
    int Finish();

    DirectRecord m_Rec;        // identifier, ports, type, addresses, return time
    wxString m_Domain;
    bool m_AltDefined = false;
    bool m_Changed = false;
    int m_Index;

private:
    void OnInitDialog(wxInitDialogEvent& event);
    void OnClose(wxCloseEvent& event);
    void OnKeyDown(wxKeyEvent& event);
    void OnEnChange(wxCommandEvent& event);
    void OnEnChangeDomain(wxCommandEvent& event);
    void OnBnClickedExistAlter(wxCommandEvent& event);
    void SetEnable();

    CListDirect* m_List;
    wxTextCtrl* m_EdIP = nullptr;
    wxTextCtrl* m_EdDomain = nullptr;
    wxCheckBox* m_ChkAlt = nullptr;
    wxTextCtrl* m_EdReturn = nullptr;
    wxTextCtrl* m_EdAltIP = nullptr;
};
