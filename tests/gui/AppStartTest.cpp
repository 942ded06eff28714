// Start-up and shutdown of the application: options, language, settings,
// the main frame's buttons, and the ways out.
#include "Drive.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "pages/COnOffPassWD.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/combobox.h>
#include <wx/msgdlg.h>
#include <wx/radiobut.h>
#include <wx/textctrl.h>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

using gui::CloseAndExit;
using gui::Frame;

wxString Label(int id) { return static_cast<wxButton*>(Frame()->FindWindow(id))->GetLabel(); }

void WriteSettings(const std::string& text)
{
    std::ofstream(std::string(std::getenv("HOME")) + "/.Velkonf") << text;
}

void ClickClose() { gui::Click(Frame()->FindWindow(wxID_CLOSE)); }

}  // namespace

TEST(Options, EachLetterInEitherCaseTakesTheValueAfterIt)
{
    VelkonfApp& app = wxGetApp();
    app.ParseArgument("-i42");
    EXPECT_EQ(app.m_Ident, 42);
    app.ParseArgument("-i");
    EXPECT_EQ(app.m_Ident, 0) << "no digits reads as 0";
    app.ParseArgument("-I7x");
    EXPECT_EQ(app.m_Ident, 7);
    app.ParseArgument("-iabc");
    EXPECT_EQ(app.m_Ident, 0);

    app.ParseArgument("-l::1");
    app.ParseArgument("-L192.168.0.5");
    EXPECT_EQ(IPv6ToStr(app.m_IP), "::ffff:192.168.0.5") << "a second -l replaces the first";
    app.ParseArgument("-l::");
    EXPECT_TRUE(isNulIPv6(app.m_IP)) << "a nil address is as good as none";

    app.ParseArgument("-H46002");
    EXPECT_EQ(app.m_Port, 46002) << "upper case reads as lower case";
    app.ParseArgument("-h46001");
    app.ParseArgument("-kA1b2C3d4");
    app.ParseArgument("-psecret");
    app.ParseArgument("-ccloud.example");
    EXPECT_EQ(app.m_Port, 46001);
    EXPECT_EQ(app.m_Key, L"A1b2C3d4");
    EXPECT_EQ(app.m_Pass, "secret");
    EXPECT_EQ(app.m_CloudHost, "cloud.example");

    EXPECT_FALSE(app.m_UseCloudKey);
    app.ParseArgument("-uwhatever");
    EXPECT_TRUE(app.m_UseCloudKey);

    g_StringENU = false;
    for (const char* ignored : {"en", "ENU", "--help", "-x5", "-", "", "lenu"}) app.ParseArgument(ignored);
    EXPECT_FALSE(g_StringENU);
    EXPECT_EQ(app.m_Port, 46001);
    app.ParseArgument("enuXYZ");
    EXPECT_TRUE(g_StringENU) << "only the first three letters count";
}

TEST(AppStart, RussianByDefaultWithTheFrameButtonsAndTheirStates)
{
    ASSERT_TRUE(gui::StartApp({"-i5"}));
    ASSERT_NE(Frame(), nullptr);
    EXPECT_EQ(Frame()->GetTitle(), "Velkonf");
    EXPECT_EQ(Label(wxID_APPLY), wxString::FromUTF8("Сохранить"));
    EXPECT_EQ(Label(wxID_NO), wxString::FromUTF8("Дополнительные функции"));
    EXPECT_EQ(Label(wxID_HELP), wxString::FromUTF8("О программе VelkonfLU..."));
    EXPECT_FALSE(Frame()->m_BtnSave->IsEnabled());
    EXPECT_FALSE(Frame()->m_BtnMore->IsEnabled());
    wxBookCtrlBase* book = Frame()->GetBookCtrl();
    ASSERT_EQ(book->GetPageCount(), 1u);
    EXPECT_EQ(book->GetPageText(0), wxString::FromUTF8("Подключение"));
    EXPECT_EQ(wxGetApp().CommandLineText(), L" C.UTF-8 velkonf -i5");
    CloseAndExit(ClickClose);
}

TEST(AppStart, EnglishWithTheEnuArgument)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    EXPECT_EQ(Label(wxID_APPLY), "Save");
    EXPECT_EQ(Label(wxID_NO), "Additional functions");
    EXPECT_EQ(Label(wxID_HELP), "About VelkonfLU...");
    EXPECT_EQ(Frame()->GetBookCtrl()->GetPageText(0), "Connection");
    Frame()->Connect();
    EXPECT_EQ(Frame()->GetBookCtrl()->GetPageText(0), "Disconnection");
    Frame()->Disconnect();
    EXPECT_EQ(Frame()->GetBookCtrl()->GetPageText(0), "Connection");
    CloseAndExit(ClickClose);
}

