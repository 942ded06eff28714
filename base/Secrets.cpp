// The one place of the compiled-in secrets.
//
// PLACEHOLDERS. The values below are NOT those of the deployed units or of the
// cloud server. They let the configurator, the unit simulator and the tests
// talk to each other; to talk to real units, configure the real values:
//
//   cmake -DVELK_SECRET_DEFAULT_LINK_KEY=<32 hex> -DVELK_SECRET_SERIAL_KEY=<32 hex>
//         -DVELK_SECRET_FOR_KEY_SYS=<32 hex> -DVELK_SECRET_PRO_CLOUD_KEY=<32 hex>
//         -DVELK_SECRET_DISP_MASK=<32 hex> [-DVELK_SECRET_GUEST_KEY=<32 hex>]
//         -DVELK_SECRET_CLOUD_HOST=<host> ...
#include "base/Secrets.h"

#include <cstring>

namespace {

#ifndef VELK_SECRET_DEFAULT_LINK_KEY
#define VELK_SECRET_DEFAULT_LINK_KEY "5A3C96E1B70F48D2A1C3E5F708192A3B"  // PLACEHOLDER
#define VELK_PLACEHOLDER_1 1
#endif
#ifndef VELK_SECRET_SERIAL_KEY
#define VELK_SECRET_SERIAL_KEY "1F2E3D4C5B6A79880102030405060708"  // PLACEHOLDER
#define VELK_PLACEHOLDER_2 1
#endif
#ifndef VELK_SECRET_FOR_KEY_SYS
#define VELK_SECRET_FOR_KEY_SYS "C0FFEE00DEADBEEF0BADF00D12345678"  // PLACEHOLDER
#define VELK_PLACEHOLDER_3 1
#endif
#ifndef VELK_SECRET_PRO_CLOUD_KEY
#define VELK_SECRET_PRO_CLOUD_KEY "7E1D4A2B9C6F30851D2C3B4A59687706"  // PLACEHOLDER
#define VELK_PLACEHOLDER_4 1
#endif
#ifndef VELK_SECRET_DISP_MASK
#define VELK_SECRET_DISP_MASK "A55AC33C0FF096691EE12DD24BB478B7"  // PLACEHOLDER
#define VELK_PLACEHOLDER_5 1
#endif
// The guest account's key material is the dispatcher mask, unless a value
// of its own is configured.
#ifndef VELK_SECRET_GUEST_KEY
#define VELK_SECRET_GUEST_KEY VELK_SECRET_DISP_MASK
#endif
#ifndef VELK_SECRET_CLOUD_HOST
// Placeholder: the unit simulator (velkunit --cloud) serves as the cloud
// server on this machine.
#define VELK_SECRET_CLOUD_HOST "localhost"
#define VELK_PLACEHOLDER_7 1
#endif

consteval unsigned char Nibble(char c)
{
    if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<unsigned char>(c - 'a' + 10);
    throw "a key must be 32 hexadecimal digits";
}

consteval Secrets::Key16 Hex16(const char (&text)[33])
{
    Secrets::Key16 key{};
    for (int i = 0; i < 16; ++i)
        key[i] = static_cast<unsigned char>(Nibble(text[2 * i]) << 4 | Nibble(text[2 * i + 1]));
    return key;
}

// Checks the text form at compile time too.
[[maybe_unused]] constexpr Secrets::Key16 kDefaultLinkKeyCheck = Hex16(VELK_SECRET_DEFAULT_LINK_KEY);

}  // namespace

namespace Secrets {

const char* const DefaultLinkKeyText = VELK_SECRET_DEFAULT_LINK_KEY;
constinit const Key16 SerialKey = Hex16(VELK_SECRET_SERIAL_KEY);
constinit const Key16 ForKeySys = Hex16(VELK_SECRET_FOR_KEY_SYS);
constinit const Key16 ProCloudKey = Hex16(VELK_SECRET_PRO_CLOUD_KEY);
constinit const Key16 DispMask = Hex16(VELK_SECRET_DISP_MASK);
constinit const Key16 GuestKey = Hex16(VELK_SECRET_GUEST_KEY);
const char* const CloudHost = VELK_SECRET_CLOUD_HOST;

bool AnyPlaceholder()
{
#if defined(VELK_PLACEHOLDER_1) || defined(VELK_PLACEHOLDER_2) || defined(VELK_PLACEHOLDER_3) || \
    defined(VELK_PLACEHOLDER_4) || defined(VELK_PLACEHOLDER_5) || defined(VELK_PLACEHOLDER_7)
    return true;
#else
    return false;
#endif
}

}  // namespace Secrets
