// Connecting to velkunit by each method, reading it, saving to it, and the
// ways a connection ends, on the real application under Xvfb.
#include "Drive.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "link/CKeySys.h"
#include "pages/CSystem.h"
#include "pages/WxText.h"
#include "support/Simulator.h"
#include "unit/ImageFile.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/config.h>
#include <wx/textctrl.h>
#include <wx/checkbox.h>
#include <wx/msgdlg.h>
#include <wx/radiobut.h>
#include <wx/stattext.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace {

using unittest::Simulator;
using namespace gui;

CConnect* Page() { return ConnectPage(); }

}  // namespace

TEST(ConnectByIp, ShowsTheUnitsPagesOnceAndDisconnectsAndConnectsAgain)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent)});
    ASSERT_TRUE(sim.Started());
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << State();

    // A generation 7 unit with MQTT and 4G; OpenLink is 0.
    const std::vector<wxString> expected = {_W_(10006), "System", "Voice", "Ethernet", "Wi-Fi", "SD RIN",
                                            "MQTT",      "4G",     "Links", "Statistics", "Descriptors"};
    EXPECT_EQ(Tabs(), expected);
    EXPECT_EQ(Frame()->GetBookCtrl()->GetSelection(), 1) << "System is selected";
    EXPECT_EQ(Page()->m_BtnConnect->GetLabel(), _W_(10011));
    EXPECT_TRUE(Page()->m_BtnConnect->IsEnabled());
    EXPECT_TRUE(Frame()->m_BtnMore->IsEnabled());
    EXPECT_EQ(Page()->m_Progress, nullptr) << "the progress display ends with the read";
    EXPECT_TRUE(Frame()->GetTitle().Contains("Ident 1234")) << Frame()->GetTitle();
    EXPECT_TRUE(wxGetApp().m_NVRAM.IsKnovEth());
    EXPECT_EQ(std::memcmp(wxGetApp().m_NVRAM.m_Data, wxGetApp().m_NVRAMOld.m_Data, 2048), 0);
    Frame()->AddParam();
    EXPECT_EQ(Tabs().size(), expected.size()) << "a late reply adds nothing";

    Click(Page()->m_BtnConnect);
    EXPECT_EQ(Tabs(), std::vector<wxString>{_W_(10007)});
    EXPECT_FALSE(wxGetApp().m_ReceivNet.IsRun());
    EXPECT_FALSE(wxGetApp().IsKnovDev());
    EXPECT_EQ(Page()->m_BtnConnect->GetLabel(), _W_(10010));

    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << "a second connection in the same run: " << State();
    EXPECT_EQ(sim.CountLines("askInfo"), 2);

    // Each complete read left a backup that restores the image as read.
    const std::vector<std::string> backups = ImageBackup::List(kIdent);
    ASSERT_EQ(backups.size(), 2u);
    std::ifstream in(backups.back());
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ImageFileHead head;
    CLBNVRAM image;
    ASSERT_EQ(ImageFile::Parse(text.data(), text.size(), head, image), ImageFileFault::none);
    EXPECT_EQ(std::memcmp(image.m_Data, wxGetApp().m_NVRAMOld.m_Data, 2048), 0);
    EXPECT_EQ(std::memcmp(image.m_Knov, wxGetApp().m_NVRAMOld.m_Knov, 256), 0);
    EXPECT_EQ(head.m_TypLB, 14);
}

TEST(ConnectByIp, SaveSendsTheChangedChunksAndTheRestartAndTheUnitKeepsThem)
{
    // No time service, so that no time zone is needed; a key of its own.
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--features", "0x01,0x21", "--key",
                   "secret12", "--state", StatePath(), "--restart-delay", "0.2"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    VelkonfApp& app = wxGetApp();

    // Nothing changed: only the restart, and the question says so.
    wxString question;
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave(wxID_YES, false, &question));
    EXPECT_EQ(question, _W_(43000) + "\n\n" + _W_(10009));
    ASSERT_TRUE(sim.WaitLine("askRestart"));
    EXPECT_EQ(sim.CountLines("write"), 0);

    gui::Pump(300);   // the unit restarts
    // Ping off, in the chunk at 0x400: through the System page, which writes
    // its own fields into the image when Save leaves it.
    static_cast<wxCheckBox*>(wxWindow::FindWindowByName("ping", Frame()->m_System))->SetValue(true);
    app.m_NVRAM.SetEth(0x3F0, 0x42);        // the last chunk, 0x7C0, behind every named field
    const char domain[32] = "lift.example";
    app.m_NVRAM.Set(0x200, domain, 32);   // a domain chunk
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave(wxID_YES, false, &question));
    EXPECT_EQ(question.ToStdString(), ("Ping disabled: 0 -> 1\n#1 Domain:  -> lift.example\nBlocks to write: 0x400 0x7C0 0x200\n\n" + _W_(10009)).ToStdString());
    ASSERT_TRUE(PumpUntil([&] { return sim.CountLines("askRestart") == 2; }));
    EXPECT_EQ(sim.CountLines("write"), 3);
    EXPECT_EQ(sim.CountLines("write 0x400+64"), 1);
    EXPECT_EQ(sim.CountLines("write 0x7C0+64"), 1);
    EXPECT_EQ(sim.CountLines("write 0x200+64"), 1);
    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled());

    std::vector<unsigned char> kept;
    ASSERT_TRUE(PumpUntil([&] {
        kept = KeptImage(StatePath());
        return kept.size() == 2048 && kept[0x41C] == 1;
    }));
    EXPECT_EQ(kept[0x7F0], 0x42);
    EXPECT_EQ(std::memcmp(kept.data() + 0x200, "lift.example", 12), 0);
}

