#pragma once
// CBadLog: the log the whole system reports errors and notices to, in
// PathLogs() + "bad". Queue of 1000 lines, repeats of the same PutErr/PutMes
// text silenced for 5 minutes, 3 older files kept.
//
// The message box. The core library has no user interface, so the box is a
// seam: the application installs a handler with SetBoxHandler at start-up.
// The handler must show the text in a modal error box captioned "Velkonf" on
// the user-interface thread: directly when called on that thread, and by
// posting to it when called from a worker (a receive thread asks for a box),
// in which case the worker does not wait for the user. Without a handler
// showBox adds nothing: the line is in the log anyway.
#include "base/CBaseLog.h"

#include <functional>

class CBadLog : public CBaseLog {
public:
    using BoxHandler = std::function<void(const DBString& text)>;

    CBadLog();
    ~CBadLog() override;
    std::string Dir() override;

    using CBaseLog::Put;
    using CBaseLog::PutErr;
    using CBaseLog::PutMes;
    // CBaseLog::Put, and with showBox the text in a message box. Always true.
    bool Put(const wchar_t* text, bool showBox);
    // These two bypass the repeat filter; an empty text writes nothing.
    bool PutErr(const wchar_t* text, int errorCode, bool showBox);
    bool PutMes(const wchar_t* text, const unsigned char* bytes, int length, bool showBox);

    // Any thread may call it; an empty handler removes the box.
    static void SetBoxHandler(BoxHandler handler);

private:
    bool PutLine(const DBString& line, bool showBox);
};
