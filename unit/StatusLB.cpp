#include "unit/StatusLB.h"
// TEMPORARY (not committed): the decoders arrive from the status branch.
void CStatusEth::Decode(const CPackV7&) {}
void CStatusSys::Decode(const CPackV7&) {}
void CStatusWiFi::Decode(const CPackV7&) {}
void CStatusMQTT::Decode(const CPackV7&) {}
void CStatusG4::Decode(const CPackV7&) {}
void CStatCounters::Decode(const CPackV7&) {}
bool CDirectOne::Decode(const CPackV7&, Effect&) { return false; }
