#include "link/CIdentV7.h"

#include <random>

CIdentV7::CIdentV7(int node, int dev) { Set(node, dev); }

void CIdentV7::Clear()
{
    m_Node = 0;
    m_Dev = 0;
}

bool CIdentV7::Set(int node, int dev)
{
    if (!SetNode(node)) return false;
    return SetDev(dev);
}

bool CIdentV7::SetNode(int node)
{
    if (static_cast<unsigned>(node) > static_cast<unsigned>(kMaxNode)) return false;
    m_Node = node;
    return true;
}

bool CIdentV7::SetDev(int dev)
{
    if (static_cast<unsigned>(dev) > static_cast<unsigned>(kMaxDev)) return false;
    m_Dev = dev;
    return true;
}

void CIdentV7::GetValue(unsigned char* out) const
{
    if (!out) return;
    out[0] = static_cast<unsigned char>(m_Dev);
    out[1] = static_cast<unsigned char>(m_Node);
    out[2] = static_cast<unsigned char>(m_Node >> 8);
    out[3] = static_cast<unsigned char>(m_Node >> 16);
}

void CIdentV7::SetValue(const unsigned char* in)
{
    Clear();
    if (!in) return;
    m_Dev = in[0];
    m_Node = in[1] | in[2] << 8 | in[3] << 16;
}

DBString CIdentV7::GetString() const
{
    DBString s;
    s.Format(L"%d.%d", GetNode(), GetDev());
    return s;
}

bool CIdentV7::SetUnique()
{
    std::random_device dev("default");
    std::mt19937 engine(dev());
    std::uniform_int_distribution<int> draw(kFirstProg, kMaxNode);
    m_Node = draw(engine);
    return true;
}
