// Every page of a connected unit, in both languages: each one opens, is left
// without a word when nothing was typed, and leaves the image as the unit
// holds it. With VELK_SHOT_DIR set, each page is also saved as a PNG there,
// for a person to look at (tools/screenshots).
#include "Drive.h"

#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "support/Simulator.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/frame.h>

#include <cstdlib>
#include <cstring>

namespace {

using namespace gui;

// The whole Xvfb screen, as the X server holds it (imagemagick's import,
// a developer's tool: only screenshot runs need it).
void SaveShot(const wxString& path)
{
    Frame()->Raise();
    // A page that was not current when added is painted only when asked to.
    Frame()->Refresh();
    Frame()->Update();
    Pump(1000);
    const wxString command = "import -window root -crop " +
                             wxString::Format("%dx%d+%d+%d", Frame()->GetScreenRect().width,
                                              Frame()->GetScreenRect().height, Frame()->GetScreenRect().x,
                                              Frame()->GetScreenRect().y) +
                             " '" + path + "'";
    EXPECT_EQ(std::system(command.utf8_str()), 0) << command;
}

class Book : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(Book, EveryPageOpensAndIsLeftWithoutAWordOrAChangedByte)
{
    // Every feature, so that every tab shows; every area set, as a unit in
    // service has it (an erased area takes defaults, and that is a change).
    unittest::Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent), "--key", "secret12", "--image",
                             WriteImage(ConfiguredImage())});
    ASSERT_TRUE(sim.Started());
    const std::string lang = GetParam();
    if (lang == "enu") {
        ASSERT_TRUE(gui::StartApp({"enu"}));
    } else {
        ASSERT_TRUE(gui::StartApp({}));
    }
    Press(typConnectIP, sim.Udp(), "secret12");
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    const char* dir = std::getenv("VELK_SHOT_DIR");

    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    for (size_t i = 0; i < book->GetPageCount(); ++i) {
        book->SetSelection(i);   // an unexpected box fails the test here
        Pump(100);
        EXPECT_EQ(book->GetSelection(), static_cast<int>(i)) << book->GetPageText(i) << " kept the user away";
        if (dir) SaveShot(wxString::Format("%s/%s-%02zu.png", dir, lang, i));
    }
    book->SetSelection(0);
    Pump(50);
    VelkonfApp& app = wxGetApp();
    EXPECT_EQ(std::memcmp(app.m_NVRAM.m_Data, app.m_NVRAMOld.m_Data, sizeof app.m_NVRAM.m_Data), 0)
        << "looking at pages wrote into the image";
    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled()) << "looking at pages is no change";
}

INSTANTIATE_TEST_SUITE_P(BothLanguages, Book, testing::Values("enu", "rus"));
