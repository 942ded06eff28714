#include "app/VelkonfFrame.h"

#include "app/CConnect.h"
#include "app/CFileImage.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfEvents.h"
#include "base/StringRes.h"
#include "catalogue/CDev.h"
#include "pages/CDescriptor.h"
#include "pages/CDirect.h"
#include "pages/CG4.h"
#include "pages/CLink.h"
#include "pages/CMQTT.h"
#include "pages/COwn.h"
#include "pages/CRIN.h"
#include "pages/CStatistic.h"
#include "pages/CSystem.h"
#include "pages/CVoice.h"
#include "pages/CWiFi.h"
#include "pages/WxText.h"
#include "relaycore/ToolLaunch.h"
#include "unit/FieldCatalogue.h"
#include "unit/ImageFile.h"

#include <wx/aboutdlg.h>
#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/config.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/richmsgdlg.h>
#include <wx/sizer.h>

#include <algorithm>
#include <ctime>

#include "app/velkonf.xpm"

namespace {
constexpr int kTimerLinkId = 5999;
constexpr int kTimerCheckId = 5998;
// From the restart request to the first connection of the check, and between
// attempts; /Param/SaveCheckDelay (ms) overrides it.
constexpr int kSaveCheckDelayMs = 5000;
constexpr int kKeepAliveMs = 20000;
// Seconds from 1900 to the Unix epoch: the keep-alive carries NTP time.
constexpr long long kNtpEpoch = 2208988800LL;
constexpr int kData = 14;   // data byte 0 of a reply

void ErrorBox(unsigned short id) { wxMessageBox(_W_(id), "Velkonf", wxOK | wxICON_ERROR); }

int SaveCheckDelay()
{
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    return static_cast<int>(std::clamp(cfg->ReadLong("SaveCheckDelay", kSaveCheckDelayMs), 100L, 600000L));
}

}  // namespace

// clang-format off
wxBEGIN_EVENT_TABLE(VelkonfFrame, wxPropertySheetDialog)
    EVT_CLOSE(VelkonfFrame::OnClose)
    EVT_BUTTON(wxID_CLOSE, VelkonfFrame::OnCloseButton)
    EVT_BUTTON(wxID_HELP, VelkonfFrame::OnAbout)
    EVT_BUTTON(wxID_APPLY, VelkonfFrame::OnApply)
    EVT_BUTTON(wxID_NO, VelkonfFrame::OnMoreUtil)
    EVT_TIMER(kTimerLinkId, VelkonfFrame::OnTimerSendLink)
    EVT_TIMER(kTimerCheckId, VelkonfFrame::OnTimerCheck)
    EVT_COMMAND(wxID_ANY, MNG_PACK, VelkonfFrame::OnMngPack)
    EVT_COMMAND(wxID_ANY, NO_LINK, VelkonfFrame::OnNoLink)
    EVT_COMMAND(wxID_ANY, VELK_CLR_UTIL, VelkonfFrame::OnClrUtil)
    EVT_MENU(10263, VelkonfFrame::OnTool)
    EVT_MENU(10264, VelkonfFrame::OnDeftTool)
    EVT_MENU(10265, VelkonfFrame::OnNVRAM)
    EVT_MENU(10266, VelkonfFrame::OnSvt)
    EVT_MENU(10267, VelkonfFrame::OnBattery)
    EVT_MENU(10268, VelkonfFrame::OnDisp)
wxEND_EVENT_TABLE()
// clang-format on

