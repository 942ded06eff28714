#include "unit/CClientLU.h"

#include "unit/CUnitLB.h"

CClientLU::CClientLU()
    : m_Pool("CClientLU", false),
      m_ReceivNet(*this, &m_Pool),
      m_SendNet(*this, &m_Pool, m_ReceivNet),
      m_PortNVRAM(*this, &m_Pool)
{
    m_ReceivNet.SetSend(&m_SendNet);
}

CClientLU::~CClientLU()
{
    Close();
    m_Pool.Stop();
}

void CClientLU::Open(const CTargetLU& target)
{
    Close();
    m_TypConnect = target.method;
    m_Lost = false;
    m_Status = CStatusEth();
    CPackV7 stale;
    while (m_InpQueue.Read(stale)) {
    }
    if (target.method == typConnectUSB) {
        m_CloudPro = false;
        m_PortNVRAM.Open(target.serial.c_str());
        m_Open = true;
        return;
    }
    CKeySys key = target.key;
    if (key.IsEmpty()) key.SetDefault();
    CIdentV7 own;
    own.SetUnique();
    m_ReceivNet.m_Ident = own;
    m_ReceivNet.m_Key = key;
    m_ReceivNet.SetBind(in6_addr{}, 0);
    const bool byCloud = target.method == typConnectCloudKey;
    m_SendNet.m_Key = CKeySys();
    m_SendNet.m_ByCloud = byCloud;
    if (byCloud) {
        m_SendNet.m_AddrCloud = target.addr;
        m_SendNet.m_PortCloud = target.port;
    } else {
        m_SendNet.SetAddr(target.addr, target.port);
    }
    m_CloudPro = byCloud;
    m_SendNet.m_Ident = CIdentV7(target.ident, 0);
    m_ReceivNet.Start();
    m_SendNet.Start();
    m_Open = true;
}

void CClientLU::Close()
{
    if (!m_Open) return;
    m_Open = false;
    if (m_TypConnect == typConnectUSB) {
        m_PortNVRAM.Close();
    } else {
        m_SendNet.Stop();
        m_ReceivNet.Stop();
    }
}

void CClientLU::Put(CPackV7& pack)
{
    if (m_TypConnect == typConnectUSB) m_PortNVRAM.Put(pack);
    else m_SendNet.Put(pack);
}

CPackV7 CClientLU::NewPack() const
{
    if (m_TypConnect == typConnectUSB) return CPackV7(CIdentV7(0, 1), CIdentV7(0, 0));
    return CPackV7(m_ReceivNet.m_Ident, m_SendNet.m_Ident);
}

void CClientLU::TakePack(const CPackV7& pack)
{
    // A bare acknowledgement has done its work in the window.
    if (pack.m_Class == CPackV7::classData && pack.m_Typ == CPackV7::packEmpty) return;
    m_InpQueue.Put(pack);
    std::lock_guard<std::mutex> lock(m_WakeMutex);
    m_Wake.notify_all();
}

void CClientLU::LostLink()
{
    m_Lost = true;
    std::lock_guard<std::mutex> lock(m_WakeMutex);
    m_Wake.notify_all();
}

bool CClientLU::Next(CPackV7& pack, Ms limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    std::unique_lock<std::mutex> lock(m_WakeMutex);
    while (!m_InpQueue.Read(pack)) {
        if (m_Wake.wait_until(lock, end) == std::cv_status::timeout) return m_InpQueue.Read(pack);
    }
    return true;
}

void CClientLU::TakeReply(CUnitLB& unit, CPackV7& pack, bool& status)
{
    if (!CUnitLB::IsReplyOf(pack, NewPack().m_Dst)) return;
    CPackV7 ask = NewPack();
    switch (pack.m_Ask) {
    case CPackV7::askInfo: unit.TakeInfo(pack, ask, [this](CPackV7& p) { Put(p); }); break;
    case CPackV7::askNVRAM: unit.TakeNVRAM(pack); break;
    case CPackV7::askStatus:
        m_Status.Decode(pack);
        status = true;
        break;
    default: break;
    }
}

bool CClientLU::Read(CUnitLB& unit, Ms limit, std::string& why)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    auto left = [&] { return std::chrono::duration_cast<Ms>(end - std::chrono::steady_clock::now()); };
    unit.ClearUnit();
    bool status = false;
    CPackV7 pack = NewPack();
    auto put = [this](CPackV7& p) { Put(p); };
    const bool cloud = m_TypConnect == typConnectCloud || m_TypConnect == typConnectCloudKey;
    if (cloud) {
        // The unit must answer askInfo before the rest is asked for.
        const CKeySys key = m_ReceivNet.m_Key;
        CUnitLB::Ask(pack, put, CPackV7::askInfo, m_TypConnect == typConnectCloudKey ? key.Data() : nullptr,
                     m_TypConnect == typConnectCloudKey ? 16 : 0);
        CPackV7 reply;
        while (!unit.IsKnovDev()) {
            if (m_Lost || left() <= Ms(0) || !Next(reply, left())) {
                why = m_Lost ? "the link was lost" : "the unit did not answer through the cloud server";
                return false;
            }
            TakeReply(unit, reply, status);
        }
        CUnitLB::ReadMain(pack, put);
    } else {
        CUnitLB::SendRead(pack, put);
    }
    CPackV7 reply;
    while (!(unit.IsComplete() && status)) {
        if (m_Lost || left() <= Ms(0) || !Next(reply, left())) {
            why = m_Lost ? "the link was lost"
                  : !unit.IsKnovDev() ? "the unit did not answer"
                                      : "the unit's image was not read completely";
            return false;
        }
        TakeReply(unit, reply, status);
    }
    unit.m_NVRAMOld = unit.m_NVRAM;
    return true;
}

int CClientLU::Save(CUnitLB& unit)
{
    CPackV7 pack = NewPack();
    return unit.SendSave(pack, [this](CPackV7& p) { Put(p); });
}
