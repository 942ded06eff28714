#pragma once
// The connection methods of the configurator, and the ports and service
// nodes of the V7 network that both ends of a link must agree on.

enum typConnect { typConnectUSB = 0, typConnectIP = 1, typConnectCloud = 2, typConnectCloudKey = 3 };

namespace V7Net {
constexpr int kUnitPort = 46000;       // a unit's UDP port
constexpr int kCloudPort = 4998;       // the cloud server, buttons method
constexpr int kCloudKeyPort = 4997;    // the cloud server, key method
constexpr int kNodeServer = 9999997;   // the cloud server's node on the key method
constexpr int kNodeCloud = 9999998;    // the cloud server's node that announces itself
}  // namespace V7Net
