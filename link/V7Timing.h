#pragma once
// The seconds clock of the V7 link's time rules (the 3-second rule of an
// address change, the 60-second memory of received idents, the 1-second gap
// of the serial line). Production reads time(); a test installs its own
// source before it starts the object, so that these rules are exercised
// without waiting for them. The source may be called from any thread.
#include <ctime>
#include <functional>

using V7SecondsClock = std::function<time_t()>;

inline time_t V7Now(const V7SecondsClock& clock) { return clock ? clock() : std::time(nullptr); }
