#include "ctl/CtlArgs.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

namespace {

struct CommandInfo {
    CtlCommand m_Command;
    const char* m_Name;
    const char* m_Help;
};

const CommandInfo kCommands[] = {
    {CtlCommand::read, "read",
     "velkctl read UNIT [-o FILE]\n"
     "  Reads the unit's whole image and writes it as an image file to FILE, or to\n"
     "  standard output. With --targets, -o names a folder: one IDENT.velk per unit.\n"},
    {CtlCommand::show, "show",
     "velkctl show UNIT | FILE [--json]\n"
     "  The named fields of a unit or of an image file, one a line with the values\n"
     "  aligned, or as one JSON object. A link key shows only as set or not set.\n"},
    {CtlCommand::diff, "diff",
     "velkctl diff A [B]\n"
     "  The named fields in which A and B differ, as NAME: A -> B. Each of A and B is\n"
     "  an image file or unit:LINE, LINE being a line of a targets file; a missing B\n"
     "  is the unit named by the options. Exit status 1 when they differ.\n"},
    {CtlCommand::set, "set",
     "velkctl set UNIT FIELD=VALUE...\n"
     "  Reads the unit, changes the fields with the checks of their page (the same\n"
     "  refusals), writes the blocks that changed, restarts the unit and reads it\n"
     "  again to check that it holds what was written. Nothing is written when a\n"
     "  field or a value is refused.\n"},
    {CtlCommand::write, "write",
     "velkctl write UNIT FILE [--force]\n"
     "  Restores an image file into the unit: every byte the file knows except the\n"
     "  unit's MAC address, then the restart and the check as with set. A file of\n"
     "  another unit type needs --force.\n"},
    {CtlCommand::fields, "fields",
     "velkctl fields\n"
     "  The names of the fields that show, diff and set know, with their kinds.\n"},
};

const char* kGeneral =
    "velkctl: the configurator's work on lift units, without a window.\n"
    "\n"
    "Usage: velkctl COMMAND [OPTIONS] [OPERANDS]\n"
    "\n"
    "Commands: read, show, diff, set, write, fields. 'velkctl help COMMAND' or\n"
    "'velkctl COMMAND --help' tells more of one.\n"
    "\n"
    "A unit (UNIT above) is named as on the Connection page:\n"
    "  --ip ADDR [--port N] --ident N [--key TEXT | --key-hex HEX]   by IP nets\n"
    "  --serial PATH --ident N                                       by USB port\n"
    "  --cloud-key --key TEXT --ident N [--cloud HOST[:PORT]]         through the cloud, by key\n"
    "A key TEXT is a password, as typed on the page; --key-hex takes the 32\n"
    "hexadecimal digits of the key itself. No key: the default key.\n"
    "\n"
    "Many units:\n"
    "  --targets FILE   one unit a line: ip,ADDR,PORT,IDENT[,KEY] | serial,PATH,IDENT |\n"
    "                   cloud-key,HOST[:PORT],IDENT,KEY  (KEY: a password or hex:HEX;\n"
    "                   '#' starts a comment line)\n"
    "  --jobs N         units worked on at once (default 4, at most 256)\n"
    "\n"
    "Other options:\n"
    "  -o, --output PATH    read: the file (or, with --targets, the folder)\n"
    "  --json               show: JSON\n"
    "  --timeout SECONDS    for one read of a unit (default 12)\n"
    "  --check-delay SECONDS  from the restart to the check (default 5)\n"
    "  --no-check           set, write: no check after the restart\n"
    "  --force              write: a file of another unit type\n"
    "  -h, --help           this text;  --version  the version\n"
    "\n"
    "Exit status: 0 done; 1 diff found differences; 2 refused input (nothing was\n"
    "sent); 3 a unit could not be reached or read; 4 the check after the restart\n"
    "failed. With --targets, the highest status of all units. Messages are in English.\n";

bool Seconds(const std::string& text, double& out)
{
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end || !std::isfinite(v) || v < 0 || v > 3600) return false;
    out = v;
    return true;
}

bool Int(const std::string& text, int lo, int hi, int& out)
{
    int v = 0;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || ec != std::errc() || p != text.data() + text.size() || v < lo || v > hi) return false;
    out = v;
    return true;
}

}  // namespace

const char* CtlCommandName(CtlCommand command)
{
    for (const CommandInfo& c : kCommands)
        if (c.m_Command == command) return c.m_Name;
    return "";
}

std::string CtlHelp(CtlCommand command)
{
    for (const CommandInfo& c : kCommands)
        if (c.m_Command == command) return std::string("Usage: ") + c.m_Help + "\n'velkctl --help' lists the options.\n";
    return kGeneral;
}

