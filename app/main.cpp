// The program's entry point.
#include "app/VelkonfApp.h"

wxIMPLEMENT_APP(VelkonfApp);
