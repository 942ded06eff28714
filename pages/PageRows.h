#pragma once
// Small builders shared by the pages of links, statistics, descriptors,
// SD test and voice: a right-aligned label, a named text control, and a
// label-control row of a two-column grid.
#include "pages/WxText.h"

#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

namespace rows {

inline wxStaticText* Label(wxWindow* parent, unsigned short id)
{
    return new wxStaticText(parent, wxID_ANY, _W_(id), wxDefaultPosition, wxDefaultSize, wxALIGN_RIGHT);
}

// Named, so that tests and the accessibility bus find it by name.
inline wxTextCtrl* Text(wxWindow* parent, const char* name, const wxValidator& validator = wxDefaultValidator,
                        long style = 0)
{
    auto* t = new wxTextCtrl(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, style, validator);
    t->SetName(name);
    return t;
}

inline void Add(wxFlexGridSizer* grid, wxWindow* label, wxWindow* control, int proportion = 1)
{
    grid->Add(label, 0, wxALIGN_RIGHT | wxALIGN_CENTER_VERTICAL);
    grid->Add(control, proportion, wxEXPAND);
}

}  // namespace rows