bool ParseCtlArgs(const std::vector<std::string>& args, CtlOptions& out, std::string& error)
{
    CtlOptions o;
    bool ipSet = false, serialSet = false, cloudKey = false, identSet = false, keySet = false, cloudSet = false;
    std::string port, cloud;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& v) {
            if (i + 1 >= args.size()) return error = a + " needs a value", false;
            v = args[++i];
            return true;
        };
        std::string v;
        if (a == "-h" || a == "--help") {
            o.help = true;
        } else if (a == "--version") {
            o.version = true;
        } else if (a == "--json") {
            o.json = true;
        } else if (a == "--force") {
            o.force = true;
        } else if (a == "--no-check") {
            o.check = false;
        } else if (a == "--cloud-key") {
            cloudKey = true;
        } else if (a == "--ip") {
            if (!value(o.target.host)) return false;
            ipSet = true;
        } else if (a == "--port") {
            if (!value(port)) return false;
        } else if (a == "--ident") {
            if (!value(v)) return false;
            if (!Int(v, 1, 16711678, o.target.ident)) return error = "--ident: '" + v + "' is not 1..16711678", false;
            identSet = true;
        } else if (a == "--key" || a == "--key-hex") {
            if (keySet) return error = "one key only (--key or --key-hex)", false;
            if (!value(o.target.key)) return false;
            o.target.keyHex = a == "--key-hex";
            keySet = true;
        } else if (a == "--serial") {
            if (!value(o.target.serial)) return false;
            serialSet = true;
        } else if (a == "--cloud") {
            if (!value(cloud)) return false;
            cloudSet = true;
        } else if (a == "--targets") {
            if (!value(o.targetsFile)) return false;
        } else if (a == "--jobs") {
            if (!value(v)) return false;
            if (!Int(v, 1, 256, o.jobs)) return error = "--jobs: '" + v + "' is not 1..256", false;
        } else if (a == "--timeout") {
            if (!value(v)) return false;
            if (!Seconds(v, o.timeout) || o.timeout == 0) return error = "--timeout: '" + v + "' is not a number of seconds", false;
        } else if (a == "--check-delay") {
            if (!value(v)) return false;
            if (!Seconds(v, o.checkDelay)) return error = "--check-delay: '" + v + "' is not a number of seconds", false;
        } else if (a == "-o" || a == "--output") {
            if (!value(o.output)) return false;
        } else if (a.size() > 1 && a[0] == '-') {
            return error = "unknown option " + a, false;
        } else if (o.command == CtlCommand::none) {
            if (a == "help") {
                o.help = true;
                o.command = CtlCommand::fields;   // the next word may name one
                o.operands.push_back("help");
                continue;
            }
            for (const CommandInfo& c : kCommands)
                if (a == c.m_Name) o.command = c.m_Command;
            if (o.command == CtlCommand::none) return error = "unknown command '" + a + "'", false;
        } else {
            o.operands.push_back(a);
        }
    }
    // "help CMD": the word after help names the command.
    if (!o.operands.empty() && o.operands[0] == "help") {
        o.command = CtlCommand::none;
        if (o.operands.size() > 1)
            for (const CommandInfo& c : kCommands)
                if (o.operands[1] == c.m_Name) o.command = c.m_Command;
        o.operands.clear();
        out = o;
        return true;
    }
    if (o.help || o.version) {
        out = o;
        return true;
    }
    if (o.command == CtlCommand::none) return error = "no command (read, show, diff, set, write, fields)", false;

    const int ways = int(ipSet) + int(serialSet) + int(cloudKey);
    if (ways > 1) return error = "one of --ip, --serial and --cloud-key", false;
    if (ways && !o.targetsFile.empty()) return error = "--targets or one unit, not both", false;
    if (cloudSet && !cloudKey) return error = "--cloud goes with --cloud-key", false;
    if (!port.empty() && !ipSet) return error = "--port goes with --ip (the cloud's port: --cloud HOST:PORT)", false;
    if (ways) {
        if (!identSet) return error = "--ident is missing", false;
        o.hasTarget = true;
        o.target.method = ipSet ? typConnectIP : serialSet ? typConnectUSB : typConnectCloudKey;
        if (!port.empty() && !Int(port, 1, 65535, o.target.port)) return error = "--port: '" + port + "' is not 1..65535", false;
        if (cloudKey && cloudSet) {
            std::string why;
            if (!SplitHostPort(cloud, o.target.host, o.target.port, why)) return error = "--cloud: " + why, false;
        }
        std::string why;
        if (!CheckTarget(o.target, why)) return error = why, false;
    } else if (identSet || keySet || cloudSet) {
        return error = "--ident and --key need --ip, --serial or --cloud-key", false;
    }

    const bool many = !o.targetsFile.empty();
    const size_t n = o.operands.size();
    auto unitNeeded = [&] {
        if (o.hasTarget || many) return true;
        return error = std::string(CtlCommandName(o.command)) + ": name a unit (--ip, --serial, --cloud-key or --targets)", false;
    };
    switch (o.command) {
    case CtlCommand::read:
        if (n) return error = "read takes no operand (the file: -o FILE)", false;
        if (many && o.output.empty()) return error = "read with --targets needs -o FOLDER", false;
        if (!unitNeeded()) return false;
        break;
    case CtlCommand::show:
        if (n > 1 || (n == 1 && (o.hasTarget || many))) return error = "show takes a unit or one file", false;
        if (n == 0 && !unitNeeded()) return false;
        break;
    case CtlCommand::diff:
        if (n == 0 || n > 2) return error = "diff takes one or two operands", false;
        if (n == 2 && (o.hasTarget || many)) return error = "diff of two operands takes no unit option", false;
        if (n == 1 && !unitNeeded()) return false;
        break;
    case CtlCommand::set:
        if (!unitNeeded()) return false;
        if (n == 0) return error = "set needs FIELD=VALUE", false;
        break;
    case CtlCommand::write:
        if (!unitNeeded()) return false;
        if (n != 1) return error = "write takes one image file", false;
        break;
    case CtlCommand::fields:
        if (n || o.hasTarget || many) return error = "fields takes nothing", false;
        break;
    case CtlCommand::none: break;
    }
    out = o;
    return true;
}
