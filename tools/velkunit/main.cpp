// velkunit: a simulated lift unit for the configurator. See docs/velkunit.md.
#include "base/BasePoolThread.h"
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/StringRes.h"
#include "tools/velkunit/CUnit.h"
#include "tools/velkunit/UnitFile.h"
#include "tools/velkunit/UnitLog.h"
#include "tools/velkunit/UnitNet.h"
#include "tools/velkunit/UnitOptions.h"
#include "tools/velkunit/UnitSerial.h"
#include "tools/velkunit/UnitTimer.h"

#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

using namespace velkunit;

namespace {

constexpr int kExitCarrier = 1;
constexpr int kExitUsage = 2;
constexpr int kExitFile = 3;
constexpr size_t kFileLimit = 1 << 20;

int Fail(int code, const std::string& text)
{
    std::fprintf(stderr, "velkunit: %s\n", text.c_str());
    return code;
}

// The image to start from: the state file if it exists, else --image, else
// none (`found` false: a fresh image is made once the identifier is known).
int LoadImage(const Options& o, Image& image, bool& found, std::string& source)
{
    found = false;
    std::vector<unsigned char> bytes;
    std::string why;
    if (!o.state.empty()) {
        switch (ReadWholeFile(o.state, kFileLimit, bytes, why)) {
        case ReadResult::ok:
            if (!ParseStateFile(bytes.data(), bytes.size(), image, why))
                return Fail(kExitFile, "the state file " + o.state + " is " + why +
                                           ". It is left as it is: remove it or name another --state.");
            found = true;
            source = "state file " + o.state;
            return 0;
        case ReadResult::failed: return Fail(kExitFile, "cannot read the state file: " + why);
        case ReadResult::missing: {
            // It will be written at the first save: find out now if it can be.
            std::filesystem::path dir = std::filesystem::path(o.state).parent_path();
            if (dir.empty()) dir = ".";
            if (access(dir.c_str(), W_OK | X_OK) != 0)
                return Fail(kExitFile, "cannot keep the state in " + o.state + ": " + dir.string() + ": " +
                                           std::strerror(errno));
            break;
        }
        }
    }
    if (o.image.empty()) return 0;
    if (ReadWholeFile(o.image, kFileLimit, bytes, why) != ReadResult::ok)
        return Fail(kExitFile, "cannot read the image: " + why);
    if (!ParseImageFile(bytes.data(), bytes.size(), image, why))
        return Fail(kExitFile, "the image " + o.image + " is " + why + ".");
    found = true;
    source = "image " + o.image;
    return 0;
}

std::string Describe(const UnitConfig& c)
{
    char buf[160];
    std::snprintf(buf, sizeof buf, "unit %d, type %d sub-type %d (hardware %d), version %d.%d.%d, features 0x%02X,0x%02X",
                  c.ident, c.type, c.subtype, c.hwSubtype, c.version[0], c.version[1], c.version[2], c.features[0],
                  c.features[1]);
    return buf;
}

std::string CarrierError(const ErrorXML& e)
{
    return std::string(e.what()) + (e.GetCode() != 0 ? std::string(": ") + std::strerror(e.GetCode()) : "");
}

}  // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "C.UTF-8");
    g_StringENU = true;   // the link's reports, in the log

    Options o;
    std::string error;
    if (!ParseOptions(std::vector<std::string>(argv + 1, argv + argc), o, error))
        return Fail(kExitUsage, error + "\nTry 'velkunit --help'.");
    if (o.help) {
        std::fputs(HelpText().c_str(), stdout);
        return 0;
    }
    in6_addr bind{};
    if (!o.bind.empty()) {
        bind = IP6FromStr(o.bind);
        if (isNulIPv6(bind) && o.bind != "::") return Fail(kExitUsage, "--bind: '" + o.bind + "' is not an address");
    }

    // Signals are taken by sigwait below; every thread started from here
    // on inherits the mask. A closed standard output must not kill us.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    CPackV7::SeedNonce();

    BasePoolThread pool("velkunit", false);
    UnitLog log(o.json, true);
    UnitTimer timer(&pool);

    // One unit, or --units of them: each with its identifier, image, state
    // file and carriers; the pool, the timer and the log are shared.
    struct Played {
        UnitConfig config;
        std::string source = "a fresh image";
        bool keyed = false;
        std::unique_ptr<CUnit> unit;
        std::vector<std::unique_ptr<UnitNet>> nets;
    };
    std::vector<Played> units(static_cast<size_t>(o.units));
    for (int i = 0; i < o.units; ++i) {
        Options one = o;
        if (o.units > 1 && !o.state.empty()) one.state = o.state + "." + std::to_string((o.ident ? o.ident : 2) + i);
        Image image{};
        bool found = false;
        Played& u = units[static_cast<size_t>(i)];
        if (const int rc = LoadImage(one, image, found, u.source)) return rc;
        if (o.units > 1) one.ident = (o.ident ? o.ident : 2) + i;
        if (one.ident > 9999899) return Fail(kExitUsage, "--units: the identifiers pass 9999899");
        u.config = ConfigFrom(one, found ? ImageIdent(image) : 0);
        if (!found) image = DefaultImage(u.config);
        if (o.keySet) {
            CKeySys key;
            key.Create(DBString(o.key).c_str());
            PutImageKey(image, key);
        }
        UnitState state;
        state.config = u.config;
        state.image = image;
        state = Boot(state, std::time(nullptr));
        u.keyed = ImageHasKey(state.running);
        u.unit = std::make_unique<CUnit>(
            state, CUnit::Setup{one.state, static_cast<int>(o.restartDelay * 1000), o.silentAfter, o.wrongKey}, log, timer);
    }
    timer.Start();
    CUnit& unit = *units[0].unit;
    const UnitConfig config = units[0].config;
    const std::string source = units[0].source;

    UnitNet::Setup setup;
    setup.bind = bind;
    setup.drop = o.drop;
    setup.seed = o.seed;
    setup.maxTry = o.maxTry;
    setup.retryMs = o.retryMs;
    setup.delayMs = o.delayMs;
    setup.buttonsAfter = o.buttonsAfter;
    unsigned seeds = 0;
    auto addNet = [&](Played& u, UnitNet::Role role, int port) {
        setup.role = role;
        setup.port = port;
        setup.seed = o.seed + seeds++;
        u.nets.push_back(std::make_unique<UnitNet>(&pool, *u.unit, timer, log, setup));
    };
    addNet(units[0], UnitNet::Role::direct, o.udpPort);
    auto& nets = units[0].nets;
    if (o.cloud) {
        addNet(units[0], UnitNet::Role::cloudButtons, o.cloudPort);
        addNet(units[0], UnitNet::Role::cloudKey, o.cloudKeyPort);
    }
    std::unique_ptr<UnitSerial> serial;
    if (o.serial) serial = std::make_unique<UnitSerial>(&pool, unit, timer, log, o.delayMs, o.baud);

    // A restart takes the unit off the network and brings it back with
    // the key of the written image.
    for (Played& u : units) {
        u.unit->OnRestart(
            [&u] {
                for (auto& net : u.nets) net->Down();
            },
            [&u, &log] {
                for (auto& net : u.nets) {
                    try {
                        net->Up();
                    } catch (const ErrorXML& e) {
                        log.Event("error", std::string(net->Carrier()) + " not back: " + CarrierError(e));
                    }
                }
            });
    }

    int rc = 0;
    try {
        for (auto& net : nets) net->Up();
        // The other units follow the first one's port.
        for (size_t i = 1; i < units.size(); ++i) {
            addNet(units[i], UnitNet::Role::direct, nets[0]->Port() + static_cast<int>(i));
            units[i].nets[0]->Up();
        }
        if (serial) serial->Start();
    } catch (const ErrorXML& e) {
        rc = Fail(kExitCarrier, CarrierError(e));
    }
    if (rc == 0) {
        log.Line("udp " + std::to_string(nets[0]->Port()));
        if (serial) log.Line("serial " + serial->Path());
        if (o.cloud) {
            log.Line("cloud " + std::to_string(nets[1]->Port()));
            log.Line("cloud-key " + std::to_string(nets[2]->Port()));
        }
        for (const Played& u : units)
            log.Event("start", Describe(u.config) + "; " + u.source + "; link key: " +
                                   (u.keyed ? "from the image" : "the default key") +
                                   (units.size() > 1 ? "; udp " + std::to_string(u.nets[0]->Port()) : ""));
        if (serial && !serial->Link().empty()) log.Event("serial", "listed as " + serial->Link());
        if (serial && serial->Link().empty())
            log.Event("serial", "not listed (" + serial->LinkError() + "); to list it: sudo mkdir -p /dev/serial/by-id" +
                                    " && sudo ln -sf " + serial->Path() + " /dev/serial/by-id/velkunit-" +
                                    std::to_string(config.ident));
        log.Release();

        int sig = 0;
        sigwait(&stopSignals, &sig);
        log.Event("stop", std::string("signal ") + (sig == SIGINT ? "SIGINT" : "SIGTERM"));
    }
    timer.Stop();
    if (serial) serial->Stop();
    for (Played& u : units)
        for (auto& net : u.nets) net->Down();
    pool.Stop();
    return rc;
}
