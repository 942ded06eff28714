// The Additional functions on the real application: once a unit has
// answered, both relays run; a tool from the menu is started with the
// relays' ports and key and is served through them; a tool that is missing
// is reported on the state line; a disconnect stops the relays.
#include "Drive.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "support/Simulator.h"

#include <wx/button.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace gui;

namespace {

std::string Text(const std::string& path)
{
    std::stringstream s;
    s << std::ifstream(path).rdbuf();
    return s.str();
}

void Menu(int id)
{
    wxCommandEvent ev(wxEVT_MENU, id);
    Frame()->GetEventHandler()->ProcessEvent(ev);
}

}  // namespace

TEST(Tools, MenuStartsToolsOnTheRelaysAndDisconnectStopsThem)
{
    unittest::Simulator sim({"--udp-port", "0", "--ident", std::to_string(kIdent)});
    ASSERT_TRUE(sim.Started());
    ASSERT_TRUE(gui::StartApp({"enu"}));
    VelkonfApp& app = wxGetApp();
    EXPECT_FALSE(app.m_Relays.IsRun()) << "no relay before a unit has answered";
    Press(typConnectIP, sim.Udp());
    ASSERT_TRUE(PumpUntil(Connected)) << State();
    ASSERT_TRUE(app.m_Relays.IsRun());

    // The V7 tool and the dispatcher tool are the stand-ins, found on the
    // search path under the real tools' names; each records its command
    // line and what it printed.
    const std::string bin = std::string(std::getenv("HOME")) + "/bin";
    std::filesystem::create_directories(bin);
    for (auto [name, path] : {std::pair{"VTool", VELKTOOL_V7_PATH}, std::pair{"DeftTool", VELKTOOL_DISP_PATH}}) {
        const std::string script = bin + "/" + name;
        std::ofstream(script) << "#!/bin/sh\necho \"" << name << " $*\" > \"$HOME/" << name << ".args\"\n"
                              << path << " \"$@\" > \"$HOME/" << name << ".tmp\" 2>&1\nmv \"$HOME/" << name
                              << ".tmp\" \"$HOME/" << name << ".out\"\n";
        chmod(script.c_str(), 0755);
    }
    const std::string savedPath = std::getenv("PATH") ? std::getenv("PATH") : "";
    setenv("PATH", (bin + ":/bin:/usr/bin").c_str(), 1);
    const std::string home = std::getenv("HOME");

    Menu(10263);
    Menu(10264);
    ASSERT_TRUE(PumpUntil([&] { return std::filesystem::exists(home + "/VTool.out"); }, 30000));
    ASSERT_TRUE(PumpUntil([&] { return std::filesystem::exists(home + "/DeftTool.out"); }, 30000));
    const std::string key = app.m_Relays.m_ReceivUtilV7.m_Key.GetString().ToStr();
    EXPECT_EQ(Text(home + "/VTool.args"), "VTool enu -e127.0.0.1 -h" + std::to_string(app.m_Relays.m_ReceivUtilV7.GetPort()) +
                                              " -g" + std::to_string(kIdent) + " -k" + key + "\n");
    EXPECT_EQ(Text(home + "/DeftTool.args"),
              "DeftTool -i1 enu -v" + std::to_string(app.m_Relays.m_ReceivUtil.Port()) + "\n");
    EXPECT_NE(Text(home + "/VTool.out").find("answer ask=0 from"), std::string::npos) << Text(home + "/VTool.out");
    EXPECT_NE(Text(home + "/DeftTool.out").find("Msg: "), std::string::npos) << Text(home + "/DeftTool.out");

    Menu(10266);
    wxString state = State();
    state.Replace("\n", " ");   // the line is wrapped to the page
    EXPECT_EQ(state.ToStdString(), "The program VSvt could not be started: No such file or directory");
    setenv("PATH", savedPath.c_str(), 1);

    Click(ConnectPage()->m_BtnConnect);
    EXPECT_FALSE(app.m_Relays.IsRun());
    EXPECT_EQ(app.m_Relays.m_ListSendUtilV7.Size() + app.m_Relays.m_ListSendUtil.Size(), 0u);
}