TEST(ConnectByIp, SaveOnTheDefaultKeyIsRefused)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--features", "0x01,0x21"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), wxExpectModal<wxMessageDialog>(wxOK).Describe("key refusal"));
    gui::Pump(200);
    EXPECT_EQ(sim.CountLines("askRestart"), 0);
}

TEST(ConnectBySerial, ReadsACM3UnitWithItsTabsAndSavesPastTheStaticConnectCheck)
{
    // CM3, no time service, no domains, no MQTT or 4G; the Parameters page unlocked.
    Simulator sim({"--udp-port", "0", "--serial", "--ident", std::to_string(kIdent), "--type", "12", "--subtype",
                   "2", "--features", "0,0", "--restart-delay", "0.2"});
    ASSERT_FALSE(sim.Serial().empty());
    std::ofstream(std::string(std::getenv("HOME")) + "/.Velkonf") << "[Param]\nOpenLink=1\n";
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Page()->m_ComPort = sim.Serial();
    Press(typConnectUSB);
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    EXPECT_TRUE(wxGetApp().m_PortNVRAM.IsOpen());
    const std::vector<wxString> expected = {_W_(10006), "System",     "Voice",      "Parameters",
                                            "Ethernet",  "Links",      "Statistics", "Descriptors"};
    EXPECT_EQ(Tabs(), expected);

    // Static connect only, and no link record in use: refused.
    VelkonfApp& app = wxGetApp();
    app.m_NVRAM.SetEth(0x1B, 1);
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), wxExpectModal<wxMessageDialog>(wxOK).Describe("no link in use"));
    // The eighth record counts on a CM3 unit: a warning, then the question.
    app.m_NVRAM.SetEth(0x2E0, 0);
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), wxExpectModal<wxMessageDialog>(wxOK).Describe("static connect only"),
                  gui::AnswerSave());
    ASSERT_TRUE(PumpUntil([&] { return sim.CountLines("askRestart") == 1; }));
    EXPECT_EQ(sim.CountLines("write 0x400+64"), 1);
    EXPECT_EQ(sim.CountLines("write 0x6C0+64"), 1);
    EXPECT_EQ(sim.CountLines("write"), 2);

    Click(Page()->m_BtnConnect);
    EXPECT_FALSE(app.m_PortNVRAM.IsOpen());
    EXPECT_EQ(Tabs().size(), 1u) << "RemoveParam reads the same conditions before the kind is cleared";
}

TEST(ConnectBySerial, APortThatWillNotOpenIsReportedOnTheStateLine)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Page()->m_ComPort = "/nonexistent/tty";
    Press(typConnectUSB);
    EXPECT_TRUE(State().Contains("/nonexistent/tty")) << State();
    EXPECT_TRUE(Page()->m_BtnConnect->IsEnabled());
    EXPECT_EQ(Page()->m_Progress, nullptr);
}

