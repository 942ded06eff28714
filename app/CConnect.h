#pragma once
// CConnect: the Connection page, first in the book and the only page before
// a unit has answered. The user picks one of four connection methods and
// presses one button, which starts and ends a connection.
#include "link/V7Net.h"
#include "pages/PropertySheetPanel.h"

#include <wx/timer.h>

#include <netinet/in.h>

#include <string>
#include <vector>

class CUnitLB;

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
    // Connects by the chosen method, or disconnects the running one.
    void OnBnClickedConnect(wxCommandEvent& event);
    // The read of the unit's image: askInfo, eight reads, askStatus.
    void OnBnClickedRead();
    void OnTimerConnect(wxTimerEvent& event);
    // A reply of the read has been taken; the progress shows how many.
    void CountReply(const CUnitLB& unit);

    // Names under the USB serial folder, "." and ".." left out; an absent
    // folder gives none.
    static wxArrayString ListSerialPorts(const char* folder);
    // The device of a port name: a name of the USB serial folder, or an
    // absolute path as it is.
    static std::string PortPath(const wxString& name);

    wxTimer m_Timer;
    wxString m_ComPort;
    in6_addr m_IP{};
    int m_Port = V7Net::kUnitPort;
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
    int m_Replies = 0;               // replies of the running read
    int m_Expected = 11;             // replies the read calls for, once askInfo tells

private:
    void SelectMethod(int typConnect);
    void ConnectUSB();
    void ConnectIP();
    void ConnectCloud();
    // False when the key was refused (nothing else happens then).
    bool ConnectCloudKey();
    // Validate and TransferDataFromWindow.
    bool TakeInput();
    // The key of an IP or cloud-key connection into the receiver; false for
    // a key the cloud-key rules refuse (reported already).
    bool TakeKey(bool cloudRules);
    // Own identifier, unit identifier, the carrier started.
    void StartNet(const in6_addr& addr, int port, bool byCloud);
    void StopNet();
    void Head();
    void Start();
    void Tail();
    void SaveSettings();
    void RefreshPorts(wxCommandEvent& event);
    wxString ProgressText() const;
    // Every control of the page, the connect button included.
    std::vector<wxWindow*> Inputs() const;
    void StopProgress();
};
