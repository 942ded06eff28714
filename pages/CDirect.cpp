#include "pages/CDirect.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfEvents.h"
#include "pages/COneDirect.h"
#include "pages/WxText.h"
#include "unit/DirectFields.h"

#include <wx/button.h>
#include <wx/menu.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>

namespace {

constexpr long kListStyle = wxLC_REPORT | wxLC_SINGLE_SEL | wxLC_HRULES | wxLC_VRULES;
constexpr int kMenuInsert = 10001, kMenuUpdate = 10002, kMenuDelete = 10003;

void Columns(wxListCtrl* list, std::initializer_list<std::pair<unsigned short, int>> columns)
{
    int n = 0;
    for (auto [text, width] : columns) list->InsertColumn(n++, _W_(text), wxLIST_FORMAT_LEFT, list->FromDIP(width));
}

}  // namespace

// ---------------------------------------------------------------- CListDirect

CListDirect::CListDirect(CDirect* owner, wxWindow* parent)
    : wxListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, kListStyle), m_Owner(owner)
{
    SetName("links");
    Columns(this, {{10145, 100}, {10013, 128}, {10035, 80}, {10038, 80}, {10215, 128}, {10216, 80}});
    Bind(wxEVT_RIGHT_DOWN, &CListDirect::OnRButtonDown, this);
    Bind(wxEVT_LEFT_DCLICK, &CListDirect::OnLButtonDblClk, this);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { OnInsertDirect(); }, kMenuInsert);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { OnUpdateDirect(); }, kMenuUpdate);
    Bind(wxEVT_MENU, [this](wxCommandEvent&) { OnDeleteDirect(); }, kMenuDelete);
}

void CListDirect::ReInit()
{
    DeleteAllItems();
    m_Max = 8;
    const VelkonfApp& app = wxGetApp();
    for (const DirectRow& r : DirectList::Rows(app.m_NVRAM, app.m_FeatDomain)) {
        const long row = InsertItem(GetItemCount(), toWxString(r.m_Col[0]));
        SetItemData(row, r.m_Index);
        for (int c = 1; c < 6; ++c)
            if (!r.m_Col[c].empty()) SetItem(row, c, toWxString(r.m_Col[c]));
    }
}

int CListDirect::SelectedIndex() const
{
    const long row = GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
    return row < 0 ? -1 : static_cast<int>(GetItemData(row));
}

void CListDirect::OpenDialog(int index)
{
    COneDirect dialog(this, index);
    if (dialog.ShowModal() != wxID_OK) return;
    m_Modified = true;
    ReInit();
    m_Owner->GetEventHandler()->QueueEvent(new wxCommandEvent(ID_REFR_DIRECT));
}

void CListDirect::OnInsertDirect()
{
    // A type-0 row has no address: its slot is taken as free.
    const int index = DirectList::FreeIndex(wxGetApp().m_NVRAM);
    if (index >= 0) OpenDialog(index);
}

void CListDirect::OnUpdateDirect()
{
    const int index = SelectedIndex();
    if (index >= 0) OpenDialog(index);
}

void CListDirect::OnDeleteDirect()
{
    const long row = GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
    if (row < 0) return;
    const wxString question = _W_(10231) + "\"" + GetItemText(row) + _W_(10232);
    if (wxMessageBox(question, "Velkonf", wxYES_NO | wxICON_QUESTION, this) != wxYES) return;
    VelkonfApp& app = wxGetApp();
    DirectList::Delete(app.m_NVRAM, static_cast<int>(GetItemData(row)), app.m_FeatDomain);
    m_Modified = true;
    ReInit();
    m_Owner->GetEventHandler()->QueueEvent(new wxCommandEvent(ID_REFR_DIRECT));
}

void CListDirect::OnRButtonDown(wxMouseEvent& event)
{
    int flags = 0;
    const long row = HitTest(event.GetPosition(), flags);
    const bool full = GetItemCount() >= m_Max;
    wxMenu menu;
    if (row >= 0) {
        SetItemState(row, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
        if (!full) menu.Append(kMenuInsert, _W_(kMenuInsert));
        menu.Append(kMenuUpdate, _W_(kMenuUpdate));
        menu.Append(kMenuDelete, _W_(kMenuDelete));
    } else if (!full) {
        menu.Append(kMenuInsert, _W_(kMenuInsert));
    } else {
        return;
    }
    PopupMenu(&menu, event.GetPosition());
}

void CListDirect::OnLButtonDblClk(wxMouseEvent&) { OnUpdateDirect(); }

// ---------------------------------------------------------------- CListStatusDirect

CListStatusDirect::CListStatusDirect(wxWindow* parent)
    : wxListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, kListStyle)
{
    SetName("linksStatus");
    Columns(this, {{10217, 80}, {10218, 80}, {10145, 100}, {10013, 128}, {10035, 80}, {10038, 80}, {10219, 80},
                   {10216, 80}});
}

