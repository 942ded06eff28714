// The Ethernet, Wi-Fi, 4G and MQTT pages against velkunit: what they show of
// the unit's image and of its status replies (odd ones included), the
// default of an erased field, and that a save changes exactly the bytes the
// user and the defaults changed.
#include "Drive.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "pages/CG4.h"
#include "pages/CMQTT.h"
#include "pages/COwn.h"
#include "pages/CWiFi.h"
#include "pages/PageLayout.h"
#include "support/Simulator.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/combobox.h>
#include <wx/radiobut.h>
#include <wx/statbox.h>
#include <wx/textctrl.h>

#include <memory>
#include <set>

namespace {

using namespace gui;
using Bytes = std::vector<unsigned char>;

template <class T = wxTextCtrl>
T* Ctrl(wxWindow* page, const char* name)
{
    auto* w = dynamic_cast<T*>(wxWindow::FindWindowByName(name, page));
    EXPECT_NE(w, nullptr) << name;
    return w;
}

wxString Value(wxWindow* page, const char* name) { return Ctrl(page, name)->GetValue(); }

// Each named control shows its text.
void ExpectShown(wxWindow* page, std::initializer_list<std::pair<const char*, const char*>> shown)
{
    for (auto [name, text] : shown) EXPECT_EQ(Value(page, name), text) << name;
}

// "ASK:HEX" for velkunit's --reply.
std::string Reply(int ask, const Bytes& data)
{
    std::string s = std::to_string(ask) + ":";
    for (unsigned char b : data) s += wxString::Format("%02X", b).ToStdString();
    return s;
}

void Put(Bytes& d, size_t at, std::initializer_list<unsigned char> bytes)
{
    for (unsigned char b : bytes) d.at(at++) = b;
}

void PutText(Bytes& d, size_t at, const std::string& text) { std::copy(text.begin(), text.end(), d.begin() + at); }

// A unit started on `image`, keeping its state, connected and showing
// `page`. `image` then holds what the unit has (its key is set at start).
std::unique_ptr<unittest::Simulator> Open(Bytes& image, wxWindow* (*page)(), std::vector<std::string> extra = {})
{
    std::vector<std::string> args = {"--udp-port", "0", "--ident", std::to_string(kIdent), "--key", "secret12",
                                     "--state", StatePath(), "--restart-delay", "0.2", "--image", WriteImage(image)};
    args.insert(args.end(), extra.begin(), extra.end());
    auto sim = std::make_unique<unittest::Simulator>(args);
    EXPECT_TRUE(sim->Started());
    EXPECT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim->Udp(), "secret12");
    EXPECT_TRUE(PumpUntil(Connected)) << State();
    const CLBNVRAM& read = wxGetApp().m_NVRAMOld;
    std::copy(read.m_Data + 0x400, read.m_Data + 0x800, image.begin() + 0x400);
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    book->SetSelection(static_cast<size_t>(book->FindPage(page())));
    EXPECT_EQ(book->GetCurrentPage(), page());
    return sim;
}

// A click on another tab, as the book asks the frame: false when the page
// refuses to be left. (The toolkit's SetSelection moves on whatever the veto.)
bool Leave()
{
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    wxBookCtrlEvent changing(wxEVT_NOTEBOOK_PAGE_CHANGING, book->GetId(), 1, book->GetSelection());
    changing.SetEventObject(book);
    book->GetEventHandler()->ProcessEvent(changing);
    return changing.IsAllowed();
}

// Saves, answering the question, and returns the image velkunit keeps.
Bytes SaveAndKeep(unittest::Simulator& sim)
{
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave());
    EXPECT_TRUE(sim.WaitLine("askRestart"));
    Bytes kept;
    EXPECT_TRUE(PumpUntil([&] { return !(kept = KeptImage(StatePath())).empty(); }));
    return kept;
}

std::set<int> Changed(const Bytes& a, const Bytes& b)
{
    std::set<int> d;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        if (a[i] != b[i]) d.insert(static_cast<int>(i));
    return d;
}

// `fixed`, and those bytes of [from, to) that differ.
std::set<int> With(std::set<int> fixed, const Bytes& a, const Bytes& b, int from, int to)
{
    for (int i = from; i < to; ++i)
        if (a[static_cast<size_t>(i)] != b[static_cast<size_t>(i)]) fixed.insert(i);
    return fixed;
}

