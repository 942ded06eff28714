// velktool-disp: a stand-in for the sibling tool that speaks the dispatcher
// protocol to the configurator's relay. It takes that tool's command line,
// sends one lift-network message to the unit and prints the messages that
// come back.
//   velktool-disp -i1 [enu] -v<port> [-t<message type>]
// Exit status: 0 with a message back, 1 without one within 10 s, 2 for a
// bad command line.
#include "base/BasePoolThread.h"
#include "base/CBaseLog.h"
#include "link/CPackV7.h"
#include "tools/toolpeer/ToolPeer.h"

#include <cstdio>
#include <cstdlib>
#include <string>

int main(int argc, char** argv)
{
    int port = 0, type = 10;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a.rfind("-v", 0) == 0) port = std::atoi(a.c_str() + 2);
        if (a.rfind("-t", 0) == 0) type = std::atoi(a.c_str() + 2);
    }
    if (port <= 0) {
        std::fprintf(stderr, "usage: velktool-disp -i1 [enu] -v<port> [-t<message type>]\n");
        return 2;
    }
    CPackV7::SeedNonce();
    BasePoolThread pool("tool", false);
    int rc = 1;
    {
        ToolPeerDisp tool(pool);
        tool.Open(port);
        tool.SendMsg(MesImage(3, 1, type, {1, 2, 3}));
        auto any = [](const std::vector<unsigned char>&) { return true; };
        if (tool.m_Msgs.Wait(any, 1, std::chrono::seconds(10))) {
            for (const auto& m : tool.m_Msgs.All())
                std::printf("Msg: %s\n", CBaseLog::StrMes(m.data(), static_cast<int>(m.size())).c_str());
            rc = 0;
        } else {
            std::printf("no answer\n");
        }
        tool.Close();
    }
    pool.Stop();
    return rc;
}
