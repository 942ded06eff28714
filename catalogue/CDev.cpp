#include "catalogue/CDev.h"

#include "base/StringRes.h"

namespace {

// Text numbers in the string tables.
constexpr unsigned kControllerText = 41200;   // + code, for codes 0..129
constexpr unsigned kKindText = 41400;         // + kind
constexpr unsigned kCM3Text = 41416;          // kind 12, sub-type 2
constexpr unsigned kTerm7Text = 41420;        // + typTerm7
constexpr int kLastControllerText = 129;

// Makes whose names came later than the string tables; written in directly.
const wchar_t* const kLateControllers[] = {L"KONEL", L"THYSSEN H300", L"REKOBA (MC10 S+)", L"YASKAWA (MC1001)",
                                           L"MITSUBISHI MBS", L"SMS", L"ALPACA"};

DBString Numbers(int kind, int code) { return DBString().Format(L"(%d) (%d)", kind, code); }

}  // namespace

CDev::CDev(bool) {}

DBString CDev::S(unsigned int id) { return _S_(static_cast<unsigned short>(id)); }

DBString CDev::Controller(int code)
{
    if (code < 0 || code >= controllerCount) return {};
    if (code <= kLastControllerText) return S(kControllerText + static_cast<unsigned>(code));
    return kLateControllers[code - kLastControllerText - 1];
}

DBString CDev::TypTerm7(typTerm7 term, bool* found)
{
    bool known = term >= term7Base && term <= term7WiFiG4;
    if (found) *found = known;
    return known ? S(kTerm7Text + static_cast<unsigned>(term)) : DBString();
}

DBString CDev::TypLB() const
{
    if (m_TypDev < 0 || m_TypDev >= kindCount) return Numbers(m_TypDev, m_TypCtrl);
    switch (m_TypDev) {
    case kindLiftController:
    case kindLiftControllerCAN: {
        DBString make = Controller(m_TypCtrl);
        return make.empty() ? Numbers(m_TypDev, m_TypCtrl) : make;
    }
    case kindLU:
        if (m_TypCtrl == 2) return S(kCM3Text);
        break;
    case kindLU7: {
        bool known = false;
        DBString label = TypTerm7(static_cast<typTerm7>(m_TypCtrl), &known);
        if (known) return label;
        break;
    }
    default:
        break;
    }
    return S(kKindText + static_cast<unsigned>(m_TypDev)) + DBString().Format(L" (%d)", m_TypCtrl);
}
