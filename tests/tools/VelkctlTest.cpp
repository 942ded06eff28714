// velkctl as a program against velkunit: every command by IP and by serial
// line, the check after the restart, refusals that leave the unit alone, and
// a run over many units of which one never answers.
#include "tests/support/Simulator.h"
#include "tests/support/TempHome.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace unittest;

namespace {

struct Ran {
    int status = -1;
    std::string out, err;
};

std::string Slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// velkctl with `args`, its output kept in the temporary home.
Ran Ctl(const TempHome& home, const std::vector<std::string>& args)
{
    std::string cmd = VELKCTL_PATH;
    for (const std::string& a : args) cmd += " '" + a + "'";
    cmd += " >" + home.Sub("out") + " 2>" + home.Sub("err");
    Ran r;
    const int st = std::system(cmd.c_str());
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    r.out = Slurp(home.Sub("out"));
    r.err = Slurp(home.Sub("err"));
    return r;
}

std::vector<std::string> Join(std::vector<std::string> a, const std::vector<std::string>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace

TEST(Velkctl, ByIpEveryCommandWorksAndRefusalsChangeNothing)
{
    TempHome home;
    Simulator sim({"--udp-port", "0", "--bind", "::1", "--ident", "4321", "--restart-delay", "0.3", "--state",
                   home.Sub("unit.state")});
    ASSERT_TRUE(sim.Started());
    const std::vector<std::string> unit = {"--ip", "::1", "--port", std::to_string(sim.Udp()), "--ident", "4321",
                                           "--check-delay", "0.3", "--timeout", "5"};
    const std::string file = home.Sub("before.velk");

    Ran r = Ctl(home, Join({"read", "-o", file}, unit));
    ASSERT_EQ(r.status, 0) << r.err;
    const Ran fromFile = Ctl(home, {"show", file});
    EXPECT_EQ(Ctl(home, Join({"show"}, unit)).out, fromFile.out) << "a unit and its file show alike";
    EXPECT_NE(fromFile.out.find("\nSystem.NTP "), std::string::npos) << fromFile.out;
    r = Ctl(home, {"show", "--json", file});
    EXPECT_EQ(r.out.rfind("{\"System.Ident\":\"4321\",", 0), 0u) << r.out;

    // Refused before anything is sent: an unknown field, values the System
    // page refuses (its own message), a damaged file, a wrong key.
    r = Ctl(home, Join({"set", "System.Nothing=1"}, unit));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("unknown field 'System.Nothing'"), std::string::npos) << r.err;
    r = Ctl(home, Join({"set", "System.NTP=ok.example", "System.MAC=12AB"}, unit));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("MAC address must be 12 symbols long"), std::string::npos) << r.err;
    r = Ctl(home, Join({"set", "System.TimeZone=60"}, unit));
    EXPECT_NE(r.err.find("System.TimeZone: 60 - Acceptable range of values 0...49"), std::string::npos) << r.err;
    std::string damaged = Slurp(file);
    damaged[damaged.size() / 2] ^= 1;
    std::ofstream(home.Sub("damaged.velk"), std::ios::binary) << damaged;
    r = Ctl(home, Join({"write", home.Sub("damaged.velk")}, unit));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("damaged"), std::string::npos) << r.err;
    r = Ctl(home, {"write", home.Sub("missing.velk"), "--ip", "::1", "--ident", "4321"});
    EXPECT_EQ(r.status, 2);
    r = Ctl(home, Join({"show", "--key", "wrong2024x", "--timeout", "1"}, unit));
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("did not answer"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
    EXPECT_EQ(sim.CountLines("askNVRAM write"), 0);
    EXPECT_EQ(sim.CountLines("askRestart"), 0);

    // set, checked after the restart; diff finds it; write puts the file back.
    r = Ctl(home, Join({"set", "System.NTP=ntp.example", "System.TimeZone=5"}, unit));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("System.NTP: pool.ntp.org -> ntp.example"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Save checked: the unit holds what was written."), std::string::npos) << r.out;
    EXPECT_EQ(sim.CountLines("askRestart"), 1);
    r = Ctl(home, Join({"diff", file}, unit));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "System.TimeZone: 28 -> 5\nSystem.NTP: pool.ntp.org -> ntp.example\n");
    r = Ctl(home, Join({"write", file}, unit));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Save checked"), std::string::npos) << r.out;
    r = Ctl(home, {"diff", file, "unit:ip,::1," + std::to_string(sim.Udp()) + ",4321"});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out, "");
}