// Waits until velkunit has answered the n-th request of a kind, and the answer is in.
void AnsweredMore(unittest::Simulator& sim, const std::string& ask, int n)
{
    EXPECT_TRUE(PumpUntil([&] { return sim.CountLines(ask) >= n; }));
    Pump(300);
}

}  // namespace

TEST(NetPages, EthernetShowsImageAndPppoeStatusTakesDefaultsAndSavesOnlyItsBytes)
{
    Bytes image = ConfiguredImage();
    image[0x503] = image[0x504] = 0xFF;   // voice port erased
    Bytes st(41, 0);
    Put(st, 0, {0x02, 0x56, 0x4B, 0x00, 0x04, 0xD2});
    Put(st, 6, {3, 2, 0xB3, 0xB0, 0xB3, 0xB1, 10, 64, 17, 34, 255, 255, 255, 0, 10, 64, 0, 1, 7, 10, 64, 0, 1});
    Put(st, 37, {10, 64, 0, 9});
    // No 4G: its page is out of the book, and a reply for it must change nothing.
    auto sim = Open(image, [] { return static_cast<wxWindow*>(Frame()->m_Own); },
                    {"--features", "0x03,0x01", "--reply", Reply(4, st)});
    COwn* page = Frame()->m_Own;

    EXPECT_TRUE(Ctrl<wxRadioButton>(page, "dhcp")->GetValue() && Ctrl<wxRadioButton>(page, "pppoe")->IsEnabled());
    EXPECT_FALSE(Ctrl(page, "ip")->IsEnabled() || Ctrl(page, "login")->IsEnabled()) << "DHCP";
    // The voice port is the erased one's default; mask, gateway and DHCP server are cleared on PPPoE.
    ExpectShown(page, {{"portData", "46000"}, {"portVoice", "46001"}, {"ip", "192.168.1.50"},
                       {"cable", "Cable on 10Mb/s full duplex"}, {"typeStatus", "PPPoE"}, {"state", "Status 7"},
                       {"macStatus", "02564B0004D2"}, {"ipStatus", "10.64.17.34"}, {"maskStatus", "0.0.0.0"},
                       {"gatewayStatus", "0.0.0.0"}, {"dhcpStatus", "0.0.0.0"}, {"dnsStatus", "10.64.0.9"}});

    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled());
    EXPECT_TRUE(page->KillActive());
    EXPECT_TRUE(Frame()->m_BtnSave->IsEnabled()) << "leaving: a default replaced an erased field";
    Ctrl(page, "portData")->SetValue("46010");
    Click(Ctrl<wxButton>(page, "refresh"));
    AnsweredMore(*sim, "askStatus", 2);
    EXPECT_EQ(Value(page, "portData"), "46010") << "a status reply leaves the typing alone";

    page::Ask(CPackV7::askG4, 1);
    AnsweredMore(*sim, "askG4", 1);
    EXPECT_TRUE(Frame()->m_G4->m_StatusG4.m_Module.empty()) << "a page out of the book takes no status";

    const Bytes kept = SaveAndKeep(*sim);
    EXPECT_EQ(Changed(image, kept), (std::set<int>{0x502, 0x503, 0x504}));
    page->Clear();
    EXPECT_TRUE(Value(page, "cable").empty() && Value(page, "ipStatus") == "0.0.0.0" && !page->m_StatusEth.m_Seen);
}

