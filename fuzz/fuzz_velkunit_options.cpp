// The simulator's command line: arguments separated by zero bytes.
// Seeds: fuzz/corpus/velkunit_options/.
//
// The simulator is not part of velkcore and the fuzz build has no tools, so
// this driver compiles the sources it needs.
#include "tools/velkunit/UnitOptions.cpp"
#include "tools/velkunit/UnitState.cpp"

#include <cstdint>
#include <cstdlib>

using namespace velkunit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<std::string> args(1);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0)
            args.emplace_back();
        else
            args.back().push_back(static_cast<char>(data[i]));
    }
    Options o;
    o.ident = 42;
    std::string error;
    if (!ParseOptions(args, o, error)) {
        if (error.empty() || o.ident != 42) std::abort();   // refused, and nothing taken
        return 0;
    }
    const UnitConfig c = ConfigFrom(o, 0);
    if (c.ident < 1 || c.ident > 9999899 || c.hwSubtype < 1) std::abort();
    for (int v : c.version)
        if (v < 0 || v > 255) std::abort();
    if (o.drop < 0 || o.drop > 0.9 || o.udpPort < 0 || o.udpPort > 65535) std::abort();
    return 0;
}
