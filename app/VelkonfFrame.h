#pragma once
// VelkonfFrame: the program's only top-level window, a property sheet whose
// book starts with the Connection page alone and gets the parameter pages
// once a unit's image has been read. It holds the buttons at the foot of the
// window and saves its own size. All of it runs on the user-interface thread.
#include <wx/propdlg.h>
#include <wx/timer.h>

class CConnect;
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

    CConnect* m_Connect = nullptr;
    wxButton* m_BtnSave = nullptr;
    wxButton* m_BtnMore = nullptr;
    wxTimer m_TimerLink;
    bool m_Destroyed = false;

private:
    void OnClose(wxCloseEvent& event);
    void OnCloseButton(wxCommandEvent& event);
    void OnAbout(wxCommandEvent& event);
    void OnMoreUtil(wxCommandEvent& event);
    void OnPageChanging(wxBookCtrlEvent& event);
    void OnPageChanged(wxBookCtrlEvent& event);
    int FindPage(wxWindow* page) const;
    void SetTabText(wxWindow* page, const wxString& text);

    wxDECLARE_EVENT_TABLE();
};
