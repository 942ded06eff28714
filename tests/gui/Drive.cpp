#include "Drive.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "base/IPv6.h"
#include "tools/velkunit/UnitState.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/stattext.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace gui {

VelkonfFrame* Frame() { return wxGetApp().m_Frame.load(); }
CConnect* ConnectPage() { return Frame()->m_Connect; }

bool PumpUntil(const std::function<bool()>& done, int ms)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        wxTheApp->Yield(true);
        wxMilliSleep(2);
    }
    return true;
}

void Click(wxWindow* button)
{
    wxCommandEvent click(wxEVT_BUTTON, button->GetId());
    click.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(click);
}

bool Connected() { return Frame() && Frame()->GetBookCtrl()->GetPageCount() > 1; }

std::vector<wxString> Tabs()
{
    std::vector<wxString> tabs;
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    for (size_t i = 0; i < book->GetPageCount(); ++i) tabs.push_back(book->GetPageText(i));
    return tabs;
}

wxString State() { return ConnectPage()->m_TextErr->GetLabel(); }

void Press(int typConnect, int port, const wxString& key)
{
    wxGetApp().m_TypConnect = typConnect;
    CConnect* page = ConnectPage();
    page->m_IP = LocalHostIPv6();
    page->m_Port = port;
    page->m_Ident = kIdent;
    page->m_Key = key;
    page->TransferDataToWindow();
    Click(page->m_BtnConnect);
}

std::vector<unsigned char> KeptImage(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 12 + 2048) return {};
    return std::vector<unsigned char>(bytes.begin() + 12, bytes.begin() + 12 + 2048);
}

std::string StatePath() { return std::string(std::getenv("HOME")) + "/unit.state"; }

std::vector<unsigned char> ConfiguredImage()
{
    using namespace velkunit;
    UnitConfig config;
    config.ident = kIdent;
    Image image = DefaultImage(config);
    const std::pair<int, const char*> texts[] = {
        {0x300, "office"},   {0x320, "office-pass"}, {0x340, "VELK-1234"},  {0x360, "lift-pass-1"},
        {0x180, "broker.example"}, {0x1A0, "lift"}, {0x1C0, "secret"}, {0x1E0, "lifts/1234"}};
    for (auto [adr, text] : texts) PutImageText(image, kEth + adr, 32, text);
    image[kEth + 0x380] = 0xC3;   // external and internal on, a specified network, DHCP
    image[kEth + 0x381] = 6;      // channel
    for (int i = 0; i < 16; ++i) image[static_cast<size_t>(kEth + 0x388 + i)] = static_cast<unsigned char>(i < 4 ? 10 + i : 0);
    image[kEth + 0x115] = 0x09;   // MQTT on, QoS 1 publish, 0 subscribe; bit 3 set
    image[kEth + 0x116] = 1883 >> 8;
    image[kEth + 0x117] = 1883 & 0xFF;
    return std::vector<unsigned char>(image.begin(), image.end());
}

std::string WriteImage(const std::vector<unsigned char>& image)
{
    const std::string path = std::string(std::getenv("HOME")) + "/unit.image";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(image.data()),
                                                static_cast<std::streamsize>(image.size()));
    return path;
}

}  // namespace gui
