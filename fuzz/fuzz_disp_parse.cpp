// Message images as a tool could send them, through every Parse_ and the body
// primitives. The first byte is the caller's buffer capacity. Nothing may be
// read past the message or written past that capacity; what parses must build
// back to the same bytes.
#include "disp/CMesDisp.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

void Check(bool ok)
{
    if (!ok) std::abort();
}

// The original may run on behind what its Parse_ read, so only the type and
// the body read are compared, not the length field.
void Same(const CMesDisp& built, const CMesDisp& original)
{
    Check(built.Len() <= original.Len());
    Check(std::memcmp(built.Data() + 2, original.Data() + 2, static_cast<size_t>(built.Len() - 2)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3) return 0;
    const int capacity = data[0];
    CMesDisp m;
    if (!m.Set(data + 1, static_cast<int>(size - 1 > CMesDisp::MaxLen ? CMesDisp::MaxLen : size - 1))) return 0;

    // An exact-size heap buffer, so that ASan sees a write one past it.
    std::unique_ptr<unsigned char[]> buf(new unsigned char[capacity > 0 ? capacity : 1]);
    CMesDisp again;
    int unit = -1, tag = -1, len = -1;
    if (m.Parse_SendMsg(unit, tag, len, buf.get(), capacity)) {
        Check(len >= 0 && len <= capacity && 9 + len <= m.Len());
        Check(again.Create_SendMsg(unit, tag, len, buf.get()));
        Same(again, m);
    } else {
        Check(unit == 0 && tag == 0 && len == 0);
    }
    if (m.Parse_Msg(unit, len, buf.get(), capacity)) {
        Check(len >= 0 && len <= capacity && 8 + len <= m.Len());
        Check(again.Create_Msg(unit, len, buf.get()));
        Same(again, m);
    } else {
        Check(unit == 0 && len == 0);
    }
    DBTime t;
    DBGUID g;
    if (m.Parse_TimeAndGUID(t, g)) {
        Check(again.Create_TimeAndGUID(t, g));
        Same(again, m);
    }
    Check(m.Parse_CloseLink() == (m.TypMes() == CMesDisp::CloseLink));
    Check(m.Parse_OpenLinkEx() == (m.TypMes() == CMesDisp::OpenLinkEx));

    // The primitives in an order the message itself dictates.
    m.BegGet();
    for (int step = 0; step < 64; ++step) {
        unsigned char sel = 0;
        if (!m.Get(sel)) break;
        bool ok = false;
        switch (sel % 7) {
        case 0: { unsigned short v; ok = m.Get(v); break; }
        case 1: { int v; ok = m.Get(v); break; }
        case 2: { DBString s; ok = m.Get(s); if (ok) Check(s.size() <= 255); break; }
        case 3: { DBTime v; m.Get(v); ok = true; break; }
        case 4: { DBGUID v; ok = m.Get(v); break; }
        case 5: ok = m.Get(buf.get(), capacity); break;
        default: { short v; ok = m.Get(v); break; }
        }
        if (!ok) break;
    }
    return 0;
}
