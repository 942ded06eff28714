#include "pages/CRIN.h"

#include "app/VelkonfApp.h"
#include "pages/WxText.h"

#include <wx/button.h>
#include <wx/datetime.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/valgen.h>

CRIN::CRIN(wxWindow* parent) : PropertySheetPanel(parent), m_Sent(_W_(43257)) {}

void CRIN::Init()
{
    auto* test = new wxButton(this, wxID_ANY, _W_(43255));
    test->SetName("testSd");
    test->Bind(wxEVT_BUTTON, &CRIN::OnBnClickedTestRin, this);
    auto* sent = new wxStaticText(this, wxID_ANY, m_Sent, wxDefaultPosition, wxDefaultSize, 0,
                                  "sent");
    sent->SetValidator(wxGenericValidator(&m_Sent));
    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(test, 0, wxALL, FromDIP(10));
    top->Add(sent, 0, wxEXPAND | wxLEFT | wxRIGHT, FromDIP(10));
    SetSizer(top);
}

void CRIN::OnBnClickedTestRin(wxCommandEvent&)
{
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAskTest, 1, 1, nullptr, 0);
    wxGetApp().Put(pack);
    m_Sent = wxString::Format(_W_(43256), wxDateTime::Now().FormatISOTime());
    TransferDataToWindow();
    Layout();
}
