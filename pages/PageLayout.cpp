#include "pages/PageLayout.h"

#include "app/VelkonfApp.h"
#include "pages/WxText.h"

#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace page {

wxStaticText* Label(wxWindow* parent, unsigned short id) { return Label(parent, _W_(id)); }

wxStaticText* Label(wxWindow* parent, const wxString& text)
{
    return new wxStaticText(parent, wxID_ANY, text, wxDefaultPosition, wxDefaultSize, wxALIGN_RIGHT);
}

wxTextCtrl* Text(wxWindow* parent, const char* name, const wxValidator& validator, long style)
{
    auto* t = new wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, style, validator);
    t->SetName(name);
    return t;
}

void AddRow(wxFlexGridSizer* grid, wxWindow* label, wxWindow* control)
{
    grid->Add(label, 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    grid->Add(control, 1, wxEXPAND);
}

wxFlexGridSizer* Grid(wxWindow* owner, int cols)
{
    auto* grid = new wxFlexGridSizer(cols, owner->FromDIP(wxSize(8, 5)));
    grid->AddGrowableCol(1);
    return grid;
}

void Ask(int ask, unsigned char data)
{
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, ask, 1, &data, 1);
    wxGetApp().Put(pack);
}

void Ask(int ask)
{
    CPackV7 pack = wxGetApp().NewPack();
    pack.SetAsk(CPackV7::packAsk, ask, 1, nullptr, 0);
    wxGetApp().Put(pack);
}

}  // namespace page
