#pragma once
// Compiled-in keys shared with the deployed units and the cloud server, and
// the default cloud host. The values stand in base/Secrets.cpp; each can be
// replaced at configure time (see the README).
#include <array>

namespace Secrets {

using Key16 = std::array<unsigned char, 16>;

// CKeySys::SetDefault: the units' default link key, as 32 hex digits.
extern const char* const DefaultLinkKeyText;
// CPackV7::DefaultKey: channel key of the USB serial line.
extern const Key16 SerialKey;
// CPackV7::ForKeySYS: IDEA key that turns a password into a link key.
extern const Key16 ForKeySys;
// ProCloudKey: IDEA key of the cloud coding.
extern const Key16 ProCloudKey;
// CSendDisp::m_Maska: key mask of the dispatcher protocol.
extern const Key16 DispMask;
// Fixed key material of the cloud server's guest account: DispMask unless
// configured on its own.
extern const Key16 GuestKey;
// Host name of the default cloud server.
extern const char* const CloudHost;

// True while any value above is still a placeholder of this source tree.
bool AnyPlaceholder();

}  // namespace Secrets
