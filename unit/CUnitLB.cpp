#include "unit/CUnitLB.h"

#include "catalogue/CDev.h"

#include <cstring>

namespace {

constexpr int kData = 14;              // data byte 0 of a reply
constexpr int kMainAdr = CLBNVRAM::kEthBase;

void Word(unsigned char* out, int value)
{
    out[0] = static_cast<unsigned char>(value & 0xFF);
    out[1] = static_cast<unsigned char>((value >> 8) & 0xFF);
}

// Data byte n of a reply, or -1 when the reply is too short to hold it.
int DataByte(const CPackV7& reply, int n)
{
    return kData + n < reply.m_Len ? reply.m_Buf[kData + n] : -1;
}

}  // namespace

bool CUnitLB::IsV7() const { return CDev::IsV7(m_TypLB); }

bool CUnitLB::IsCM3OrV7() const { return CDev::IsCM3OrV7(m_TypLB, m_TypLBSub); }

int CUnitLB::DescrAddr() const { return IsCM3OrV7() ? CLBNVRAM::kDescrCM3V7 : CLBNVRAM::kDescrOld; }

bool CUnitLB::IsComplete() const
{
    return m_NVRAM.IsKnovEth() && m_NVRAM.IsKnovDescr(m_TypLBSub) && (!m_FeatDomain || m_NVRAM.IsKnovDNS());
}

void CUnitLB::ClearUnit()
{
    m_NVRAM.Clear();
    m_TypLBSub = 0;
    m_TypLB = 0;
}

void CUnitLB::Ask(CPackV7& pack, const PutFn& put, int ask, const unsigned char* data, int len)
{
    pack.SetAsk(CPackV7::packAsk, ask, 1, data, len);
    put(pack);
}

void CUnitLB::AskRead(CPackV7& pack, const PutFn& put, int adr, int len)
{
    unsigned char data[4];
    Word(data, adr);
    Word(data + 2, len);
    Ask(pack, put, CPackV7::askNVRAM, data, 4);
}

void CUnitLB::SendRead(CPackV7& pack, const PutFn& put, const unsigned char* key)
{
    Ask(pack, put, CPackV7::askInfo, key, key ? 16 : 0);
    ReadMain(pack, put);
}

void CUnitLB::ReadMain(CPackV7& pack, const PutFn& put)
{
    for (int adr = kMainAdr; adr < CLBNVRAM::kSize; adr += kReadChunk) AskRead(pack, put, adr, kReadChunk);
    Ask(pack, put, CPackV7::askStatus, nullptr, 0);
}

bool CUnitLB::IsReplyOf(const CPackV7& pack, const CIdentV7& unit)
{
    return pack.m_Class == CPackV7::classData && pack.m_Typ == CPackV7::packAsk && pack.m_DirAsk == 0 &&
           pack.m_Src == unit;
}

void CUnitLB::TakeInfo(const CPackV7& reply, CPackV7& pack, const PutFn& put)
{
    auto byte = [&](int n) { return DataByte(reply, n) < 0 ? 0 : DataByte(reply, n); };
    m_TypLBSub = byte(10);
    m_TypLB = byte(0);
    m_SubTyp = byte(1);
    for (int i = 0; i < 3; ++i) m_Version[i] = byte(12 + i);
    if (reply.m_Len > kData + 15) {
        m_Feat[0] = reply.m_Buf[kData + 15];
        m_FeatDomain = m_Feat[0] & 0x01;
        m_FeatTimeZone = m_Feat[0] & 0x02;
    }
    if (reply.m_Len > kData + 16) {
        m_Feat[1] = reply.m_Buf[kData + 16];
        m_FeatMQTT = m_Feat[1] & 0x01;
        m_Feat4G = m_Feat[1] & 0x20;
    }
    AskRead(pack, put, DescrAddr(), CLBNVRAM::kDescrLen);
    if (m_FeatDomain) {
        AskRead(pack, put, CLBNVRAM::kDomain, kReadChunk);
        AskRead(pack, put, CLBNVRAM::kDomain + kReadChunk, kReadChunk);
    }
}

bool CUnitLB::TakeNVRAM(const CPackV7& reply)
{
    if (IsComplete()) return false;
    const int len = DataByte(reply, 2);
    if (DataByte(reply, 3) != 0 || len < 0) return false;
    if (kData + 4 + len > reply.m_Len) return false;
    const int adr = reply.m_Buf[kData] | (reply.m_Buf[kData + 1] << 8);
    m_NVRAM.Set(adr, reply.m_Buf + kData + 4, len);
    return true;
}

DBString CUnitLB::VersionText() const
{
    DBString text;
    text.Format(L" %d.%d.%d", m_Version[0], m_Version[1], m_Version[2]);
    return text;
}

std::vector<CUnitLB::Chunk> CUnitLB::SaveLayout() const
{
    std::vector<Chunk> chunks;
    for (int adr = kMainAdr; adr < CLBNVRAM::kSize; adr += kWriteChunk) chunks.push_back({adr, kWriteChunk});
    const int descr = DescrAddr();
    chunks.push_back({descr, 32});
    chunks.push_back({descr + 32, kWriteChunk});
    if (m_FeatDomain)
        for (int adr = CLBNVRAM::kDomain; adr < CLBNVRAM::kDomain + CLBNVRAM::kDomainLen; adr += kWriteChunk) chunks.push_back({adr, kWriteChunk});
    return chunks;
}

std::vector<CUnitLB::Chunk> CUnitLB::Changed() const
{
    std::vector<Chunk> changed;
    for (const Chunk& c : SaveLayout())
        if (std::memcmp(m_NVRAM.m_Data + c.adr, m_NVRAMOld.m_Data + c.adr, static_cast<size_t>(c.len)) != 0)
            changed.push_back(c);
    return changed;
}

std::vector<int> CUnitLB::ChangedChunks() const
{
    std::vector<int> adrs;
    for (const Chunk& c : Changed()) adrs.push_back(c.adr);
    return adrs;
}

std::vector<CPackV7> CUnitLB::SaveChunks(const CPackV7& pack) const
{
    std::vector<CPackV7> out;
    for (const Chunk& c : Changed()) {
        // The unit goes by the length word; a 32-byte chunk still travels in
        // a 68-byte request, its tail zero.
        unsigned char data[kWriteLen] = {};
        Word(data, c.adr);
        Word(data + 2, c.len | kWriteFlag);
        std::memcpy(data + 4, m_NVRAM.m_Data + c.adr, static_cast<size_t>(c.len));
        CPackV7 req = pack;
        req.SetAsk(CPackV7::packAsk, CPackV7::askNVRAM, 1, data, kWriteLen);
        out.push_back(req);
    }
    return out;
}

int CUnitLB::SendSave(CPackV7& pack, const PutFn& put)
{
    std::vector<CPackV7> chunks = SaveChunks(pack);
    for (CPackV7& c : chunks) put(c);
    Ask(pack, put, CPackV7::askRestart, nullptr, 0);
    m_NVRAMOld = m_NVRAM;
    return static_cast<int>(chunks.size());
}
