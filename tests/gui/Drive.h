#pragma once
// Driving the real frame as a user would: press Connect with a method's
// fields filled, turn the event loop until something holds, click buttons,
// read velkunit's kept image.
#include "GuiTest.h"

#include <functional>
#include <string>
#include <vector>

class CConnect;
class VelkonfFrame;
class wxWindow;
class wxString;

namespace gui {

// The identifier the tests give their velkunit.
inline constexpr int kIdent = 1234;

VelkonfFrame* Frame();
CConnect* ConnectPage();
// Turns the event loop until `done` holds; false after `ms`.
bool PumpUntil(const std::function<bool()>& done, int ms = 15000);
void Click(wxWindow* button);
// The frame shows the unit's pages.
bool Connected();
std::vector<wxString> Tabs();
// The Connection page's state line.
wxString State();
// Chooses a method and its fields (address ::1, identifier kIdent) and
// presses the button.
void Press(int typConnect, int port = 0, const wxString& key = wxString());
// The image that velkunit keeps in its state file; empty until written.
std::vector<unsigned char> KeptImage(const std::string& path);
// $HOME/unit.state: where the tests ask velkunit to keep its state.
std::string StatePath();
// velkunit's fresh image of unit kIdent with every page's area set as a
// configured unit holds it (Wi-Fi and MQTT too, which a fresh unit has
// erased), so that opening and leaving any page changes no byte.
std::vector<unsigned char> ConfiguredImage();
// Writes `image` as $HOME/unit.image for velkunit's --image; the path.
std::string WriteImage(const std::vector<unsigned char>& image);

}  // namespace gui