VelkonfFrame::VelkonfFrame() : m_TimerLink(this, kTimerLinkId), m_TimerCheck(this, kTimerCheckId)
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
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { CFileImage::ToFile(*this); }, CFileImage::kIdToFile);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { CFileImage::FromFile(*this); }, CFileImage::kIdFromFile);

    wxBookCtrlBase* book = GetBookCtrl();
    m_Connect = new CConnect(book);
    m_Connect->Init();
    m_System = new CSystem(book);
    m_System->Init();
    m_Voice = new CVoice(book);
    m_Voice->Init();
    m_Link = new CLink(book);
    m_Link->Init();
    m_Own = new COwn(book);
    m_Own->Init();
    m_Direct = new CDirect(book);
    m_Direct->Init();
    m_Statistic = new CStatistic(book);
    m_Statistic->Init();
    m_Descriptor = new CDescriptor(book);
    m_Descriptor->Init();
    m_WiFi = new CWiFi(book);
    m_WiFi->Init();
    m_RIN = new CRIN(book);
    m_RIN->Init();
    m_MQTT = new CMQTT(book);
    m_MQTT->Init();
    m_G4 = new CG4(book);
    m_G4->Init();
    // Pages out of the book stay alive but must not show over the book.
    for (const PageEntry& e : ParamPages()) e.page->Hide();
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
    if (index == wxNOT_FOUND) return;
    GetBookCtrl()->RemovePage(static_cast<size_t>(index));
    page->Hide();   // out of the book, it would show over it
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
    for (int id : kToolMenuIds) menu.Append(id, _W_(static_cast<unsigned short>(id)));
    CFileImage::AppendTo(menu, GetBookCtrl()->GetPageCount() > 1);
    PopupMenu(&menu);
}

void VelkonfFrame::OnTool(wxCommandEvent&) { StartTool(10263); }
void VelkonfFrame::OnDeftTool(wxCommandEvent&) { StartTool(10264); }
void VelkonfFrame::OnNVRAM(wxCommandEvent&) { StartTool(10265); }
void VelkonfFrame::OnSvt(wxCommandEvent&) { StartTool(10266); }
void VelkonfFrame::OnBattery(wxCommandEvent&) { StartTool(10267); }
void VelkonfFrame::OnDisp(wxCommandEvent&) { StartTool(10268); }

void VelkonfFrame::StartTool(int id)
{
    VelkonfApp& app = wxGetApp();
    DBString report;
    if (!LaunchTool(ToolArgs(id, app.m_Relays.Params(g_StringENU)), app.m_BadLog, report))
        m_Connect->ShowErr(toWxString(report));
}

void VelkonfFrame::OnClrUtil(wxCommandEvent&) { wxGetApp().m_Relays.DeleteClose(); }

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

std::vector<VelkonfFrame::PageEntry> VelkonfFrame::ParamPages() const
{
    const VelkonfApp& app = wxGetApp();
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    const bool openLink = cfg->ReadLong("OpenLink", 0) != 0;
    return {
        {m_System, _W_(10153), true},
        {m_Voice, _W_(10154), true},
        {m_Link, _W_(10155), openLink},
        {m_Own, _W_(10156), true},
        {m_WiFi, _W_(10157), app.IsV7()},
        {m_RIN, _W_(10158), app.IsV7()},
        {m_MQTT, _W_(10159), app.m_FeatMQTT},
        {m_G4, "4G", app.m_Feat4G},
        {m_Direct, _W_(10160), true},
        {m_Statistic, _W_(10161), true},
        {m_Descriptor, _W_(10162), true},
    };
}

bool VelkonfFrame::AddParam()
{
    // A late reply must not add the pages twice.
    if (GetBookCtrl()->GetPageCount() != 1) return true;
    m_BtnMore->Enable();
    m_Connect->EnableButton();
    bool first = true;
    for (const PageEntry& e : ParamPages()) {
        if (!e.shown) continue;
        e.page->Show();   // the toolkit's book will not select a hidden page
        GetBookCtrl()->AddPage(e.page, e.text, first);
        first = false;
    }
    VelkonfApp& app = wxGetApp();
    app.m_Relays.Start();
    DBString line = L"OwnIdent=" + app.OwnIdent().GetString();
    line.AppendFormat(L" UtilPort=%d UtilPortV7=%d UtilIdent=", app.m_Relays.m_ReceivUtil.Port(),
                      app.m_Relays.m_ReceivUtilV7.GetPort());
    line += app.m_Relays.m_ReceivUtilV7.m_Ident.GetString();
    app.m_BadLog.Put(line);
    return true;
}

