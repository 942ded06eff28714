#include "app/VelkonfEvents.h"

wxDEFINE_EVENT(MNG_PACK, wxCommandEvent);
wxDEFINE_EVENT(ID_CMD_CONNECT, wxCommandEvent);
wxDEFINE_EVENT(NO_LINK, wxCommandEvent);
wxDEFINE_EVENT(ID_REFR_DIRECT, wxCommandEvent);
wxDEFINE_EVENT(VELK_CLR_UTIL, wxCommandEvent);