TEST(Velkctl, BySerialLineSetIsCheckedAfterTheRestart)
{
    TempHome home;
    Simulator sim({"--udp-port", "0", "--bind", "::1", "--ident", "77", "--serial", "--restart-delay", "0.3"});
    ASSERT_FALSE(sim.Serial().empty());
    const std::vector<std::string> unit = {"--serial", sim.Serial(), "--ident", "77", "--check-delay", "1"};
    Ran r = Ctl(home, Join({"set", "System.PingOff=1"}, unit));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Save checked"), std::string::npos) << r.out;
    r = Ctl(home, Join({"show", "--json"}, unit));
    EXPECT_NE(r.out.find("\"System.PingOff\":\"1\""), std::string::npos) << r.out;
}

TEST(Velkctl, ByCloudKeyTheKeyRulesAndTheUnitsKeyDecide)
{
    TempHome home;
    Simulator sim({"--udp-port", "0", "--bind", "::1", "--ident", "900", "--cloud", "--cloud-port", "0",
                   "--cloud-key-port", "0", "--key", "lift2024a", "--restart-delay", "0.3"});
    ASSERT_TRUE(sim.Started());
    auto by = [&](const std::string& key) {
        return std::vector<std::string>{"--cloud-key", "--key", key, "--ident", "900", "--cloud",
                                        "[::1]:" + std::to_string(sim.CloudKey()), "--timeout", "3", "--check-delay", "0.5"};
    };
    Ran r = Ctl(home, Join({"show", "--json"}, by("aaa1bbbb")));
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err.rfind("velkctl: Invalid key. A valid key: - has at least 8 characters;", 0), 0u) << r.err;
    EXPECT_EQ(sim.CountLines("askInfo"), 0) << "refused before anything is sent";
    r = Ctl(home, Join({"show", "--json"}, by("other2024b")));
    EXPECT_EQ(r.status, 3) << r.out;
    r = Ctl(home, Join({"set", "System.TimeZone=3"}, by("lift2024a")));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("Save checked"), std::string::npos) << r.out;
}

TEST(Velkctl, ManyUnitsRunTogetherAndOneSilentUnitIsNamedWithoutStoppingTheOthers)
{
    TempHome home;
    Simulator sim({"--udp-port", "0", "--bind", "::1", "--ident", "500", "--units", "3", "--restart-delay", "0.3"});
    ASSERT_TRUE(sim.Started());
    std::ofstream list(home.Sub("units.csv"));
    list << "# three simulated units and one address where nobody answers\n";
    for (int i = 0; i < 3; ++i) list << "ip, ::1, " << sim.Udp() + i << ", " << 500 + i << "\n";
    list << "ip,::1," << sim.Udp() + 3 << ",503\n";
    list.close();
    std::filesystem::create_directory(home.Sub("images"));
    const Ran r = Ctl(home, {"read", "--targets", home.Sub("units.csv"), "--jobs", "4", "-o", home.Sub("images"),
                             "--timeout", "2"});
    EXPECT_EQ(r.status, 3);
    for (int i = 0; i < 3; ++i) {
        const Ran shown = Ctl(home, {"show", "--json", home.Sub("images/" + std::to_string(500 + i) + ".velk")});
        EXPECT_NE(shown.out.find("\"System.Ident\":\"" + std::to_string(500 + i) + "\""), std::string::npos) << shown.out;
    }
    EXPECT_FALSE(std::filesystem::exists(home.Sub("images/503.velk")));
    EXPECT_NE(r.err.find("#503  failed    the unit did not answer"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("3 of 4 units done, 1 failed"), std::string::npos) << r.err;

    // A change to every unit at once, each checked after its own restart.
    std::ofstream(home.Sub("three.csv")) << "ip,::1," << sim.Udp() << ",500\nip,::1," << sim.Udp() + 1 << ",501\n"
                                         << "ip,::1," << sim.Udp() + 2 << ",502\n";
    const Ran set = Ctl(home, {"set", "--targets", home.Sub("three.csv"), "--jobs", "3", "--check-delay", "0.5",
                               "System.NTP=ntp.example"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_EQ(sim.CountLines("askRestart"), 3);
    const Ran diff = Ctl(home, {"diff", home.Sub("images/501.velk"), "--targets", home.Sub("three.csv")});
    EXPECT_EQ(diff.status, 1);
    EXPECT_NE(diff.out.find("== ::1:" + std::to_string(sim.Udp() + 1) + "#501\nSystem.NTP: pool.ntp.org -> ntp.example\n"),
              std::string::npos) << diff.out;

    std::ofstream(home.Sub("bad.csv")) << "ip,::1,1,1\nudp,::1,2,2\n";
    const Ran bad = Ctl(home, {"show", "--targets", home.Sub("bad.csv")});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("line 2: unknown method 'udp'"), std::string::npos) << bad.err;
}