bool VelkonfFrame::RemoveParam()
{
    if (GetBookCtrl()->GetPageCount() < 2) return true;
    wxGetApp().m_Relays.Stop();
    for (const PageEntry& e : ParamPages())
        if (e.shown) RemovePage(e.page);
    return true;
}

void VelkonfFrame::OnTimerSendLink(wxTimerEvent&)
{
    VelkonfApp& app = wxGetApp();
    CPackV7 pack = app.NewPack();
    const uint32_t t = static_cast<uint32_t>(std::time(nullptr) + kNtpEpoch);
    unsigned char body[4] = {static_cast<unsigned char>(t), static_cast<unsigned char>(t >> 8),
                             static_cast<unsigned char>(t >> 16), static_cast<unsigned char>(t >> 24)};
    pack.SetLink(CPackV7::packLinkAlive, body, 4);
    app.m_SendNet.SendSocket(pack);
}

// ---------------------------------------------------------------- saving

bool VelkonfFrame::CheckSave()
{
    VelkonfApp& app = wxGetApp();
    int sel = GetBookCtrl()->GetSelection();
    if (sel != wxNOT_FOUND) {
        auto* page = dynamic_cast<PropertySheetPanel*>(GetBookCtrl()->GetPage(static_cast<size_t>(sel)));
        if (page && !page->KillActive()) return false;
    }
    if (app.m_DefKey && !app.m_KeyEntered) {
        ErrorBox(10008);
        return false;
    }
    if (app.m_FeatTimeZone && m_System->m_TimeZone >= 50) {
        ErrorBox(10041);
        return false;
    }
    if (app.m_NVRAM.GetEth(0x1B) != 0) {
        // Static connect only: the unit then needs a link record in use.
        const int end = app.IsCM3OrV7() ? 0x300 : 0x280;
        int used = 0;
        for (int adr = 0x200; adr < end; adr += 0x20)
            if (app.m_NVRAM.GetEth(adr) < 3) ++used;
        if (used == 0) {
            ErrorBox(10036);
            return false;
        }
        wxMessageBox(_W_(10037), "Velkonf", wxOK | wxICON_ERROR);
    }
    return true;
}

void VelkonfFrame::OnApply(wxCommandEvent&)
{
    if (!CheckSave()) return;
    VelkonfApp& app = wxGetApp();
    const std::vector<int> blocks = app.ChangedChunks();
    const DBString changes = FieldCatalogue::ChangeText(app.m_NVRAMOld, app.m_NVRAM, blocks);
    wxRichMessageDialog ask(this, toWxString(changes) + "\n\n" + _W_(10009), "Velkonf", wxYES_NO | wxICON_QUESTION);
    ask.ShowCheckBox(_W_(43008), true);
    if (ask.ShowModal() != wxID_YES) return;
    const CLBNVRAM written = app.m_NVRAM;
    CPackV7 pack = app.NewPack();
    int sent = app.SendSave(pack, [&app](CPackV7& p) { app.Put(p); });
    app.m_BadLog.PutFormat(L"Save: %d chunks and askRestart", sent);
    m_BtnSave->Disable();
    if (ask.IsCheckBoxChecked()) StartSaveCheck(written, blocks);
}

void VelkonfFrame::StartSaveCheck(const CLBNVRAM& written, const std::vector<int>& blocks)
{
    // Nobody can press the unit's buttons for a program.
    if (wxGetApp().m_TypConnect == typConnectCloud) {
        m_Connect->ShowErr(_W_(43009));
        return;
    }
    m_SaveCheck.Arm(written, blocks);
    m_Connect->ShowErr(_W_(43010));
    m_TimerCheck.StartOnce(SaveCheckDelay());
}

