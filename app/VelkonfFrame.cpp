#include "app/VelkonfFrame.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "pages/WxText.h"

#include <wx/aboutdlg.h>
#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/config.h>
#include <wx/menu.h>
#include <wx/sizer.h>

#include "app/velkonf.xpm"

namespace {
constexpr int kTimerLinkId = 5999;
constexpr int kKeepAliveMs = 20000;
// The tools of the Additional functions menu; each item's id is its text's.
constexpr int kToolIds[] = {10263, 10264, 10265, 10266, 10267, 10268};
}  // namespace

// clang-format off
wxBEGIN_EVENT_TABLE(VelkonfFrame, wxPropertySheetDialog)
    EVT_CLOSE(VelkonfFrame::OnClose)
    EVT_BUTTON(wxID_CLOSE, VelkonfFrame::OnCloseButton)
    EVT_BUTTON(wxID_HELP, VelkonfFrame::OnAbout)
    EVT_BUTTON(wxID_NO, VelkonfFrame::OnMoreUtil)
wxEND_EVENT_TABLE()
// clang-format on

VelkonfFrame::VelkonfFrame() : m_TimerLink(this, kTimerLinkId)
{
    Create(nullptr, wxID_ANY, "Velkonf", wxDefaultPosition, wxDefaultSize, wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER);
    SetIcon(wxIcon(velkonf_xpm));

    wxStdDialogButtonSizer* buttons = CreateStdDialogButtonSizer(wxAPPLY | wxCLOSE | wxNO | wxHELP);
    m_BtnSave = static_cast<wxButton*>(FindWindow(wxID_APPLY));
    m_BtnMore = static_cast<wxButton*>(FindWindow(wxID_NO));
    m_BtnSave->SetLabel(_W_(10005));
    m_BtnMore->SetLabel(_W_(10262));
    static_cast<wxButton*>(FindWindow(wxID_HELP))->SetLabel(_W_(10000));
    GetInnerSizer()->Add(buttons, 0, wxEXPAND | wxLEFT | wxRIGHT);
    GetInnerSizer()->AddSpacer(2);
    // Escape acts as the Close button: the window is a dialog, but nothing
    // here is cancelled.
    SetEscapeId(wxID_CLOSE);

    m_Connect = new CConnect(GetBookCtrl());
    m_Connect->Init();
    GetBookCtrl()->AddPage(m_Connect, _W_(10007), true);

    GetBookCtrl()->Bind(wxEVT_NOTEBOOK_PAGE_CHANGING, &VelkonfFrame::OnPageChanging, this);
    GetBookCtrl()->Bind(wxEVT_NOTEBOOK_PAGE_CHANGED, &VelkonfFrame::OnPageChanged, this);

    LayoutDialog(wxBOTH);
    m_BtnSave->Disable();
    m_BtnMore->Disable();
    m_Connect->SetActive();

    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    SetClientSize(static_cast<int>(cfg->ReadLong("width", 800)), static_cast<int>(cfg->ReadLong("height", 600)));
}

VelkonfFrame::~VelkonfFrame()
{
    // Events posted from now on find no frame (VelkonfApp::PostToFrame).
    VelkonfFrame* self = this;
    wxGetApp().m_Frame.compare_exchange_strong(self, nullptr);
}

bool VelkonfFrame::Destroy()
{
    if (m_Destroyed) return true;
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    wxSize size = GetClientSize();
    wxPoint pos = GetPosition();
    cfg->Write("x", pos.x);
    cfg->Write("y", pos.y);
    cfg->Write("width", size.x);
    cfg->Write("height", size.y);
    bool done = wxTopLevelWindowBase::Destroy();
    m_Destroyed = true;   // book events during the teardown are ignored from here
    return done;
}

int VelkonfFrame::FindPage(wxWindow* page) const
{
    wxBookCtrlBase* book = GetBookCtrl();
    for (size_t i = 0; i < book->GetPageCount(); ++i)
        if (book->GetPage(i) == page) return static_cast<int>(i);
    return wxNOT_FOUND;
}

void VelkonfFrame::SetTabText(wxWindow* page, const wxString& text)
{
    int index = FindPage(page);
    if (index != wxNOT_FOUND) GetBookCtrl()->SetPageText(static_cast<size_t>(index), text);
}

bool VelkonfFrame::Connect()
{
    SetTabText(m_Connect, _W_(10006));
    return true;
}

bool VelkonfFrame::Disconnect()
{
    SetTabText(m_Connect, _W_(10007));
    return true;
}

void VelkonfFrame::StartLink() { m_TimerLink.Start(kKeepAliveMs, wxTIMER_CONTINUOUS); }

void VelkonfFrame::StopLink() { m_TimerLink.Stop(); }

void VelkonfFrame::RemovePage(PropertySheetPanel* page)
{
    int index = FindPage(page);
    if (index != wxNOT_FOUND) GetBookCtrl()->RemovePage(static_cast<size_t>(index));
}

void VelkonfFrame::OnClose(wxCloseEvent&) { Destroy(); }

void VelkonfFrame::OnCloseButton(wxCommandEvent&) { Destroy(); }

void VelkonfFrame::OnAbout(wxCommandEvent&)
{
    wxAboutDialogInfo info;
    info.SetName("Velkonf");
    info.SetVersion(Version);
    info.SetDescription(_W_(10133));
    info.SetCopyright(_W_(10132));
    info.SetWebSite(_W_(10134));
    info.AddDeveloper(_W_(10135));
    wxAboutBox(info, this);
}

void VelkonfFrame::OnMoreUtil(wxCommandEvent&)
{
    wxMenu menu;
    for (int id : kToolIds) menu.Append(id, _W_(static_cast<unsigned short>(id)));
    PopupMenu(&menu);
}

void VelkonfFrame::OnPageChanging(wxBookCtrlEvent& event)
{
    if (m_Destroyed) return;
    int old = event.GetOldSelection();
    wxGetApp().m_BadLog.PutFormat(L"OnPageChanging old=%d, cur=%d", old, event.GetSelection());
    if (old == wxNOT_FOUND) return;
    auto* page = dynamic_cast<PropertySheetPanel*>(GetBookCtrl()->GetPage(static_cast<size_t>(old)));
    if (page && !page->KillActive()) event.Veto();
}

void VelkonfFrame::OnPageChanged(wxBookCtrlEvent& event)
{
    if (m_Destroyed) return;
    int cur = event.GetSelection();
    wxGetApp().m_BadLog.PutFormat(L"OnPageChanged old=%d, cur=%d", event.GetOldSelection(), cur);
    if (cur == wxNOT_FOUND) return;
    if (auto* page = dynamic_cast<PropertySheetPanel*>(GetBookCtrl()->GetPage(static_cast<size_t>(cur))))
        page->SetActive();
}
