#pragma once
// CConnect: the Connection page, first in the book and the only page before
// a unit has answered. The user picks one of four connection methods and
// presses one button, which starts and ends a connection.
#include "pages/PropertySheetPanel.h"

#include <wx/timer.h>

#include <netinet/in.h>

#include <vector>

class COnOffPassWD;
class wxButton;
class wxComboBox;
class wxProgressDialog;
class wxRadioButton;
class wxStaticText;
class wxTextCtrl;

class CConnect : public PropertySheetPanel {
public:
    explicit CConnect(wxWindow* parent);
    ~CConnect() override;

    void Init();
    void SetActive() override {}
    bool KillActive() override { return true; }

    // Enables the fields of the chosen method.
    void Enable();
    void EnableInput();
    void DisableInput();
    void EnableButton();
    void ShowErr(const wxString& text);
    void ClrErr();

    void OnBnClickedSelPort(wxCommandEvent& event);
    void OnBnClickedSelIp(wxCommandEvent& event);
    void OnBnClickedSelCloud(wxCommandEvent& event);
    void OnBnClickedSelCloudKey(wxCommandEvent& event);
    void OnCbnDropdownComPort(wxCommandEvent& event);

    // Names under the USB serial folder, "." and ".." left out; an absent
    // folder gives none.
    static wxArrayString ListSerialPorts(const char* folder);

    wxTimer m_Timer;
    wxString m_ComPort;
    in6_addr m_IP{};
    int m_Port = 46000;
    wxString m_Key;
    int m_Ident = 2;
    int m_Tick = 0;
    wxComboBox* m_ComboPort = nullptr;
    wxTextCtrl* m_EditIP = nullptr;
    wxTextCtrl* m_EditPort = nullptr;
    wxTextCtrl* m_EditKey = nullptr;
    COnOffPassWD* m_ShowKey = nullptr;
    wxButton* m_BtnConnect = nullptr;
    wxRadioButton* m_RadioUSB = nullptr;
    wxRadioButton* m_RadioIP = nullptr;
    wxRadioButton* m_RadioCloud = nullptr;
    wxRadioButton* m_RadioCloudKey = nullptr;
    wxTextCtrl* m_EditIdent = nullptr;
    wxStaticText* m_TextErr = nullptr;
    wxProgressDialog* m_Progress = nullptr;

private:
    void SelectMethod(int typConnect);
    // Every control of the page, the connect button included.
    std::vector<wxWindow*> Inputs() const;
    void StopProgress();
};
