#pragma once
// VelkonfFrame: the program's only top-level window, a property sheet whose
// book starts with the Connection page alone and gets the parameter pages
// once a unit's image has been read. It holds the buttons at the foot of the
// window and saves its own size. All of it runs on the user-interface thread.
#include "unit/SaveCheck.h"

#include <wx/propdlg.h>
#include <wx/timer.h>

#include <vector>

class CConnect;
class CDescriptor;
class CDirect;
class CG4;
class CLink;
class CMQTT;
class COwn;
class CPackV7;
class CRIN;
class CStatistic;
class CSystem;
class CVoice;
class CWiFi;
class PropertySheetPanel;
class wxBookCtrlEvent;
class wxButton;

class VelkonfFrame : public wxPropertySheetDialog {
public:
    VelkonfFrame();
    ~VelkonfFrame() override;

    // Saves the geometry and closes; the two close handlers end here.
    bool Destroy() override;
    // The tab of the first page names what it offers: to disconnect ...
    bool Connect();
    // ... or to connect.
    bool Disconnect();
    // The keep-alive timer of cloud connections.
    void StartLink();
    void StopLink();
    // Takes a page out of the book without deleting it.
    void RemovePage(PropertySheetPanel* page);
    // Adds the parameter pages the unit calls for, once its image is read;
    // nothing while they are in the book already.
    bool AddParam();
    // Takes them out again; before the unit's kind is cleared, since the
    // conditions are read again.
    bool RemoveParam();

    // A connection attempt of the check after a save has timed out.
    void SaveCheckMissed();

    CConnect* m_Connect = nullptr;
    CSystem* m_System = nullptr;
    CVoice* m_Voice = nullptr;
    CLink* m_Link = nullptr;
    COwn* m_Own = nullptr;
    CDirect* m_Direct = nullptr;
    CStatistic* m_Statistic = nullptr;
    CDescriptor* m_Descriptor = nullptr;
    CWiFi* m_WiFi = nullptr;
    CRIN* m_RIN = nullptr;
    CMQTT* m_MQTT = nullptr;
    CG4* m_G4 = nullptr;
    wxButton* m_BtnSave = nullptr;
    wxButton* m_BtnMore = nullptr;
    wxTimer m_TimerLink;
    wxTimer m_TimerCheck;            // the next connection of the check after a save
    SaveCheck m_SaveCheck;
    bool m_Destroyed = false;

private:
    void OnClose(wxCloseEvent& event);
    void OnCloseButton(wxCommandEvent& event);
    void OnAbout(wxCommandEvent& event);
    void OnMoreUtil(wxCommandEvent& event);
    // The tools of the Additional functions menu (StartTool does the work).
    void OnTool(wxCommandEvent& event);
    void OnDeftTool(wxCommandEvent& event);
    void OnNVRAM(wxCommandEvent& event);
    void OnSvt(wxCommandEvent& event);
    void OnBattery(wxCommandEvent& event);
    void OnDisp(wxCommandEvent& event);
    void StartTool(int id);
    // A tools' relay has stopped: closed relays are deleted here.
    void OnClrUtil(wxCommandEvent& event);
    // Save: the changed chunks of the image, then the restart request.
    void OnApply(wxCommandEvent& event);
    void OnTimerSendLink(wxTimerEvent& event);
    // The check after a save: on every method but the cloud buttons, wait
    // for the unit's restart, connect again by the same method, and compare
    // the image read with the one written.
    void StartSaveCheck(const CLBNVRAM& written, const std::vector<int>& blocks);
    void OnTimerCheck(wxTimerEvent& event);
    void EndSaveCheck();
    // Everything the unit says reaches the pages here.
    void OnMngPack(wxCommandEvent& event);
    void OnNoLink(wxCommandEvent& event);
    void MngPack(CPackV7& pack);
    void MngRefusal(const CPackV7& pack);
    void MngAsk(CPackV7& pack);
    void MngInfo(CPackV7& pack);
    void MngStatus(const CPackV7& pack);
    void MngDirect(CPackV7& pack);
    struct PageEntry {
        PropertySheetPanel* page;
        wxString text;
        bool shown;   // the unit calls for it
    };
    // The parameter pages in the order of the book, with whether each is
    // shown for the connected unit and the OpenLink setting.
    std::vector<PageEntry> ParamPages() const;
    // The pages appear once the image is complete and a status has come.
    void CheckComplete();
    // The steps of OnApply before its question; false stops the save.
    bool CheckSave();
    void OnPageChanging(wxBookCtrlEvent& event);
    void OnPageChanged(wxBookCtrlEvent& event);
    int FindPage(wxWindow* page) const;
    // The page exists and is in the book now.
    bool InBook(PropertySheetPanel* page) const;
    void SetTabText(wxWindow* page, const wxString& text);

    wxDECLARE_EVENT_TABLE();
};
