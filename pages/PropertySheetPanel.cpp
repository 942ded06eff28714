#include "pages/PropertySheetPanel.h"

PropertySheetPanel::PropertySheetPanel(wxWindow* parent)
    : wxPanel(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxTAB_TRAVERSAL | wxNO_BORDER)
{
}
