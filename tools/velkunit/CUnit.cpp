#include "tools/velkunit/CUnit.h"

#include "tools/velkunit/UnitAnswer.h"
#include "tools/velkunit/UnitFile.h"
#include "tools/velkunit/UnitLog.h"
#include "tools/velkunit/UnitTimer.h"

#include <algorithm>
#include <ctime>

namespace velkunit {

namespace {

// The unit writes its NVRAM before it goes: what was acknowledged just
// before the restart request still gets its acknowledgement out.
constexpr int kGoingMs = 100;

}  // namespace

CUnit::CUnit(const UnitState& state, const Setup& setup, UnitLog& log, UnitTimer& timer)
    : m_State(state), m_Setup(setup), m_Log(log), m_Timer(timer)
{
}

void CUnit::OnRestart(std::function<void()> down, std::function<void()> up)
{
    m_Down.push_back(std::move(down));
    m_Up.push_back(std::move(up));
}

CUnit::Answer CUnit::Handle(const CPackV7& request, const std::string& carrier, const std::string& peer)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    UnitOutcome out = UnitAnswer(m_State, request, std::time(nullptr));
    if (!out.note.request) return {};
    ++m_Requests;
    if (!m_Silenced && m_Setup.silentAfter != 0 && m_Requests > m_Setup.silentAfter) {
        m_Silenced = true;
        m_Log.Event("silent", "answered " + std::to_string(m_Setup.silentAfter) + " requests; nothing more goes out");
    }
    if (m_Restarting || m_Silenced) {
        AnswerNote note;
        note.request = true;
        note.ask = out.note.ask;
        note.kind = m_Restarting ? "ignored while restarting" : "ignored, silent";
        m_Log.Request(carrier, peer, request, note, 0);
        return {};
    }
    m_State = std::move(out.state);
    if (out.written && !m_Setup.statePath.empty()) {
        std::string why;
        if (!WriteStateFile(m_Setup.statePath, m_State.image, why)) m_Log.Event("error", "state not kept: " + why);
    }
    Answer answer{std::move(out.replies), false};
    answer.wrongKey = m_Requests == m_Setup.wrongKeyAt && !answer.replies.empty();
    m_Log.Request(carrier, peer, request, out.note, answer.replies.size());
    if (out.restart) {
        m_Restarting = true;
        m_Log.Event("restart", "the unit restarts; back in " + std::to_string(m_Setup.restartDelayMs) + " ms");
        m_Timer.After(kGoingMs, [this] {
            m_Off = true;
            for (const auto& down : m_Down) down();
            m_Timer.After(std::max(0, m_Setup.restartDelayMs - kGoingMs), [this] { Back(); });
        });
    }
    return answer;
}

void CUnit::Back()
{
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_State = Boot(m_State, std::time(nullptr));
        m_Restarting = false;
    }
    m_Off = false;
    for (const auto& up : m_Up) up();
    m_Log.Event("restart", "the unit is back on the written image");
}

CKeySys CUnit::Key() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return ImageKey(m_State.running);
}

CIdentV7 CUnit::Ident() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return CIdentV7(m_State.config.ident, 0);
}

int CUnit::Refuse() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_State.config.refuse;
}

UnitState CUnit::State() const
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    return m_State;
}

}  // namespace velkunit