TEST(AppStart, EnglishFromTheClientConfigurationFile)
{
    std::string etc = std::string(std::getenv("HOME")) + "/VELK/etc";
    std::filesystem::create_directories(etc);
    std::ofstream(etc + "/VELKClient.xml") << "<?xml version=\"1.0\"?><VELKClient Language=\"enu\"/>";
    ASSERT_TRUE(gui::StartApp({}));
    EXPECT_EQ(Label(wxID_APPLY), "Save");
    CloseAndExit(ClickClose);
}

TEST(AppStart, MalformedConfigurationAndBadArgumentsStillStart)
{
    std::string etc = std::string(std::getenv("HOME")) + "/VELK/etc";
    std::filesystem::create_directories(etc);
    std::ofstream(etc + "/VELKClient.xml") << "<VELKClient Language=";
    WriteSettings("[Param]\nwidth=abc\nheight=-5\nTypConnect=99\n");
    testing::internal::CaptureStderr();
    ASSERT_TRUE(gui::StartApp({"-i", "-l", "-hxyz", "--what", "\xFF\xFE"}));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("VELKClient.xml"), std::string::npos);
    EXPECT_EQ(Label(wxID_APPLY), wxString::FromUTF8("Сохранить"));
    CloseAndExit(ClickClose);
}

TEST(AppStart, WithoutLangStartUpFailsWithAMessage)
{
    unsetenv("LANG");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(gui::StartApp({}));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("LANG"), std::string::npos);
    EXPECT_EQ(Frame(), nullptr);
}

TEST(AppSettings, ARunLeavesTheWindowAsItFoundItButForTheOneRunSwitches)
{
    WriteSettings("[Param]\nwidth=900\nheight=700\nOpenLink=1\nChgMacAddr=1\nUserDescriptor=1\n");
    ASSERT_TRUE(gui::StartApp({}));
    gui::Pump();
    EXPECT_EQ(Frame()->GetClientSize(), wxSize(900, 700));
    Frame()->SetClientSize(850, 640);
    gui::Pump();
    CloseAndExit(ClickClose);
    std::string s = gui::SettingsText();
    EXPECT_NE(s.find("width=850"), std::string::npos) << s;
    EXPECT_NE(s.find("height=640"), std::string::npos) << s;
    EXPECT_NE(s.find("x="), std::string::npos) << s;
    EXPECT_NE(s.find("OpenLink=0"), std::string::npos) << s;
    EXPECT_NE(s.find("ChgMacAddr=0"), std::string::npos) << s;
    EXPECT_NE(s.find("UserDescriptor=0"), std::string::npos) << s;
}

TEST(AppSettings, AFileThatCannotBeWrittenIsReportedAndTheProgramStillEnds)
{
    std::filesystem::create_directory(std::string(std::getenv("HOME")) + "/.Velkonf");
    ASSERT_TRUE(gui::StartApp({}));
    testing::internal::CaptureStderr();
    CloseAndExit(ClickClose);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("could not be written"), std::string::npos);
}

TEST(AppSettings, WithoutASizeTheWindowIs800By600AndAMethodOutsideTheFourReadsAsUsb)
{
    WriteSettings("[Param]\nTypConnect=7\n");
    ASSERT_TRUE(gui::StartApp({}));
    EXPECT_EQ(wxGetApp().m_TypConnect, typConnectUSB);
    EXPECT_TRUE(Frame()->m_Connect->m_RadioUSB->GetValue());
    EXPECT_FALSE(Frame()->m_Connect->m_EditIP->IsEnabled());
    gui::Pump();
    EXPECT_EQ(Frame()->GetClientSize(), wxSize(800, 600));
    CloseAndExit(ClickClose);
    EXPECT_NE(gui::SettingsText().find("width=800"), std::string::npos);
}

class SignalClose : public testing::TestWithParam<int> {};

