#pragma once
// Conversions between the program's texts and the toolkit's.
#include "base/DBString.h"

#include <wx/string.h>

// The text of resource `id` in the language of the run, for the interface.
wxString _W_(unsigned short id);
wxString toWxString(const DBString& text);
DBString toDBString(const wxString& text);
// An IPv4 address as it lies in the image (first dotted number in the
// lowest byte), as "a.b.c.d".
wxString IPtoWxString(int address);
