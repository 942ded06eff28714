// Timed scenario of the configurator against velkunit, on the real
// application under Xvfb: from the press of the connect button to the pages,
// by IP and by USB (a pseudo-terminal paced as a 115200-baud line), from
// Save to the restart request leaving, and the CPU the program uses while it
// sits connected and idle. Not a test: it prints figures for
// docs/performance.md.
//
//   connect_scenario [idle seconds, default 60]
#include "tests/gui/GuiTest.h"

#include "app/CConnect.h"
#include "app/VelkonfApp.h"
#include "app/VelkonfFrame.h"
#include "base/IPv6.h"
#include "support/Simulator.h"
#include "support/TempHome.h"

#include <wx/bookctrl.h>
#include <wx/button.h>
#include <wx/msgdlg.h>
#include <wx/timer.h>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

wxIMPLEMENT_APP_NO_MAIN(VelkonfApp);

namespace {

using Clock = std::chrono::steady_clock;
using unittest::Simulator;
constexpr int kIdent = 1234;
constexpr int kBaud = 115200;

VelkonfFrame* Frame() { return wxGetApp().m_Frame.load(); }
bool Connected() { return Frame()->GetBookCtrl()->GetPageCount() > 1; }

bool PumpUntil(const std::function<bool()>& done, int ms = 20000)
{
    const auto end = Clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (Clock::now() > end) return false;
        wxTheApp->Yield(true);
    }
    return true;
}

void Click(wxWindow* button)
{
    wxCommandEvent click(wxEVT_BUTTON, button->GetId());
    click.SetEventObject(button);
    button->GetEventHandler()->ProcessEvent(click);
}

// The command line that OnInit reads.
void SetArgs(std::vector<std::string> args)
{
    static std::vector<std::string> storage;
    static std::vector<char*> ptrs;
    storage = std::move(args);
    storage.insert(storage.begin(), "velkonf");
    for (auto& s : storage) ptrs.push_back(s.data());
    ptrs.push_back(nullptr);
    wxTheApp->argc = static_cast<int>(storage.size());
    wxTheApp->argv.Init(wxTheApp->argc, ptrs.data());
}

double Ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

// Press to pages, `runs` times; the median in milliseconds.
double PressToPages(int runs)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = Clock::now();
        Click(Frame()->m_Connect->m_BtnConnect);
        if (!PumpUntil(Connected)) {
            std::fprintf(stderr, "no pages after a press\n");
            std::exit(1);
        }
        times.push_back(Ms(Clock::now() - start));
        Click(Frame()->m_Connect->m_BtnConnect);   // disconnect
        PumpUntil([] { return false; }, 50);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double CpuSeconds()
{
    rusage r{};
    getrusage(RUSAGE_SELF, &r);
    return static_cast<double>(r.ru_utime.tv_sec + r.ru_stime.tv_sec) +
           static_cast<double>(r.ru_utime.tv_usec + r.ru_stime.tv_usec) / 1e6;
}

// Runs the real main loop, idle, for `seconds`; the process's CPU share.
double IdleShare(int seconds)
{
    wxTimer stop;
    stop.Bind(wxEVT_TIMER, [](wxTimerEvent&) { wxTheApp->ExitMainLoop(); });
    stop.StartOnce(seconds * 1000);
    const double cpu = CpuSeconds();
    const auto start = Clock::now();
    wxTheApp->OnRun();
    return (CpuSeconds() - cpu) / std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv)
{
    const int idleSeconds = argc > 1 ? std::atoi(argv[1]) : 60;
    TempHome home;
    setenv("LANG", "C.UTF-8", 1);
    if (!wxEntryStart(argc, argv)) return 1;
    SetArgs({"enu"});
    if (!wxTheApp->CallOnInit()) return 1;
    VelkonfApp& app = wxGetApp();
    CConnect* page = Frame()->m_Connect;

    Simulator net({"--udp-port", "0", "--ident", std::to_string(kIdent), "--restart-delay", "0.5",
                   "--features", "0x01,0x21", "--key", "bench123"});
    app.m_TypConnect = typConnectIP;
    page->m_IP = LocalHostIPv6();
    page->m_Port = net.Udp();
    page->m_Ident = kIdent;
    page->m_Key = "bench123";
    page->TransferDataToWindow();
    const double ip = PressToPages(20);
    std::printf("press to pages, IP on loopback: median %.1f ms of 20\n", ip);

    Click(page->m_BtnConnect);
    PumpUntil(Connected);
    app.m_NVRAM.SetEth(0x1C, 1);
    const int before = net.CountLines("askRestart");
    const auto save = Clock::now();
    wxTEST_DIALOG(Click(Frame()->m_BtnSave), wxExpectModal<wxMessageDialog>(wxYES));
    PumpUntil([&] { return net.CountLines("askRestart") > before; });
    std::printf("Save (one chunk) to the restart request at the unit: %.1f ms\n", Ms(Clock::now() - save));
    PumpUntil([] { return false; }, 1000);   // the unit is back
    std::printf("idle while connected by IP: %.3f %% of a core over %d s\n", 100 * IdleShare(idleSeconds),
                idleSeconds);
    Click(page->m_BtnConnect);

    Simulator usb({"--udp-port", "0", "--serial", "--baud", std::to_string(kBaud), "--ident",
                   std::to_string(kIdent)});
    app.m_TypConnect = typConnectUSB;
    page->m_ComPort = usb.Serial();
    const long bytes0 = app.m_PortNVRAM.BytesRead() + app.m_PortNVRAM.BytesWritten();
    const double serial = PressToPages(5);
    const long bytes = (app.m_PortNVRAM.BytesRead() + app.m_PortNVRAM.BytesWritten() - bytes0) / 5;
    const double floor = 1000.0 * static_cast<double>(bytes) * 10 / kBaud;
    std::printf("press to pages, USB at %d baud: median %.1f ms of 5; %ld bytes on the line in both directions, floor %.1f ms "
                "(ratio %.2f)\n",
                kBaud, serial, bytes, floor, serial / floor);
    Click(page->m_BtnConnect);
    PumpUntil(Connected);
    std::printf("idle while connected by USB: %.3f %% of a core over %d s\n", 100 * IdleShare(idleSeconds),
                idleSeconds);
    Click(page->m_BtnConnect);

    wxTheApp->OnExit();
    wxEntryCleanup();
    return 0;
}
