#include "unit/SaveCheck.h"

#include "base/StringRes.h"
#include "unit/CUnitLB.h"

void SaveCheck::Arm(const CLBNVRAM& written, const std::vector<int>& blocks)
{
    m_Written = written;
    m_Blocks = blocks;
    m_Attempt = 0;
    m_Armed = true;
}

SaveCheck::Outcome SaveCheck::Compare(const CLBNVRAM& read) const
{
    Outcome o;
    o.m_Fields = FieldCatalogue::Diff(m_Written, read);
    std::vector<bool> named(CLBNVRAM::kSize, false);
    for (const FieldDef& f : FieldCatalogue::All())
        for (int i = 0; i < f.m_Len; ++i) named[f.m_Adr + i] = true;
    for (int block : m_Blocks)
        for (int adr = block; adr < block + CUnitLB::kWriteChunk && adr < CLBNVRAM::kSize; ++adr)
            if (!named[adr] && m_Written.m_Data[adr] != read.m_Data[adr]) ++o.m_OtherBytes;
    return o;
}

DBString SaveCheck::Text(const CLBNVRAM& read, const Outcome& outcome) const
{
    DBString text = FieldCatalogue::ChangeLines(m_Written, read);
    if (outcome.m_OtherBytes) text.AppendFormat(_S_(43014).c_str(), outcome.m_OtherBytes);
    return text;
}