TEST(NetPages, WiFiResetsAnUnconfiguredModuleRefusesAShortPasswordAndShowsOddStatus)
{
    Bytes image = ConfiguredImage();
    image[0x781] = 0xFF;   // channel erased: an unconfigured module
    Bytes first(44, 0), second(79, 0);
    for (Bytes* d : {&first, &second}) {
        Put(*d, 6, {1, 7, 4});
        Put(*d, 16, {1, 0, 0, 5, 192, 168, 0, 50, 255, 255, 255, 0, 192, 168, 0, 1, 2, 0x56, 0x4B, 0, 4, 0xD3});
    }
    first[43] = 198;   // name length 0, second length 0, then RSSI
    second[1] = 3;
    second[40] = 33;   // too long: no name, but the fields behind it still count
    PutText(second, 41, std::string(33, 'N'));
    second[74] = 2;
    second[78] = 200;
    auto sim = Open(image, [] { return static_cast<wxWindow*>(Frame()->m_WiFi); },
                    {"--reply", Reply(9, first), "--reply", Reply(9, second)});
    CWiFi* page = Frame()->m_WiFi;

    // An unconfigured module: everything off, channel 1, the network names as they are.
    EXPECT_FALSE(Ctrl<wxCheckBox>(page, "extEnable")->GetValue() || Ctrl<wxCheckBox>(page, "intEnable")->GetValue());
    EXPECT_FALSE(Ctrl(page, "extName")->IsEnabled() || Ctrl(page, "intPassword")->IsEnabled());
    ExpectShown(page, {{"channel", "1"}, {"intName", "VELK-1234"}});
    ASSERT_TRUE(PumpUntil([&] { return Value(page, "rssi") == "-58 dB"; }));
    ExpectShown(page, {{"connection", "GOT_IP"}, {"module", "embedded"}, {"mode", "on"},
                       {"ipStatus", "192.168.0.50"}, {"macStatus", "02564b0004d3"}});
    Click(Ctrl<wxButton>(page, "refresh"));
    ASSERT_TRUE(PumpUntil([&] { return Value(page, "rssi") == "-56 dB"; }));
    ExpectShown(page, {{"connection", "GOT_IP"}, {"module", "3"}});
    EXPECT_EQ(Ctrl<wxTextCtrl>(page, "rssi")->GetParent()->GetLabel(), "Status v1.7.4");

    auto* intEnable = Ctrl<wxCheckBox>(page, "intEnable");
    intEnable->SetValue(true);
    wxCommandEvent toggle(wxEVT_CHECKBOX, intEnable->GetId());
    toggle.SetInt(1);
    intEnable->GetEventHandler()->ProcessEvent(toggle);
    EXPECT_TRUE(Ctrl(page, "intPassword")->IsEnabled() && Frame()->m_BtnSave->IsEnabled());
    Ctrl(page, "intPassword")->SetValue("short12");
    wxString message, caption;
    wxTEST_DIALOG(EXPECT_FALSE(Leave()) << "the refusal keeps the user on the page", gui::ExpectBox(message, caption));
    EXPECT_EQ(message, "The password to access the internal network may not be less than 8 characters");
    EXPECT_EQ(caption, "Velkonf");

    Ctrl(page, "intPassword")->SetValue("lift-pass-2");
    const Bytes kept = SaveAndKeep(*sim);
    EXPECT_EQ(Changed(image, kept), With({0x780, 0x781}, image, kept, 0x760, 0x780));
    EXPECT_TRUE(kept[0x781] == 1 && kept[0x780] == 0x62) << "internal on, neither specified nor static, bit 7 as reset";
    EXPECT_EQ(std::string(kept.begin() + 0x760, kept.begin() + 0x76B), "lift-pass-2");
}

TEST(NetPages, G4ShowsTheModemsRepliesGrowsAnUnknownStateAndSavesTheApn)
{
    Bytes image = ConfiguredImage();
    std::vector<std::string> replies;
    // Module state, the number behind it, signal, registration; 0xFF: a reply to ignore.
    const int steps[][4] = {{9, 2, 99, 1}, {7, 5, 0, 9}, {0xFF, 0, 10, 0}, {7, 6, 31, 5}};
    for (const auto& s : steps) {
        Bytes d(153, 0);
        d[0] = s[0] == 0xFF ? 0 : 1;
        Put(d, 2, {static_cast<unsigned char>(s[0]), static_cast<unsigned char>(s[1])});
        PutText(d, 4, "EC25EUGAR06A07M4G");
        PutText(d, 36, "350000000001234");
        PutText(d, 51, "READY");
        Put(d, 65, {static_cast<unsigned char>(s[3]), 0, static_cast<unsigned char>(s[2])});
        PutText(d, 68, "LTE FDD B20");
        Put(d, 109, {10, 120, 7, 20});
        if (s[1] == 5) PutText(d, 113, "lte.example");
        replies.insert(replies.end(), {"--reply", Reply(36, d)});
    }
    auto sim = Open(image, [] { return static_cast<wxWindow*>(Frame()->m_G4); }, replies);
    CG4* page = Frame()->m_G4;
    EXPECT_FALSE(Ctrl<wxCheckBox>(page, "roaming")->GetValue());
    ExpectShown(page, {{"apn", "internet"}});

    ASSERT_TRUE(PumpUntil([&] { return Value(page, "signal") == "Unknown"; }));
    ExpectShown(page, {{"module", "Connection established 2"}, {"registration", "Registration in the home network"},
                       {"imei", "350000000001234"}, {"version", "EC25EUGAR06A07M4G"}, {"address", "10.120.7.20"}});
    Click(Ctrl<wxButton>(page, "refresh"));
    ASSERT_TRUE(PumpUntil([&] { return Value(page, "signal") == "-113dBm"; }));
    // Unknown state and registration keep their texts; the state's number is added all the same.
    ExpectShown(page, {{"module", "Connection established 2 5"}, {"registration", "Registration in the home network"},
                       {"address", "lte.example"}});
    Click(Ctrl<wxButton>(page, "refresh"));
    AnsweredMore(*sim, "askG4", 3);
    EXPECT_EQ(Value(page, "signal"), "-113dBm") << "byte 0 not 1: ignored";
    Click(Ctrl<wxButton>(page, "restart"));
    ASSERT_TRUE(PumpUntil([&] { return Value(page, "signal") == "-51dBm"; }));
    ExpectShown(page, {{"module", "Connection established 2 5 6"}, {"registration", "Registration in roaming"}});

    Ctrl(page, "apn")->SetValue("m2m.example");
    const Bytes kept = SaveAndKeep(*sim);
    EXPECT_EQ(Changed(image, kept), With({}, image, kept, 0x79C, 0x79C + 40)) << "the restart wrote nothing";
    EXPECT_FALSE(Changed(image, kept).empty());
    EXPECT_EQ(std::string(kept.begin() + 0x79C, kept.begin() + 0x79C + 12), std::string("m2m.example\0", 12));
}

