#include "unit/StatusLB.h"
// Decoders arrive in the next commit.
