// velkctl's targets file: any bytes. A file is taken whole or refused with a
// reason naming a line; every unit taken passes the checks of one unit.
// Seeds: fuzz/corpus/ctl_targets/.
#include "ctl/Targets.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<CtlTarget> units;
    std::string why;
    if (!ParseTargets(text, units, why)) {
        if (why.empty() || !units.empty()) std::abort();
        return 0;
    }
    for (const CtlTarget& t : units) {
        std::string again;
        if (!CheckTarget(t, again) || t.ident < 1 || t.port < 0 || t.port > 65535) std::abort();
        if (t.Name().empty()) std::abort();
    }
    return 0;
}
