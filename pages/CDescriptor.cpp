#include "pages/CDescriptor.h"

#include "app/VelkonfApp.h"
#include "pages/PageRows.h"
#include "pages/Validators.h"

#include <wx/config.h>
#include <wx/statbox.h>
#include <wx/valgen.h>

CDescriptor::CDescriptor(wxWindow* parent) : PropertySheetPanel(parent) {}

bool CDescriptor::Editable()
{
    wxConfigBase* cfg = wxConfigBase::Get();
    cfg->SetPath("/Param");
    return cfg->ReadLong("UserDescriptor", 0) != 0;
}

void CDescriptor::Init()
{
    auto* group = new wxStaticBoxSizer(wxVERTICAL, this, _W_(43250));
    wxStaticBox* box = group->GetStaticBox();
    auto* grid = new wxFlexGridSizer(2, FromDIP(wxSize(8, 6)));
    grid->AddGrowableCol(1);
    m_EdText = rows::Text(box, "text", StringValidator(&m_Text));
    m_EdText->SetMaxLength(DescriptorFields::kWidth);
    // A read-only text changes only from here, which is no change of the image.
    m_EdText->Bind(wxEVT_TEXT, [this](wxCommandEvent& e) {
        if (m_EdText->IsEditable()) OnEnChange(e);
    });
    rows::Add(grid, rows::Label(box, 43251), m_EdText);
    auto* hex = rows::Text(box, "hex", wxGenericValidator(&m_Hex), wxTE_READONLY | wxTE_MULTILINE | wxTE_DONTWRAP);
    hex->SetFont(wxFont(wxFontInfo().Family(wxFONTFAMILY_TELETYPE)));
    // Six lines of sixteen bytes.
    hex->SetMinSize(wxSize(hex->GetTextExtent(wxString('0', 50)).x, hex->GetCharHeight() * 7 + FromDIP(8)));
    rows::Add(grid, rows::Label(box, 43252), hex);
    group->Add(grid, 1, wxEXPAND | wxALL, FromDIP(6));
    m_Hint = new wxStaticText(this, wxID_ANY, wxString());
    m_Hint->SetName("hint");

    auto* top = new wxBoxSizer(wxVERTICAL);
    top->Add(group, 0, wxEXPAND | wxALL, FromDIP(10));
    top->Add(m_Hint, 0, wxLEFT | wxRIGHT, FromDIP(10));
    SetSizer(top);
}

void CDescriptor::SetActive()
{
    const VelkonfApp& app = wxGetApp();
    m_Fields.Read(app.m_NVRAM, app.DescrAddr());
    m_Text = toWxString(m_Fields.m_Text);
    m_Hex = toWxString(m_Fields.m_Hex);
    const bool edit = Editable();
    m_EdText->SetEditable(edit);
    m_Hint->SetLabel(_W_(edit ? 43254 : 43253));
    TransferDataToWindow();
    m_Changed = false;
    Layout();
}

bool CDescriptor::KillActive()
{
    if (!KillActiveBase()) return false;
    // Only an edit writes: the text as read may not give back the bytes
    // behind its terminator.
    if (m_Changed && m_EdText->IsEditable()) {
        VelkonfApp& app = wxGetApp();
        m_Fields.m_Text = toDBString(m_Text);
        m_Fields.Write(app.m_NVRAM, app.DescrAddr());
        m_Fields.Read(app.m_NVRAM, app.DescrAddr());
        m_Hex = toWxString(m_Fields.m_Hex);
        TransferDataToWindow();
    }
    return KillActiveEnd();
}
