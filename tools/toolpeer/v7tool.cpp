// velktool-v7: a stand-in for the sibling tools that speak V7 to the
// configurator's relay. It takes their command line, sends one request to
// the unit (askInfo, or the ask of -a) and prints what comes back.
//   velktool-v7 [enu] -e<address> -h<port> -g<node> -k<key> [-a<ask>]
// Exit status: 0 with an answer, 1 without one within 10 s, 2 for a bad
// command line.
#include "base/BasePoolThread.h"
#include "base/CBaseLog.h"
#include "base/IPv6.h"
#include "tools/toolpeer/ToolPeer.h"

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    std::string addr, key;
    int port = 0, node = -1, ask = CPackV7::askInfo;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "enu") continue;
        if (a.size() < 2 || a[0] != '-') continue;
        const std::string v = a.substr(2);
        switch (a[1]) {
        case 'e': addr = v; break;
        case 'h': port = std::atoi(v.c_str()); break;
        case 'g': node = std::atoi(v.c_str()); break;
        case 'k': key = v; break;
        case 'a': ask = std::atoi(v.c_str()); break;
        default: break;
        }
    }
    if (addr.empty() || port <= 0 || node < 0 || key.empty()) {
        std::fprintf(stderr, "usage: velktool-v7 [enu] -e<address> -h<port> -g<node> -k<key> [-a<ask>]\n");
        return 2;
    }
    CPackV7::SeedNonce();
    BasePoolThread pool("tool", false);
    int rc = 1;
    {
        ToolPeerV7 tool(pool);
        CKeySys k;
        k.Set(DBString(key).c_str());
        tool.Open(IP6FromStr(addr), port, node, k);
        CPackV7 pack = tool.NewPack();
        pack.SetAsk(CPackV7::packAsk, ask, CPackV7::dirAsk, nullptr, 0);
        tool.Request(pack);
        auto answer = [ask](const CPackV7& p) { return p.m_Class == CPackV7::classData && p.m_Ask == ask; };
        if (tool.m_Got.Wait(answer, 1, std::chrono::seconds(10))) {
            for (const CPackV7& p : tool.m_Got.All()) {
                if (!answer(p)) continue;
                std::printf("answer ask=%d from %ls: %s\n", p.m_Ask, p.m_Src.GetString().c_str(),
                            CBaseLog::StrMes(p.m_Buf, p.m_Len).c_str());
                break;
            }
            rc = 0;
        } else {
            std::printf("no answer\n");
        }
        tool.Close();
    }
    pool.Stop();
    return rc;
}
