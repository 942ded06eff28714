#include "Drive.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "base/IPv6.h"

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

}  // namespace gui
