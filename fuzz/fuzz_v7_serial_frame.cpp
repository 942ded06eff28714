// The frame assembler of the serial line on any byte stream, checked against
// the rules it implements: a frame starts at 0xFF, is complete after its
// length L plus 3 bytes with L up to 1022, is refused at once for L above
// 1024 and dropped when 1025 bytes are stored without completing it; its body
// is exactly the bytes that followed. Each complete body is decoded as the
// port would.
// Seeds: fuzz/corpus/v7_serial_frame/, frames as a unit sends them, split,
// back to back, behind noise and at the length limits.
#include "link/CFrameV7.h"
#include "link/CPackV7.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CFrameV7 frame;
    size_t start = 0;
    bool inFrame = false;
    for (size_t i = 0; i < size; ++i) {
        const CFrameV7::Event ev = frame.Put(data[i]);
        if (ev == CFrameV7::evStart) {
            if (inFrame || data[i] != 0xFF) std::abort();
            inFrame = true;
            start = i;
            continue;
        }
        if (ev == CFrameV7::evNone) {
            if (!inFrame && data[i] == 0xFF) std::abort();   // a start byte outside a frame is never skipped
            if (frame.Have() > CFrameV7::kMaxStore) std::abort();
            continue;
        }
        if (!inFrame || i < start + 2) std::abort();
        const size_t len = (static_cast<size_t>(data[start + 1]) << 8) | data[start + 2];
        const size_t stored = i - start + 1;
        if (ev == CFrameV7::evRefused) {
            const bool tooLong = stored == 3 && len > 1024;
            const bool cut = stored == CFrameV7::kMaxStore && len + 3 > CFrameV7::kMaxStore;
            if (!tooLong && !cut) std::abort();
        } else {
            if (stored != len + 3 || len > 1022 || static_cast<size_t>(frame.BodyLen()) != len) std::abort();
            if (std::memcmp(frame.Body(), data + start + 3, len) != 0) std::abort();
            CPackV7 pack;
            if (pack.ChanDecod(frame.Body(), frame.BodyLen(), CPackV7::DefaultKey) &&
                (pack.m_Len < CPackV7::kHeadLen || pack.m_Len > CPackV7::kMaxDecodLen))
                std::abort();
        }
        inFrame = false;
        if (frame.Have() != 0) std::abort();
    }
    return 0;
}
