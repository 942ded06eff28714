// The image-file commands on a connected unit: what is written is the
// working image, and a file comes back only as the fields it changes, never
// the MAC, never from a damaged file, and from another unit type only when
// the user agrees.
#include "Drive.h"

#include "app/CFileImage.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "link/V7Net.h"
#include "app/CConnect.h"
#include "pages/WxText.h"
#include "support/Simulator.h"
#include "unit/FieldCatalogue.h"
#include "unit/ImageFile.h"

#include <wx/button.h>

#include <cstring>
#include <fstream>
#include <iterator>

using namespace gui;

namespace {

std::string Home(const char* name) { return std::string(std::getenv("HOME")) + "/" + name; }

std::string Slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void Write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

bool SameData(const CLBNVRAM& a, const CLBNVRAM& b) { return std::memcmp(a.m_Data, b.m_Data, CLBNVRAM::kSize) == 0; }

}  // namespace

TEST(FileImage, ToFileWritesTheWorkingImageAndFromFileBringsOnlyWhatTheUserAgreedTo)
{
    unittest::Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent)});
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    VelkonfApp& app = wxGetApp();

    const std::string saved = Home("unit.velk");
    CFileImage::Save(saved);
    const std::string text = Slurp(saved);
    ImageFileHead head;
    CLBNVRAM file;
    ASSERT_EQ(ImageFile::Parse(text.data(), text.size(), head, file), ImageFileFault::none);
    EXPECT_TRUE(SameData(file, app.m_NVRAM));
    EXPECT_EQ(head.m_Ident, kIdent);
    EXPECT_NE(text.find("\nfield System.Key = "), std::string::npos);

    // Another NTP server and another MAC: only the server may come in.
    const FieldDef& ntp = *FieldCatalogue::Find("System.NTP");
    const FieldDef& mac = *FieldCatalogue::Find("System.MAC");
    CLBNVRAM other = file;
    char name[32] = "time.example";
    other.Set(ntp.m_Adr, name, 32);
    other.m_Data[mac.m_Adr] ^= 0x55;
    const std::string changed = Home("changed.velk");
    Write(changed, ImageFile::Text(head, other, {}));
    const CLBNVRAM before = app.m_NVRAM;
    wxString message, caption;
    wxTEST_DIALOG(CFileImage::Load(*Frame(), changed), gui::ExpectBox(message, caption, wxNO));
    EXPECT_TRUE(message.StartsWith("Server NTP: ")) << message;
    EXPECT_TRUE(message.Contains(" -> time.example\n")) << message;
    EXPECT_FALSE(message.Contains("MAC")) << message;
    EXPECT_TRUE(SameData(app.m_NVRAM, before)) << "answered No";
    wxTEST_DIALOG(CFileImage::Load(*Frame(), changed), wxExpectModal<wxMessageDialog>(wxYES));
    EXPECT_EQ(FieldCatalogue::Value(ntp, app.m_NVRAM), "time.example");
    EXPECT_EQ(FieldCatalogue::Value(mac, app.m_NVRAM), FieldCatalogue::Value(mac, before));
    EXPECT_TRUE(Frame()->m_BtnSave->IsEnabled());

    // A damaged file, a cut one and one of another unit type (refused by the user) change nothing.
    const CLBNVRAM loaded = app.m_NVRAM;
    std::string damaged = text;
    damaged[damaged.find("image 400 ") + 12] ^= 1;
    Write(changed, damaged);
    wxTEST_DIALOG(CFileImage::Load(*Frame(), changed), gui::ExpectBox(message, caption));
    EXPECT_EQ(message, _W_(10126) + changed + "\n" + _W_(43006));
    Write(changed, text.substr(0, text.size() / 2));
    wxTEST_DIALOG(CFileImage::Load(*Frame(), changed), gui::ExpectBox(message, caption));
    EXPECT_EQ(message, _W_(10126) + changed + "\n" + _W_(43005));
    head.m_TypLB = 12;
    Write(changed, ImageFile::Text(head, other, {}));
    wxTEST_DIALOG(CFileImage::Load(*Frame(), changed), gui::ExpectBox(message, caption, wxNO));
    EXPECT_EQ(message, wxString::Format(_W_(43002), 12, 14));
    EXPECT_TRUE(SameData(app.m_NVRAM, loaded));
}

TEST(FileImage, AnotherUnitRestoredFromAFileHoldsItsFieldsButKeepsItsOwnMACIdentifierAndOtherBytes)
{
    const std::vector<std::string> common = {"--udp-port", "0", "--ident", std::to_string(kIdent), "--key",
                                             "secret12", "--features", "0x01,0x21", "--restart-delay", "0.2"};
    unittest::Simulator first(common);
    ASSERT_TRUE(gui::StartApp({"enu"}));
    Press(typConnectIP, first.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    const std::string saved = Home("first.velk");
    CFileImage::Save(saved);
    const std::string text = Slurp(saved);
    ImageFileHead head;
    CLBNVRAM a;
    ASSERT_EQ(ImageFile::Parse(text.data(), text.size(), head, a), ImageFileFault::none);
    Click(ConnectPage()->m_BtnConnect);

    // The second unit: other values on several pages, its own MAC and
    // identifier in the image, and a byte that no page writes.
    std::vector<unsigned char> b(a.m_Data, a.m_Data + CLBNVRAM::kSize);
    for (const char* name : {"System.NTP", "System.PingOff", "System.MAC", "System.Ident", "Ethernet.DataPort",
                             "Parameters.repeats", "Links.1.ident", "MQTT.Broker"}) {
        ASSERT_NE(FieldCatalogue::Find(name), nullptr) << name;
        const FieldDef& f = *FieldCatalogue::Find(name);
        b[f.m_Adr] = static_cast<unsigned char>(b[f.m_Adr] ^ (f.m_Kind == FieldKind::Text ? 0x20 : 0x03));
    }
    b[0x7F0] ^= 0x11;
    std::vector<std::string> args = common;
    args.insert(args.end(), {"--image", WriteImage(b), "--state", StatePath()});
    unittest::Simulator second(args);
    Press(typConnectIP, second.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    wxTEST_DIALOG(CFileImage::Load(*Frame(), saved), wxExpectModal<wxMessageDialog>(wxYES));
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), gui::AnswerSave());
    ASSERT_TRUE(second.WaitLine("askRestart"));
    std::vector<unsigned char> kept;
    ASSERT_TRUE(PumpUntil([&] { return (kept = KeptImage(StatePath())).size() == 2048u && kept != b; }));

    std::vector<bool> fromFile(CLBNVRAM::kSize, false);
    for (const FieldDef& f : FieldCatalogue::All()) {
        const std::string name = f.m_Name;
        const bool own = f.m_Kind == FieldKind::MAC || name == "System.Ident" || name.starts_with("Descriptors.");
        for (int i = 0; i < f.m_Len; ++i) fromFile[f.m_Adr + i] = !own && a.IsKnovByte(f.m_Adr + i);
    }
    for (int adr = 0x400; adr < CLBNVRAM::kSize; ++adr)
        EXPECT_EQ(kept[adr], fromFile[adr] ? a.m_Data[adr] : b[adr]) << std::hex << adr;
}
