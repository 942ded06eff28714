// The System page on the real frame: what it shows of an image, what it
// writes back, and the refusal that keeps the user on the page.
#include "Drive.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "link/CIdentV7.h"
#include "link/CKeySys.h"
#include "pages/CSystem.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/config.h>
#include <wx/textctrl.h>

#include <cstring>
#include <vector>

namespace {

using namespace gui;
using Bytes = std::vector<unsigned char>;

Bytes Eth(int adr, int len)
{
    Bytes b(len);
    wxGetApp().m_NVRAM.GetEth(adr, b.data(), len);
    return b;
}

void PutIdent(int adr, int node)
{
    unsigned char v[4];
    CIdentV7(node, 3).GetValue(v);
    wxGetApp().m_NVRAM.SetEth(adr, v, 4);
}

// A page on the frame's book, loaded from the image as the frame does it.
CSystem* OpenPage(int chgMacAddr)
{
    wxConfigBase::Get()->Write("/Param/ChgMacAddr", chgMacAddr);
    auto* page = new CSystem(wxGetApp().m_Frame.load()->GetBookCtrl());
    page->Init();
    page->SetActive();
    return page;
}

}  // namespace

TEST(SystemPage, ShowsTheImageWritesTheEditsBackAndShowsTheTimeStatus)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    VelkonfApp& app = wxGetApp();
    app.m_FeatTimeZone = true;
    PutIdent(0x36, 4321);   // 0x01 erased: the fallback shows
    const Bytes mac = {0x00, 0x1A, 0x2B, 0xC3, 0xFF, 0x09};
    app.m_NVRAM.SetEth(0x05, mac.data(), 6);
    app.m_NVRAM.SetEth(0x0B + 7, 0x42);
    app.m_NVRAM.SetEth(0x1C, 1);
    app.m_NVRAM.SetEth(0x1D, 28);
    app.m_NVRAM.SetEth(0x160, "pool.ntp.org", 13);
    CSystem* page = OpenPage(1);

    EXPECT_EQ(Ctrl(page, "ident")->GetValue(), "4321");
    EXPECT_EQ(Ctrl(page, "ident")->GetBackgroundColour(), wxColour(128, 255, 128)) << "taken from the fallback";
    EXPECT_EQ(Ctrl(page, "mac")->GetValue(), "001A2BC3FF09");
    EXPECT_EQ(Ctrl(page, "mac")->GetBackgroundColour(), wxColour(255, 255, 128));
    EXPECT_TRUE(Ctrl(page, "key")->GetValue() == "********" && Ctrl(page, "key2")->GetValue() == "********");
    EXPECT_TRUE(Ctrl<wxCheckBox>(page, "ping")->GetValue());
    EXPECT_EQ(Ctrl(page, "ntp")->GetValue(), "pool.ntp.org");
    EXPECT_TRUE(Ctrl<wxComboBox>(page, "zone")->GetSelection() == 28 && Ctrl<wxComboBox>(page, "zone")->GetCount() == 51);
    EXPECT_TRUE(Ctrl(page, "ident")->IsEnabled() && Ctrl<wxButton>(page, "refresh")->IsEnabled());
    EXPECT_FALSE(app.m_Frame.load()->m_BtnSave->IsEnabled()) << "loading the page is no change";

    Ctrl(page, "ident")->SetValue("777");
    Ctrl(page, "key")->SetValue("Secret-1");
    Ctrl(page, "key2")->SetValue("Secret-1");
    Ctrl(page, "ntp")->SetValue("time.example");
    Ctrl<wxCheckBox>(page, "ping")->SetValue(false);
    Ctrl<wxComboBox>(page, "zone")->SetSelection(50);
    EXPECT_TRUE(app.m_Frame.load()->m_BtnSave->IsEnabled());
    ASSERT_TRUE(page->KillActive());

    unsigned char ident[4];
    CIdentV7(777, 0).GetValue(ident);
    CKeySys key;
    key.Create(L"Secret-1");
    EXPECT_EQ(Eth(0x01, 4), Bytes(ident, ident + 4));
    EXPECT_EQ(Eth(0x05, 6), Bytes(6, 0)) << "the MAC goes to the image as zeros";
    EXPECT_EQ(Eth(0x0B, 16), Bytes(key.Data(), key.Data() + 16));
    EXPECT_TRUE(app.m_KeyEntered);
    EXPECT_TRUE(app.m_NVRAM.GetEth(0x1C) == 0 && app.m_NVRAM.GetEth(0x1D) == 0xFF);
    Bytes ntp(32, 0);
    std::memcpy(ntp.data(), "time.example", 12);
    EXPECT_EQ(Eth(0x160, 32), ntp) << "zero-padded";

    page->m_StatusSys.m_Zone = 28;
    page->m_StatusSys.m_NTP = 3918196800u;   // 29.02.2024 12:00:00 UTC
    page->m_StatusSys.m_Source = 1;
    page->m_StatusSys.m_Quality = 200;
    page->DecodeStatus();
    EXPECT_EQ(Ctrl(page, "zoneText")->GetValue(), "UTC+03:00 Belarus");
    EXPECT_EQ(Ctrl(page, "localTime")->GetValue(), "29.02.2024 15:00:00");
    EXPECT_EQ(Ctrl(page, "localTime")->GetBackgroundColour(), wxColour(255, 255, 0));
    EXPECT_EQ(Ctrl(page, "source")->GetValue(), "WiFi NTP");
    CloseAndExit();
}

TEST(SystemPage, DifferentRepeatKeyIsRefusedAndServiceFieldsStayUntouched)
{
    ASSERT_TRUE(gui::StartApp({}));
    VelkonfApp& app = wxGetApp();
    PutIdent(0x01, 5);
    CSystem* page = OpenPage(0);
    EXPECT_EQ(Ctrl(page, "ident")->GetBackgroundColour(), wxColour(255, 255, 128));
    EXPECT_FALSE(Ctrl(page, "ident")->IsEnabled() || Ctrl(page, "ident")->IsEditable());
    EXPECT_FALSE(Ctrl(page, "mac")->IsEnabled() || Ctrl(page, "mac")->IsEditable());
    EXPECT_FALSE(Ctrl<wxComboBox>(page, "zone")->IsEnabled()) << "a unit without time service";

    Ctrl(page, "key")->SetValue("abc");
    Ctrl(page, "key2")->SetValue("abd");
    const CLBNVRAM before = app.m_NVRAM;
    wxString message, caption;
    wxTEST_DIALOG(EXPECT_FALSE(page->KillActive()), gui::ExpectBox(message, caption));
    EXPECT_EQ(message, wxString::FromUTF8("Ключ и повтор ключа не совпадают"));
    EXPECT_EQ(caption, "Velkonf");
    EXPECT_EQ(0, std::memcmp(before.m_Data, app.m_NVRAM.m_Data, sizeof before.m_Data));
    EXPECT_FALSE(app.m_KeyEntered);

    Ctrl(page, "key2")->SetValue("abc");
    ASSERT_TRUE(page->KillActive());
    EXPECT_TRUE(app.m_KeyEntered);
    EXPECT_EQ(Eth(0x01, 4), Bytes(before.m_Data + 0x401, before.m_Data + 0x405)) << "identifier not editable";
    EXPECT_EQ(Eth(0x05, 6), Bytes(6, 0xFF)) << "nor the MAC";
    CloseAndExit();
}