TEST(ConnectByCloud, ButtonsMethodIsAuthorisedWhenTheButtonsArePressed)
{
    Simulator sim({"--udp-port", "0", "--cloud", "--cloud-port", "0", "--cloud-key-port", "0", "--ident",
                   std::to_string(kIdent), "--buttons-after", "0.3"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxGetApp().m_CloudPort = sim.Cloud();
    Press(typConnectCloud);
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    EXPECT_EQ(State(), _W_(10044));
    EXPECT_TRUE(Frame()->m_TimerLink.IsRunning()) << "the keep-alive of a cloud link";
    Click(Page()->m_BtnConnect);
    EXPECT_FALSE(Frame()->m_TimerLink.IsRunning());
}

TEST(ConnectByCloud, KeyMethodReadsTheUnitThroughTheServer)
{
    Simulator sim({"--udp-port", "0", "--cloud", "--cloud-port", "0", "--cloud-key-port", "0", "--ident",
                   std::to_string(kIdent), "--key", "abcd1234"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxGetApp().m_CloudKeyPort = sim.CloudKey();
    Press(typConnectCloudKey, 0, "abcd1234");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    EXPECT_TRUE(wxGetApp().m_CloudPro);
}

TEST(ConnectByCloud, KeyMethodRefusesAKeyOutsideTheRulesBeforeAnything)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxTEST_DIALOG(Press(typConnectCloudKey, 0, "aaa1bbbb"), wxExpectModal<wxMessageDialog>(wxOK));
    wxTEST_DIALOG(Press(typConnectCloudKey, 0, ""), wxExpectModal<wxMessageDialog>(wxOK));
    EXPECT_FALSE(wxGetApp().m_ReceivNet.IsRun());
    EXPECT_TRUE(Page()->m_BtnConnect->IsEnabled());
}

TEST(ConnectEnds, ASilentUnitFailsAfterTheTickLimit)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--silent-after", "1"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil([] { return !wxGetApp().m_ReceivNet.IsRun(); }, 20000));
    EXPECT_EQ(State(), _W_(10261));
    EXPECT_FALSE(Connected());
    EXPECT_TRUE(Page()->m_RadioIP->IsEnabled()) << "back to idle";
}

TEST(ConnectEnds, ARefusalForABadIdentifierEndsTheProgram)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--refuse", "ident"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxString message, caption;
    wxTEST_DIALOG(
        {
            Press(typConnectIP, sim.Udp());
            PumpUntil([] { return !Frame() || Frame()->m_Destroyed; });
        },
        gui::ExpectBox(message, caption));
    EXPECT_EQ(message, "Invalid LU identifier");
    EXPECT_EQ(caption, "Velkonf");
    EXPECT_TRUE(!Frame() || Frame()->m_Destroyed);
}

TEST(ConnectEnds, ALostUnitIsReportedAndTheUserDecides)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent)});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxGetApp().m_SendNet.m_TimeTry = 100;   // give up quickly
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    sim.Stop();
    // The link is judged lost when a request goes out after two give-ups.
    auto asked = std::chrono::steady_clock::now() - std::chrono::seconds(1);
    ASSERT_TRUE(PumpUntil([&] {
        if (std::chrono::steady_clock::now() - asked > std::chrono::milliseconds(500)) {
            CPackV7 ask = wxGetApp().NewPack();
            ask.SetAsk(CPackV7::packAsk, CPackV7::askStatus, 1, nullptr, 0);
            wxGetApp().Put(ask);
            asked = std::chrono::steady_clock::now();
        }
        return State() == _W_(10048);
    }, 30000));
    EXPECT_TRUE(Connected()) << "the connection stays until the user ends it";
}

TEST(ConnectAtStart, AnAddressOnTheCommandLineConnectsWithoutAClick)
{
    Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent)});
    const std::string port = "-h" + std::to_string(sim.Udp());
    ASSERT_TRUE(gui::StartApp({"enu", "-l::1", port.c_str(), "-i1234"}));
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    EXPECT_EQ(Frame()->GetBookCtrl()->GetPageText(1), "System");
}

