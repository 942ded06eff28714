#include "pages/CVoice.h"

#include "app/VelkonfApp.h"
#include "pages/PageRows.h"

#include <wx/button.h>
#include <wx/listctrl.h>
#include <wx/statbox.h>
#include <wx/valgen.h>

CVoice::CVoice(wxWindow* parent) : PropertySheetPanel(parent) {}

void CVoice::Init()
{
    auto* own = new wxStaticBoxSizer(wxVERTICAL, this, _W_(43258));
    wxStaticBox* box = own->GetStaticBox();
    auto* grid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
    grid->AddGrowableCol(1);
    rows::Add(grid, rows::Label(box, 43259), rows::Text(box, "own", wxGenericValidator(&m_Own), wxTE_READONLY));
    rows::Add(grid, rows::Label(box, 43260), rows::Text(box, "inUse", wxGenericValidator(&m_InUse), wxTE_READONLY));
    rows::Add(grid, rows::Label(box, 43262), rows::Text(box, "cable", wxGenericValidator(&m_Cable), wxTE_READONLY));
    own->Add(grid, 0, wxEXPAND | wxALL, FromDIP(6));
    auto* refresh = new wxButton(box, wxID_ANY, _W_(10020));
    refresh->SetName("refresh");
    refresh->Bind(wxEVT_BUTTON, &CVoice::OnBnClickedRefresh, this);
    own->Add(refresh, 0, wxLEFT | wxBOTTOM, FromDIP(6));

    auto* links = new wxStaticBoxSizer(wxVERTICAL, this, _W_(43261));
    m_List = new wxListCtrl(links->GetStaticBox(), wxID_ANY, wxDefaultPosition, wxDefaultSize,
                            wxLC_REPORT | wxLC_SINGLE_SEL | wxLC_HRULES | wxLC_VRULES);
    m_List->SetName("links");
    int col = 0;
    for (unsigned short text : {10145, 43259, 43260})
        m_List->InsertColumn(col++, _W_(text), wxLIST_FORMAT_LEFT, FromDIP(140));
    links->Add(m_List, 1, wxEXPAND | wxALL, FromDIP(6));

    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(own, 0, wxEXPAND | wxALL, FromDIP(10));
    top->Add(links, 1, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(10));
    SetSizer(top);
}

void CVoice::SetActive()
{
    m_Fields.Read(wxGetApp().m_NVRAM);
    DataToPanel();
}

void CVoice::DataToPanel()
{
    if (!m_List) return;   // a status before Init has nothing to show on
    m_Own = wxString::Format("%d", m_Fields.m_OwnPort);
    if (m_Fields.m_OwnErased) m_Own += _W_(43263);
    m_InUse = m_Status.m_Seen ? wxString::Format("%d", m_Status.m_PortVoice) : wxString();
    m_Cable = toWxString(m_Status.m_CableText);
    m_List->DeleteAllItems();
    for (const VoiceLink& l : m_Fields.m_Links) {
        const long row = m_List->InsertItem(m_List->GetItemCount(), wxString::Format("%d", l.m_Node));
        m_List->SetItem(row, 1, wxString::Format("%d", l.m_Port));
        const auto live = m_LivePort.find(l.m_Node);
        if (live != m_LivePort.end()) m_List->SetItem(row, 2, wxString::Format("%d", live->second));
    }
    TransferDataToWindow();
}

void CVoice::TakeStatus(const CStatusEth& status)
{
    m_Status = status;
    DataToPanel();
}

void CVoice::TakeLinks(const std::map<int, CDirectOne>& links)
{
    m_LivePort.clear();
    for (const auto& [num, one] : links) m_LivePort[one.m_Ident.GetNode()] = one.m_PortVoice;
    DataToPanel();
}

void CVoice::OnBnClickedRefresh(wxCommandEvent&)
{
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askStatus, 1, nullptr, 0);
    wxGetApp().Put(pack);
}