void VelkonfFrame::OnTimerCheck(wxTimerEvent&)
{
    if (!m_SaveCheck.Armed()) return;
    if (!m_SaveCheck.NextAttempt()) {
        m_SaveCheck.Disarm();
        m_Connect->ShowErr(_W_(43013));
        wxGetApp().m_BadLog.Put(_W_(43013).ToStdWstring());
        return;
    }
    // As the user would: the button ends the old connection, and a second
    // press, unless the first one already started an attempt, connects.
    wxCommandEvent press;
    m_Connect->OnBnClickedConnect(press);
    if (GetBookCtrl()->GetPageCount() == 1 && !m_Connect->m_Timer.IsRunning()) m_Connect->OnBnClickedConnect(press);
}

void VelkonfFrame::SaveCheckMissed()
{
    if (m_SaveCheck.Armed()) m_TimerCheck.StartOnce(SaveCheckDelay());
}

void VelkonfFrame::EndSaveCheck()
{
    VelkonfApp& app = wxGetApp();
    const SaveCheck::Outcome outcome = m_SaveCheck.Compare(app.m_NVRAM);
    m_SaveCheck.Disarm();
    const wxString text = outcome.Held() ? _W_(43011) : _W_(43012) + "\n" + toWxString(m_SaveCheck.Text(app.m_NVRAM, outcome));
    m_Connect->ShowErr(text);
    app.m_BadLog.Put(text.ToStdWstring());
}

// ---------------------------------------------------------------- the unit's packets

void VelkonfFrame::OnNoLink(wxCommandEvent&) { m_Connect->ShowErr(_W_(10048)); }

void VelkonfFrame::OnMngPack(wxCommandEvent&)
{
    CPackV7 pack;
    while (wxGetApp().m_InpQueue.Read(pack)) {
        if (m_Destroyed) continue;   // a refusal ended the program: the rest is drained unread
        MngPack(pack);
    }
}

void VelkonfFrame::MngPack(CPackV7& pack)
{
    // The tools hear the unit too; the packet goes on here all the same.
    wxGetApp().m_Relays.MngPack(pack);
    if (pack.m_Class == CPackV7::classLink) {
        if (pack.m_Typ == CPackV7::packLinkAlive) wxGetApp().m_LUFound = true;
        else if (pack.m_Typ == CPackV7::packLinkNoSender) MngRefusal(pack);
        return;
    }
    if (CUnitLB::IsReplyOf(pack, wxGetApp().UnitIdent()) && pack.m_Ask <= CPackV7::askG4) MngAsk(pack);
}

void VelkonfFrame::MngRefusal(const CPackV7& pack)
{
    VelkonfApp& app = wxGetApp();
    const int reason = pack.m_Len > 13 ? pack.m_Buf[13] : -1;
    if (reason == 1 && pack.m_Len > 21) {
        CIdentV7 prog, unit;
        prog.SetValue(pack.m_Buf + 14);
        unit.SetValue(pack.m_Buf + 18);
        // Meant for another program, or for another unit.
        if (prog.GetDev() != app.m_UniqueIdent.GetDev() || unit.GetDev() != app.m_SendNet.m_Ident.GetDev()) return;
    }
    if (reason != 1 && reason != 7) return;
    app.m_SendNet.Stop();
    app.m_ReceivNet.Stop();
    ErrorBox(reason == 1 ? 10025 : 10060);
    Destroy();
}

