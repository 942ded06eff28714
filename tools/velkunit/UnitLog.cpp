#include "tools/velkunit/UnitLog.h"

#include "base/DBString.h"

#include <sys/time.h>

#include <ctime>

namespace velkunit {

namespace {

// Local time with milliseconds: "12:30:05.123", or in ISO form for JSON.
std::string Now(bool iso)
{
    timeval tv{};
    gettimeofday(&tv, nullptr);
    tm t{};
    localtime_r(&tv.tv_sec, &t);
    char buf[96];
    if (iso)
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d.%03ld", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                      t.tm_hour, t.tm_min, t.tm_sec, static_cast<long>(tv.tv_usec / 1000));
    else
        std::snprintf(buf, sizeof buf, "%02d:%02d:%02d.%03ld", t.tm_hour, t.tm_min, t.tm_sec,
                      static_cast<long>(tv.tv_usec / 1000));
    return buf;
}

std::string Hex(int value)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%03X", value);
    return buf;
}

// What came of a request, in words.
std::string Outcome(const AnswerNote& note, size_t replies)
{
    if (note.refused) return "refused (reason " + std::to_string(note.refused) + ")";
    if (!note.kind.empty()) return note.kind + (replies ? ", answered" : ", no answer");
    if (note.ask == CPackV7::askRestart) return "restarting";
    if (note.status > 0) return "status " + std::to_string(note.status);
    return replies ? "answered" : "no answer";
}

}  // namespace

std::string UnitLog::Quote(const std::string& text)
{
    std::string out = "\"";
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += ch;
        }
    }
    return out + "\"";
}

void UnitLog::Write(const std::string& line)
{
    std::fputs(line.c_str(), m_Out);
    std::fputc('\n', m_Out);
    std::fflush(m_Out);
}

void UnitLog::Put(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Held)
        m_Waiting.push_back(line);
    else
        Write(line);
}

void UnitLog::Line(const std::string& text)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    Write(text);
}

void UnitLog::Release()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (const std::string& line : m_Waiting) Write(line);
    m_Waiting.clear();
    m_Held = false;
}

void UnitLog::Request(const std::string& carrier, const std::string& peer, const CPackV7& request,
                      const AnswerNote& note, size_t replies)
{
    const std::string from = DBString(request.m_Src.GetString()).ToStr();
    const std::string ask = note.ask >= 0 ? AskName(note.ask) : "";
    if (m_Json) {
        std::string line = "{\"time\":" + Quote(Now(true)) + ",\"carrier\":" + Quote(carrier) +
                           ",\"peer\":" + Quote(peer) + ",\"from\":" + Quote(from);
        if (!ask.empty()) line += ",\"ask\":" + Quote(ask);
        if (!note.kind.empty()) line += ",\"kind\":" + Quote(note.kind);
        if (!note.op.empty()) line += ",\"op\":" + Quote(note.op);
        if (note.addr >= 0) line += ",\"addr\":" + std::to_string(note.addr) + ",\"len\":" + std::to_string(note.len);
        if (note.arg >= 0) line += ",\"arg\":" + std::to_string(note.arg);
        if (note.status >= 0) line += ",\"status\":" + std::to_string(note.status);
        if (note.refused) line += ",\"refused\":" + std::to_string(note.refused);
        Put(line + ",\"replies\":" + std::to_string(replies) + ",\"result\":" + Quote(Outcome(note, replies)) + "}");
        return;
    }
    std::string what = ask.empty() ? "class " + std::to_string(request.m_Class) + " type " +
                                         std::to_string(request.m_Typ)
                                   : ask;
    if (!note.op.empty()) what += " " + note.op;
    if (note.addr >= 0) what += " " + Hex(note.addr) + "+" + std::to_string(note.len);
    if (note.arg >= 0 && note.op.empty()) what += " " + std::to_string(note.arg);
    Put(Now(false) + " " + carrier + " " + peer + " from " + from + ": " + what + " -> " + Outcome(note, replies));
}

void UnitLog::Event(const std::string& what, const std::string& text)
{
    if (m_Json)
        Put("{\"time\":" + Quote(Now(true)) + ",\"event\":" + Quote(what) + ",\"text\":" + Quote(text) + "}");
    else
        Put(Now(false) + " " + what + ": " + text);
}

void UnitLog::Event(const std::string& what, const wchar_t* text) { Event(what, DBString(text).ToStr()); }

}  // namespace velkunit