TEST(NetPages, MqttTakesTheDefaultPortRefusesOneOutOfRangeAndIgnoresARejectedReply)
{
    Bytes image = ConfiguredImage();
    image[0x516] = image[0x517] = 0xFF;   // port erased
    Bytes good(18, 0), bad(18, 0);
    Put(good, 0, {1, 0, 198, 51, 100, 20, 0x07, 0x5B, 0xC1, 0xEA, 0x17, 6, 3, 2, 0, 16, 0, 8});
    Put(bad, 0, {0, 0x80, 1, 2, 3, 4, 0, 1, 0, 2, 0x00, 128, 9, 9, 0, 9, 0, 9});
    auto sim = Open(image, [] { return static_cast<wxWindow*>(Frame()->m_MQTT); },
                    {"--reply", Reply(28, good), "--reply", Reply(28, bad)});
    CMQTT* page = Frame()->m_MQTT;

    EXPECT_TRUE(Ctrl<wxCheckBox>(page, "enable")->GetValue() && !Ctrl<wxCheckBox>(page, "ssl")->GetValue());
    EXPECT_TRUE(Ctrl<wxComboBox>(page, "qosPublish")->GetSelection() == 1 &&
                Ctrl<wxComboBox>(page, "qosSubscribe")->GetSelection() == 0);
    ExpectShown(page, {{"port", "1883"}, {"broker", "broker.example"}, {"topic", "lifts/1234"}});
    ASSERT_TRUE(PumpUntil([&] { return Value(page, "socket") == "SOCK_ESTABLISHED"; }));
    for (int reply = 1; reply <= 2; ++reply) {   // the second, byte 0 not 1, is ignored
        ExpectShown(page, {{"onOff", "MQTT turned on"}, {"brokerIp", "198.51.100.20"}, {"brokerPort", "1883"},
                           {"clientPort", "49642"}, {"connection", "MQTT_ESTABLISHED"}, {"reconnects", "3"},
                           {"queue", "2"}, {"sent", "16"}, {"received", "8"}});
        Click(Ctrl<wxButton>(page, "reconnect"));
        AnsweredMore(*sim, "askMQTT", reply + 1);
    }

    Ctrl(page, "port")->SetValue("80");
    wxString message, caption;
    wxTEST_DIALOG(EXPECT_FALSE(Leave()), gui::ExpectBox(message, caption));
    EXPECT_EQ(message, ": 80 - Acceptable range of values 1024...65534");
    Ctrl(page, "port")->SetValue("1883");
    Ctrl(page, "broker")->SetValue("mqtt.example");
    const Bytes kept = SaveAndKeep(*sim);
    EXPECT_EQ(Changed(image, kept), With({0x516, 0x517}, image, kept, 0x580, 0x5A0))
        << "Reconnect wrote nothing, bit 3 of the flags kept";
    EXPECT_EQ(std::string(kept.begin() + 0x580, kept.begin() + 0x58D), std::string("mqtt.example\0", 13));
}