void CListStatusDirect::ReInit(const std::map<int, CDirectOne>& links)
{
    DeleteAllItems();
    for (const auto& [num, one] : links) {
        const long row = InsertItem(GetItemCount(), wxString::Format("%d", num));
        SetItem(row, 1, wxString::Format("%d", one.m_State));
        SetItem(row, 2, wxString::Format("%d", one.m_Ident.GetNode()));
        SetItem(row, 3, IPtoWxString(static_cast<int>(one.m_IP)));
        SetItem(row, 4, wxString::Format("%d", one.m_PortData));
        SetItem(row, 5, wxString::Format("%d", one.m_PortVoice));
        SetItem(row, 6, wxString::Format("%d", one.m_Kind));
        SetItem(row, 7, wxString::Format("%d", one.m_Last));
    }
}

// ---------------------------------------------------------------- CDirect

CDirect::CDirect(wxWindow* parent) : PropertySheetPanel(parent)
{
    m_List = new CListDirect(this, this);
    m_BtnInsert = new wxButton(this, wxID_ANY, _W_(10220));
    m_BtnUpdate = new wxButton(this, wxID_ANY, _W_(10221));
    m_BtnDelete = new wxButton(this, wxID_ANY, _W_(10222));
    m_BtnRefresh = new wxButton(this, wxID_ANY, _W_(10020));
    m_ListStatus = new CListStatusDirect(this);
    m_BtnInsert->SetName("insert");
    m_BtnUpdate->SetName("update");
    m_BtnDelete->SetName("delete");
    m_BtnRefresh->SetName("refresh");
    m_BtnInsert->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { m_List->OnInsertDirect(); AfterEdit(); });
    m_BtnUpdate->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { m_List->OnUpdateDirect(); AfterEdit(); });
    m_BtnDelete->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { m_List->OnDeleteDirect(); AfterEdit(); });
    m_BtnRefresh->Bind(wxEVT_BUTTON, &CDirect::OnBnClickedDirectRefresh, this);
    Bind(ID_REFR_DIRECT, &CDirect::OnRefrDirect, this);

    auto* buttons = new wxBoxSizer(wxHORIZONTAL);
    for (wxButton* b : {m_BtnInsert, m_BtnUpdate, m_BtnDelete}) buttons->Add(b, 0, wxRIGHT, FromDIP(8));
    auto* status = new wxBoxSizer(wxHORIZONTAL);
    status->Add(new wxStaticText(this, wxID_ANY, _W_(10223)), 0, wxALIGN_CENTER_VERTICAL | wxRIGHT, FromDIP(8));
    status->Add(m_BtnRefresh, 0);
    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(m_List, 1, wxEXPAND | wxALL, FromDIP(10));
    top->Add(buttons, 0, wxLEFT | wxRIGHT, FromDIP(10));
    top->Add(status, 0, wxALL, FromDIP(10));
    top->Add(m_ListStatus, 1, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(10));
    SetSizer(top);
}

void CDirect::SetActive()
{
    m_List->Init();
    m_ListStatus->ReInit(m_StatusDirect);
    EnableButton();
    m_Active = true;
    wxCommandEvent none;
    OnBnClickedDirectRefresh(none);
}

bool CDirect::KillActive()
{
    m_Active = false;
    return true;
}

void CDirect::DataToPanel() { m_ListStatus->ReInit(m_StatusDirect); }

void CDirect::EnableButton()
{
    const int rows = m_List->GetItemCount();
    m_BtnInsert->Enable(rows < 8);
    m_BtnUpdate->Enable(rows > 0);
    m_BtnDelete->Enable(rows > 0);
}

void CDirect::AfterEdit()
{
    if (m_List->m_Modified) EnableSave();
}

void CDirect::OnRefrDirect(wxCommandEvent&)
{
    AfterEdit();
    EnableButton();
}

void CDirect::OnBnClickedDirectRefresh(wxCommandEvent&)
{
    m_StatusDirect.clear();
    const unsigned char first = 1;
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askDirect, 1, &first, 1);
    wxGetApp().Put(pack);
}
