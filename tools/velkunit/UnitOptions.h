#pragma once
// The command line of velkunit. One table holds every option with its
// argument and its help, so that the parser and --help cannot disagree.
// The parser takes any argument list without a crash: each refusal comes
// back as a text for the user.
#include "tools/velkunit/UnitState.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace velkunit {

struct Options {
    bool help = false;
    bool json = false;
    // The unit.
    int ident = 0;        // 0: the identifier in the image, else 2
    int units = 1;        // units of this process, on consecutive ports and identifiers
    int type = 14;
    int subtype = -1;     // -1: by type
    int hwSubtype = -1;   // -1: by type and sub-type
    std::array<int, 3> version{-1, -1, -1};   // -1: by type
    std::array<int, 2> features{-1, -1};      // -1: by type and sub-type
    std::string image;
    std::string state;
    std::string key;
    bool keySet = false;
    // Carriers.
    int udpPort = V7Net::kUnitPort;
    std::string bind;     // empty: every address
    bool serial = false;
    bool cloud = false;
    int cloudPort = V7Net::kCloudPort;
    int cloudKeyPort = V7Net::kCloudKeyPort;
    double buttonsAfter = 2;    // negative: never
    // Behaviour and faults.
    double restartDelay = 7;
    int refuse = 0;             // 1 busy, 7 bad identifier
    double drop = 0;
    unsigned seed = 1;
    int delayMs = 0;
    int baud = 0;               // 0: the serial line is not paced
    long silentAfter = 0;       // 0: never
    int nvramStatus = 0;
    int forgetWrite = -1;       // -1: none
    std::array<uint32_t, 10> counters{};   // askStatistic, as sent
    bool countersSet = false;
    long wrongKey = 0;          // 0: never
    int maxTry = 5;
    // --reply: the data bytes of set answers, per request kind, in order.
    std::vector<std::pair<int, std::vector<unsigned char>>> replies;
    int retryMs = 2000;
};

// False with a message for the user in `error`.
bool ParseOptions(const std::vector<std::string>& args, Options& out, std::string& error);
std::string HelpText();

// The unit's self-description from the options; `imageIdent` (0 if none)
// is the identifier found in the image.
UnitConfig ConfigFrom(const Options& options, int imageIdent);

}  // namespace velkunit