void VelkonfFrame::MngAsk(CPackV7& pack)
{
    VelkonfApp& app = wxGetApp();
    switch (pack.m_Ask) {
    case CPackV7::askInfo: MngInfo(pack); break;
    case CPackV7::askNVRAM:
        if (app.TakeNVRAM(pack)) {
            m_Connect->CountReply(app);
            CheckComplete();
        }
        break;
    case CPackV7::askStatus: MngStatus(pack); break;
    case CPackV7::askDirect: MngDirect(pack); break;
    case CPackV7::askStatistic:
        if (!m_Statistic) break;
        m_Statistic->m_Counters.Decode(pack);
        m_Statistic->TransferDataToWindow();
        break;
    case CPackV7::askSystem:
        m_System->m_StatusSys.Decode(pack);
        m_System->DecodeStatus();
        break;
    // A page out of the book (another kind of unit, or the link has ended)
    // takes no status: a late reply must not fill it for the next unit.
    case CPackV7::askWiFi:
        if (!InBook(m_WiFi)) break;
        m_WiFi->m_StatusWiFi.Decode(pack);
        m_WiFi->DecodeStatus();
        m_WiFi->DataToPanel();
        break;
    case CPackV7::askMQTT:
        if (!InBook(m_MQTT)) break;
        m_MQTT->m_StatusMQTT.Decode(pack);
        m_MQTT->DataToPanel();
        break;
    case CPackV7::askG4:
        if (!InBook(m_G4)) break;
        m_G4->m_StatusG4.Decode(pack);
        m_G4->DataToPanel();
        break;
    default: break;
    }
}

void VelkonfFrame::MngInfo(CPackV7& pack)
{
    VelkonfApp& app = wxGetApp();
    app.SetEventWaitWho();
    CPackV7 ask = app.NewPack();
    app.TakeInfo(pack, ask, [&app](CPackV7& p) { app.Put(p); });
    m_Connect->CountReply(app);
    CDev dev(app.m_TypLB, app.m_SubTyp);
    wxString title;
    title << app.OwnIdent().GetNode() << " " << _W_(10004) << "Ident " << app.UnitIdent().GetNode() << " "
          << toWxString(dev.TypLB()) << toWxString(app.VersionText());
    SetTitle(title);
}

bool VelkonfFrame::InBook(PropertySheetPanel* page) const { return page && FindPage(page) != wxNOT_FOUND; }

void VelkonfFrame::MngStatus(const CPackV7& pack)
{
    if (!m_Own) return;
    CStatusEth& status = m_Own->m_StatusEth;
    const bool first = !status.m_Seen;
    status.Decode(pack);
    status.m_Seen = true;
    if (m_Voice) m_Voice->TakeStatus(status);
    if (first) {
        m_Connect->CountReply(wxGetApp());
        CheckComplete();
    } else {
        m_Own->DataToPanel();
    }
}

void VelkonfFrame::MngDirect(CPackV7& pack)
{
    CDirectOne one;
    CDirectOne::Effect effect;
    if (!m_Direct || !one.Decode(pack, effect)) return;
    if (effect.store) m_Direct->m_StatusDirect[one.m_Num] = one;
    if (effect.askRest) {
        VelkonfApp& app = wxGetApp();
        CPackV7 ask = app.NewPack();
        for (int n = 2; n <= one.m_Count; ++n) {
            const unsigned char num = static_cast<unsigned char>(n);
            ask.SetAsk(CPackV7::packAsk, CPackV7::askDirect, 1, &num, 1);
            app.Put(ask);
        }
    }
    if (effect.last) {
        m_Direct->DataToPanel();
        if (m_Voice) m_Voice->TakeLinks(m_Direct->m_StatusDirect);
    }
}

void VelkonfFrame::CheckComplete()
{
    VelkonfApp& app = wxGetApp();
    if (!app.IsComplete() || !m_Own || !m_Own->m_StatusEth.m_Seen || GetBookCtrl()->GetPageCount() != 1) return;
    app.m_NVRAMOld = app.m_NVRAM;
    std::string why;
    // A backup that cannot be written is no reason to stop the connection.
    if (!ImageBackup::Take(app, app.UnitIdent().GetNode(), "Velkonf " VELK_VERSION, why))
        app.m_BadLog.PutUtf8("Backup: " + why);
    AddParam();
    if (m_SaveCheck.Armed()) EndSaveCheck();
}
