#include "base/CBadLog.h"

#include <mutex>

namespace {

std::mutex g_BoxMutex;   // leaf: the handler is copied out, then called
CBadLog::BoxHandler g_BoxHandler;

}  // namespace

CBadLog::CBadLog() : CBaseLog(1000, 5) { SetKeepFiles(3); }

CBadLog::~CBadLog() { Close(); }

std::string CBadLog::Dir() { return PathLogs() + "bad"; }

void CBadLog::SetBoxHandler(BoxHandler handler)
{
    std::lock_guard<std::mutex> lock(g_BoxMutex);
    g_BoxHandler = std::move(handler);
}

bool CBadLog::Put(const wchar_t* text, bool showBox)
{
    CBaseLog::Put(text);
    if (showBox) {
        BoxHandler box;
        {
            std::lock_guard<std::mutex> lock(g_BoxMutex);
            box = g_BoxHandler;
        }
        if (box) box(DBString(text));
    }
    return true;
}

bool CBadLog::PutLine(const DBString& line, bool showBox)
{
    if (line.empty()) return true;
    return Put(line.c_str(), showBox);
}

bool CBadLog::PutErr(const wchar_t* text, int errorCode, bool showBox)
{
    return PutLine(CnvErr(text, errorCode), showBox);
}

bool CBadLog::PutMes(const wchar_t* text, const unsigned char* bytes, int length, bool showBox)
{
    return PutLine(CnvMes(text, bytes, length), showBox);
}
