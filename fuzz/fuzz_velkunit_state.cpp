// The simulator's image and state files, whatever a user hands it.
// Seeds: fuzz/corpus/velkunit_state/.
//
// The simulator is not part of velkcore and the fuzz build has no tools, so
// this driver compiles the sources it needs.
#include "tools/velkunit/UnitFile.cpp"
#include "tools/velkunit/UnitState.cpp"

#include <cstdint>
#include <cstdlib>

using namespace velkunit;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Image image{};
    image.fill(0x33);
    const Image before = image;
    std::string why;
    const bool state = ParseStateFile(data, size, image, why);
    if (!state && (image != before || why.empty())) std::abort();
    if (state && size != kStateFileSize) std::abort();
    Image any{};
    const bool taken = ParseImageFile(data, size, any, why);
    if (taken && size != kStateFileSize && size != static_cast<size_t>(kImageSize)) std::abort();
    if (state && (!taken || any != image)) std::abort();
    // What was taken is kept as a state file that reads back the same.
    if (taken) {
        const std::vector<unsigned char> kept = StateFileBytes(any);
        Image back{};
        if (!ParseStateFile(kept.data(), kept.size(), back, why) || back != any) std::abort();
    }
    return 0;
}
