#pragma once
// The program's own command events, each type made by wxNewEventType(). They
// carry no payload; worker threads post them (VelkonfApp::PostToFrame) to
// reach the user interface.
#include <wx/event.h>

wxDECLARE_EVENT(MNG_PACK, wxCommandEvent);        // packets wait in the input queue
wxDECLARE_EVENT(ID_CMD_CONNECT, wxCommandEvent);  // press the connect button
wxDECLARE_EVENT(NO_LINK, wxCommandEvent);         // the link to the unit is lost
wxDECLARE_EVENT(ID_REFR_DIRECT, wxCommandEvent);  // the list of links changed
wxDECLARE_EVENT(VELK_CLR_UTIL, wxCommandEvent);   // a tool relay has stopped