TEST(ConnectEnds, AnUnpluggedSerialUnitIsReportedAndAPressConnectsAgain)
{
    auto sim = std::make_unique<Simulator>(std::vector<std::string>{"--udp-port", "0", "--serial", "--ident", "7"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Page()->m_ComPort = sim->Serial();
    Press(typConnectUSB);
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    sim.reset();   // the line hangs up
    ASSERT_TRUE(PumpUntil([] { return State() == _W_(10048); }));
    Click(Page()->m_BtnConnect);   // the user ends the connection
    Simulator back({"--udp-port", "0", "--serial", "--ident", "7"});
    Page()->m_ComPort = back.Serial();
    Press(typConnectUSB);
    EXPECT_TRUE(PumpUntil(Connected)) << State();
}

TEST(ConnectByIp, SystemPageShowsTheUnitsImageAndSavesANewKeyAndZone)
{
    // The unit's image: identifier, MAC, key, ping off, zone 28, NTP server.
    std::vector<unsigned char> image(2048, 0xFF);
    CIdentV7(kIdent, 0).GetValue(image.data() + 0x401);
    const unsigned char mac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    std::memcpy(image.data() + 0x405, mac, 6);
    CKeySys key;
    key.Create(L"secret12");
    std::memcpy(image.data() + 0x40B, key.Data(), 16);
    image[0x41C] = 1;
    image[0x41D] = 28;
    image[0x41B] = 0;   // not "static connect only"
    std::memset(image.data() + 0x560, 0, 32);
    std::memcpy(image.data() + 0x560, "pool.ntp.example", 16);
    const std::string path = std::string(std::getenv("HOME")) + "/unit.img";
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(image.data()), 2048);

    Simulator sim({"--udp-port", "0", "--image", path, "--state", StatePath(), "--restart-delay", "0.2"});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    wxWindow* page = Frame()->m_System;
    auto text = [&](const char* name) { return static_cast<wxTextCtrl*>(wxWindow::FindWindowByName(name, page)); };
    EXPECT_EQ(text("ident")->GetValue(), "1234");
    EXPECT_EQ(text("mac")->GetValue(), "001A2B3C4D5E");
    EXPECT_EQ(text("key")->GetValue(), "********");
    EXPECT_TRUE(static_cast<wxCheckBox*>(wxWindow::FindWindowByName("ping", page))->GetValue());
    EXPECT_EQ(text("ntp")->GetValue(), "pool.ntp.example");
    auto* zone = static_cast<wxComboBox*>(wxWindow::FindWindowByName("zone", page));
    EXPECT_EQ(zone->GetSelection(), 28);
    EXPECT_TRUE(sim.WaitLine("askSystem")) << "the page asks for the time service's state";

    text("key")->SetValue("newkey77");
    text("key2")->SetValue("newkey77");
    zone->SetSelection(31);
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave());
    ASSERT_TRUE(PumpUntil([&] { return sim.CountLines("askRestart") == 1; }));
    EXPECT_EQ(sim.CountLines("write"), 1) << "key and zone share the first chunk";
    EXPECT_EQ(sim.CountLines("write 0x400+64"), 1);

    CKeySys fresh;
    fresh.Create(L"newkey77");
    std::vector<unsigned char> kept;
    ASSERT_TRUE(PumpUntil([&] {
        kept = KeptImage(StatePath());
        return kept.size() == 2048 && kept[0x41D] == 31;
    }));
    EXPECT_EQ(std::memcmp(kept.data() + 0x40B, fresh.Data(), 16), 0);
    EXPECT_EQ(std::memcmp(kept.data() + 0x405, mac, 6), 0) << "the MAC is not written while editing is off";
}

TEST(SaveCheck, TheUnitIsReadAgainAfterItsRestartAndAWriteItLostIsNamed)
{
    // No time service, so that no time zone is needed; a key of its own.
    const std::vector<std::string> unit = {"--udp-port", "0", "--ident", std::to_string(kIdent), "--features",
                                           "0x01,0x21", "--key", "secret12", "--restart-delay", "0.2"};
    Simulator sim(unit);
    // The state line wraps its text: compare words, not lines.
    auto said = [](wxString text) {
        wxString state = State();
        state.Replace("\n", " ");
        text.Replace("\n", " ");
        return state.StartsWith(text);
    };
    ASSERT_TRUE(gui::StartApp({"enu"}));
    wxConfigBase::Get()->Write("/Param/SaveCheckDelay", 300);
    auto saveWithPingOff = [&] {
        ASSERT_TRUE(PumpUntil(Connected)) << State();
        static_cast<wxCheckBox*>(wxWindow::FindWindowByName("ping", Frame()->m_System))->SetValue(true);
        wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave(wxID_YES, true));
        EXPECT_TRUE(said(_W_(43010))) << State();
    };
    Press(typConnectIP, sim.Udp(), "secret12");
    saveWithPingOff();
    EXPECT_TRUE(PumpUntil([&] { return said(_W_(43011)); }, 30000)) << State();
    EXPECT_EQ(sim.CountLines("askInfo"), 2) << "connected again by the same method";
    EXPECT_TRUE(Connected());

    std::vector<std::string> losing = unit;
    losing.push_back("--forget-writes");
    Simulator forgetful(losing);
    Click(Page()->m_BtnConnect);
    Press(typConnectIP, forgetful.Udp(), "secret12");
    saveWithPingOff();
    EXPECT_TRUE(PumpUntil([&] { return said(_W_(43012) + " Ping disabled: 1 -> 0"); }, 30000)) << State();
}