TEST_P(SignalClose, RunsTheWholeExitPathLikeTheCloseButton)
{
    ASSERT_TRUE(gui::StartApp({}));
    int sig = GetParam();
    // From outside, as a terminal or a logout sends it, while the loop is idle.
    std::thread sender;
    CloseAndExit([&sender, sig] {
        sender = std::thread([sig] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            kill(getpid(), sig);
        });
    });
    sender.join();
    EXPECT_NE(gui::SettingsText().find("height="), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(TermAndInt, SignalClose, testing::Values(SIGTERM, SIGINT),
                         [](const testing::TestParamInfo<int>& p) { return p.param == SIGTERM ? "SIGTERM" : "SIGINT"; });

TEST(ConnectionPage, CommandLineAddressChoosesTheMethodAndFields)
{
    ASSERT_TRUE(gui::StartApp({"-l::1", "-h5000", "-i77", "-u"}));
    CConnect* page = Frame()->m_Connect;
    EXPECT_EQ(wxGetApp().m_TypConnect, 3);
    EXPECT_EQ(page->m_Ident, 77);
    EXPECT_EQ(page->m_Port, 5000);
    EXPECT_EQ(IPv6ToStr(page->m_IP), "::1");
    EXPECT_TRUE(page->m_RadioCloudKey->GetValue());
    CloseAndExit(ClickClose);
}

TEST(ConnectionPage, EachMethodEnablesItsOwnFields)
{
    WriteSettings("[Param]\nTypConnect=1\nIPAddr=10.0.0.7\nIPPort=46010\nIdent=321\n");
    ASSERT_TRUE(gui::StartApp({}));
    CConnect* page = Frame()->m_Connect;
    EXPECT_TRUE(page->m_RadioIP->GetValue());
    EXPECT_EQ(page->m_EditIP->GetValue(), "10.0.0.7");
    EXPECT_EQ(page->m_EditPort->GetValue(), "46010");
    EXPECT_EQ(page->m_EditIdent->GetValue(), "321");

    struct Row {
        wxRadioButton* radio;
        bool port, ip, key, ident;
    } rows[] = {{page->m_RadioUSB, true, false, false, false},
                {page->m_RadioIP, false, true, true, true},
                {page->m_RadioCloud, false, false, false, true},
                {page->m_RadioCloudKey, false, false, true, true}};
    for (const Row& r : rows) {
        r.radio->SetValue(true);
        wxCommandEvent ev(wxEVT_RADIOBUTTON, r.radio->GetId());
        ev.SetEventObject(r.radio);
        r.radio->GetEventHandler()->ProcessEvent(ev);
        EXPECT_EQ(page->m_ComboPort->IsEnabled(), r.port);
        EXPECT_EQ(page->m_EditIP->IsEnabled(), r.ip);
        EXPECT_EQ(page->m_EditPort->IsEnabled(), r.ip);
        EXPECT_EQ(page->m_EditKey->IsEnabled(), r.key);
        EXPECT_EQ(page->m_EditIdent->IsEnabled(), r.ident);
    }
    EXPECT_EQ(wxGetApp().m_TypConnect, 3);
    CloseAndExit(ClickClose);
}

TEST(ConnectionPage, AddressFieldRefusesTextThatIsNoAddress)
{
    ASSERT_TRUE(gui::StartApp({"enu"}));
    CConnect* page = Frame()->m_Connect;
    page->m_EditIP->Enable();
    page->m_EditIP->ChangeValue("1.2.3");
    wxTEST_DIALOG(EXPECT_FALSE(page->m_EditIP->GetValidator()->Validate(page)),
                  wxExpectModal<wxMessageDialog>(wxID_OK).Describe("bad address box"));
    page->m_EditIP->ChangeValue("::ffff:10.1.2.3");
    EXPECT_TRUE(page->m_EditIP->GetValidator()->TransferFromWindow());
    page->m_EditIP->GetValidator()->TransferToWindow();
    EXPECT_EQ(page->m_EditIP->GetValue(), "10.1.2.3") << "mapped addresses show as IPv4";
    CloseAndExit(ClickClose);
}

TEST(ConnectionPage, TheEyeShowsTheKeyAndWhatIsTypedThereIsTheKey)
{
    ASSERT_TRUE(gui::StartApp({"-l::1"}));   // the IP method: the key field is enabled
    CConnect* page = Frame()->m_Connect;
    page->m_EditKey->ChangeValue("secret12");
    page->m_ShowKey->Toggle();
    EXPECT_TRUE(page->m_ShowKey->IsTextVisible());
    auto* shown = static_cast<wxTextCtrl*>(page->FindWindow("key shown"));
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->IsShown());
    EXPECT_FALSE(shown->HasFlag(wxTE_PASSWORD));
    EXPECT_FALSE(page->m_EditKey->IsShown());
    EXPECT_EQ(shown->GetValue(), "secret12");
    shown->SetValue("a1b2c3d4e");
    ASSERT_TRUE(page->TransferDataFromWindow());
    EXPECT_EQ(page->m_Key, "a1b2c3d4e");
    page->DisableInput();
    EXPECT_FALSE(shown->IsEnabled()) << "the shown key follows the field's state";
    page->EnableInput();
    page->m_ShowKey->Toggle();
    EXPECT_FALSE(page->m_ShowKey->IsTextVisible());
    EXPECT_TRUE(page->m_EditKey->IsShown());
    CloseAndExit(ClickClose);
}
