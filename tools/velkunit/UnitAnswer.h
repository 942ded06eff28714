#pragma once
// The unit's answers: a function of the unit's state, one packet that a
// configurator sent it and the time of day. No sockets, no threads, no
// clock of its own: every carrier (UDP, serial line, cloud) calls it, and the
// tests call it directly.
//
// Replies lay out their data as the configurator reads them: data byte n
// is packet offset 14 + n, words low byte first unless the field is a port
// (big-endian, as in the image).
#include "link/CPackV7.h"
#include "tools/velkunit/UnitState.h"

#include <string>
#include <vector>

namespace velkunit {

// Status bytes of an askNVRAM reply besides 0 (success).
constexpr int kStatusOutside = 1;     // the run leaves the image, or a length of 0
constexpr int kStatusMalformed = 2;   // the request is too short for its own length word

// What one packet was, for the log line.
struct AnswerNote {
    bool request = false;   // a packet that the log reports (class 4 with a body)
    int ask = -1;           // typAsk of a request, -1 for other packets
    std::string kind;       // what the packet was when it is not an ordinary request
    std::string op;         // "read", "write", "reconnect", "restart" ...
    int addr = -1;          // askNVRAM: address and byte count
    int len = -1;
    int arg = -1;           // the first data byte of a one-byte request
    int status = -1;        // askNVRAM: the status byte of the reply
    int refused = 0;        // the reason of a refusal that answered it
};

struct UnitOutcome {
    UnitState state;                // the state after the request
    std::vector<CPackV7> replies;   // in the order they are to be sent
    AnswerNote note;
    bool written = false;   // the image changed and is to be kept
    bool restart = false;   // the unit restarts now (no reply)
};

UnitOutcome UnitAnswer(const UnitState& state, const CPackV7& request, time_t now);

// Refusal by the unit or the server: class 3, type 5, the reason byte as
// body, from `from` (the unit the configurator asked for) to `to`.
CPackV7 Refusal(const CIdentV7& from, const CIdentV7& to, int reason);

// "askInfo", "askNVRAM" ... or "ask<n>".
std::string AskName(int ask);

// The seconds of an NTP clock (since 1900, modulo 2^32) at Unix time `now`.
uint32_t NtpSeconds(time_t now);

}  // namespace velkunit
