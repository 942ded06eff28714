#include "pages/CStatistic.h"

#include "app/VelkonfApp.h"
#include "pages/PageRows.h"
#include "unit/VoiceFields.h"

#include <wx/button.h>
#include <wx/statbox.h>
#include <wx/valgen.h>

CStatistic::CStatistic(wxWindow* parent) : PropertySheetPanel(parent) {}

void CStatistic::Init()
{
    auto* top = new wxBoxSizer(wxVERTICAL);
    wxFlexGridSizer* grid = nullptr;
    wxStaticBox* box = nullptr;
    for (int i = 0; i < kStatisticRows; ++i) {
        const StatisticRow& r = StatisticRows[i];
        if (i == 0 || r.m_Group != StatisticRows[i - 1].m_Group) {
            auto* group = new wxStaticBoxSizer(wxVERTICAL, this, r.m_Group ? _W_(r.m_Group) : wxString("4G"));
            box = group->GetStaticBox();
            grid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
            grid->AddGrowableCol(1);
            group->Add(grid, 1, wxEXPAND | wxALL, FromDIP(6));
            top->Add(group, 0, wxEXPAND | wxLEFT | wxRIGHT | wxTOP, FromDIP(10));
        }
        auto* text = rows::Text(box, wxString::Format("count%d", i).c_str(), wxGenericValidator(&m_Text[i]),
                                wxTE_READONLY | wxTE_RIGHT);
        rows::Add(grid, rows::Label(box, r.m_Label), text);
    }
    auto* refresh = new wxButton(this, wxID_ANY, _W_(10020));
    refresh->SetName("refresh");
    refresh->Bind(wxEVT_BUTTON, &CStatistic::OnBnClickedRefresh, this);
    top->Add(refresh, 0, wxALL, FromDIP(10));
    SetSizer(top);
}

bool CStatistic::TransferDataToWindow()
{
    for (int i = 0; i < CStatCounters::kCount; ++i) m_Text[i] = wxString::Format("%u", m_Counters.m_Count[i]);
    return PropertySheetPanel::TransferDataToWindow();
}

void CStatistic::SetActive()
{
    TransferDataToWindow();
    wxCommandEvent none;
    OnBnClickedRefresh(none);
}

void CStatistic::OnBnClickedRefresh(wxCommandEvent&)
{
    const unsigned char data = 1;
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, CPackV7::askStatistic, 1, &data, 1);
    wxGetApp().Put(pack);
}
