#include "tools/velkunit/UnitState.h"

#include <algorithm>
#include <cstring>

namespace velkunit {

namespace {

constexpr int kIdentAt = kEth + 0x01;
constexpr int kMacAt = kEth + 0x05;
constexpr int kKeyAt = kEth + 0x0B;

void Put(Image& image, int adr, std::initializer_list<unsigned char> bytes)
{
    std::copy(bytes.begin(), bytes.end(), image.begin() + adr);
}

void PutBigEndian16(Image& image, int adr, unsigned value)
{
    Put(image, adr, {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)});
}

}  // namespace

int DescrAddress(const UnitConfig& c) { return IsCM3OrV7(c) ? CLBNVRAM::kDescrCM3V7 : CLBNVRAM::kDescrOld; }

int LinkSlots(const UnitConfig& c) { return IsCM3OrV7(c) ? 8 : 4; }

UnitState Boot(UnitState state, time_t now)
{
    state.running = state.image;
    state.bootTime = now;
    state.accepted = 0;
    state.transferred = 0;
    state.mqttReconnects = 0;
    state.mqttReconnectAt = 0;
    state.g4RestartAt = now;   // the modem starts over with the unit
    return state;
}

Image DefaultImage(const UnitConfig& config)
{
    Image image;
    image.fill(0xFF);
    PutImageText(image, DescrAddress(config), CLBNVRAM::kDescrLen, "Simulated unit " + std::to_string(config.ident));

    // Identifier and MAC address, and the factory copies that the System
    // page falls back on. The MAC is locally administered and follows the
    // identifier, so that two simulators on one network differ.
    unsigned char ident[4];
    CIdentV7(config.ident, 0).GetValue(ident);
    const auto id = static_cast<unsigned>(config.ident);
    const std::initializer_list<unsigned char> mac = {0x02, 0x56, 0x4B, static_cast<unsigned char>(id >> 16),
                                                      static_cast<unsigned char>(id >> 8), static_cast<unsigned char>(id)};
    for (int at : {kIdentAt, kEth + 0x36}) std::memcpy(image.data() + at, ident, 4);
    for (int at : {kMacAt, kEth + 0x3A}) Put(image, at, mac);
    image[kEth + 0x1B] = 0;    // no "static connect only" sign, or a save would need links
    image[kEth + 0x1C] = 0;    // ping allowed
    image[kEth + 0x1D] = 28;   // UTC+03:00
    PutImageText(image, kEth + 0x160, 32, "pool.ntp.org");

    // Ethernet: DHCP, with static values ready for the user to switch to.
    image[kEth + 0x100] = 0;
    PutBigEndian16(image, kEth + 0x101, V7Net::kUnitPort);
    PutBigEndian16(image, kEth + 0x103, 46001);
    Put(image, kEth + 0x105, {192, 168, 1, 50});
    Put(image, kEth + 0x109, {255, 255, 255, 0});
    Put(image, kEth + 0x10D, {192, 168, 1, 1});
    Put(image, kEth + 0x111, {192, 168, 1, 1});
    PutImageText(image, kEth + 0x120, 32, "");   // PPPoE login and password
    PutImageText(image, kEth + 0x140, 32, "");

    // 4G: an APN, roaming off.
    PutImageText(image, kEth + 0x39C, 40, "internet");
    image[kEth + 0x3C4] = 0;
    return image;
}

bool ImageHasKey(const Image& image)
{
    return std::any_of(image.begin() + kKeyAt, image.begin() + kKeyAt + 16,
                        [](unsigned char b) { return b != 0x00 && b != 0xFF; });
}

CKeySys ImageKey(const Image& image)
{
    CKeySys key;
    if (ImageHasKey(image))
        key.Set(image.data() + kKeyAt);
    else
        key.SetDefault();
    return key;
}

void PutImageKey(Image& image, const CKeySys& key) { std::memcpy(image.data() + kKeyAt, key.Data(), 16); }

int ImageIdent(const Image& image)
{
    CIdentV7 ident;
    ident.SetValue(image.data() + kIdentAt);
    const bool erased = std::all_of(image.begin() + kIdentAt, image.begin() + kIdentAt + 4,
                                    [](unsigned char b) { return b == 0xFF; });
    return !erased && ident.IsLU() ? ident.GetNode() : 0;
}

unsigned BigEndian16(const Image& image, int adr)
{
    return static_cast<unsigned>(image[static_cast<size_t>(adr)] << 8 | image[static_cast<size_t>(adr) + 1]);
}

std::string ImageText(const Image& image, int adr, int max)
{
    std::string text;
    for (int i = 0; i < max; ++i) {
        const unsigned char b = image[static_cast<size_t>(adr + i)];
        if (b < 0x20 || b == 0xFF) break;
        text.push_back(static_cast<char>(b));
    }
    return text;
}

void PutImageText(Image& image, int adr, int max, const std::string& text)
{
    std::fill(image.begin() + adr, image.begin() + adr + max, 0);
    std::copy_n(text.begin(), std::min<size_t>(text.size(), static_cast<size_t>(max)), image.begin() + adr);
}

}  // namespace velkunit
