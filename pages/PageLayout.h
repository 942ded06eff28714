#pragma once
// Small pieces that the parameter pages share: a right-aligned label, a
// named text control, a label-and-control row, and a status request to the
// unit. Controls are named so that tests and accessibility tools find them.
#include <wx/string.h>

class wxFlexGridSizer;
class wxStaticText;
class wxTextCtrl;
class wxValidator;
class wxWindow;

namespace page {

wxStaticText* Label(wxWindow* parent, unsigned short id);
wxStaticText* Label(wxWindow* parent, const wxString& text);
wxTextCtrl* Text(wxWindow* parent, const char* name, const wxValidator& validator, long style = 0);
// The label right-aligned in the first column, the control stretched in the second.
void AddRow(wxFlexGridSizer* grid, wxWindow* label, wxWindow* control);
// A two-column grid whose second column takes the spare width.
wxFlexGridSizer* Grid(wxWindow* owner, int cols = 2);
// Sends request `ask` with one data byte from the program to the unit.
void Ask(int ask, unsigned char data);
// The same without data.
void Ask(int ask);

}  // namespace page
