#pragma once
// Support for the GUI tests. Include this before anything else from wx.
//
// Modal boxes are answered with wxTEST_DIALOG(...). An unexpected box, or a
// wx assertion, fails the test at once instead of showing a window that
// nobody under Xvfb would ever close.
#include <gtest/gtest.h>

#include <wx/modalhook.h>
#include <wx/msgdlg.h>
#include <wx/richmsgdlg.h>

#include <string>

class GTestModalHook;
#define wxTEST_DIALOG_HOOK_CLASS GTestModalHook
#include <wx/testing.h>

class GTestModalHook : public wxTestingModalHook {
public:
    GTestModalHook(const char* file, int line, const char* func) : wxTestingModalHook(file, line, func) {}

protected:
    void ReportFailure(const wxString& msg) override { ADD_FAILURE() << msg.ToStdString(); }
    int Enter(wxDialog* dlg) override
    {
        int ret = wxTestingModalHook::Enter(dlg);
        return ret == wxID_NONE ? wxID_CANCEL : ret;
    }
};

// Answers a message box with `id` and keeps what it said, for the test to
// check: wxTEST_DIALOG(..., gui::ExpectBox(message, caption)).
namespace gui {
class ExpectBox : public wxExpectModal<wxMessageDialog> {
public:
    ExpectBox(wxString& message, wxString& caption, int id = wxOK)
        : wxExpectModal<wxMessageDialog>(id), m_Message(&message), m_Caption(&caption) {}

protected:
    int OnInvoked(wxMessageDialog* dlg) const override
    {
        *m_Message = dlg->GetMessage();
        *m_Caption = dlg->GetCaption();
        return wxExpectModal<wxMessageDialog>::OnInvoked(dlg);
    }

private:
    wxString* m_Message;
    wxString* m_Caption;
};

// Answers the Save question (a box with a check box for the check after the
// restart): `id` is wxID_YES or wxID_NO, the check box is set to `check`, and
// the question's text goes to `message` if given.
class AnswerSave : public wxExpectModalBase<wxRichMessageDialog, AnswerSave> {
public:
    explicit AnswerSave(int id = wxID_YES, bool check = false, wxString* message = nullptr)
        : m_Id(id), m_Check(check), m_Message(message) {}

protected:
    int OnInvoked(wxRichMessageDialog* dlg) const override
    {
        if (m_Message) *m_Message = dlg->GetMessage();
        dlg->ShowCheckBox(dlg->GetCheckBoxText(), m_Check);
        return m_Id;
    }

private:
    int m_Id;
    bool m_Check;
    wxString* m_Message;
};
}  // namespace gui

class VelkonfApp;
class VelkonfFrame;

namespace gui {

// Sets the arguments that OnInit will read, as if given on the command line.
void SetArgs(std::initializer_list<const char*> args);
// Runs OnInit of the application; false if it refused to start.
bool StartApp(std::initializer_list<const char*> args);
// Runs the real main loop until the last window is gone or `timeoutMs`
// passes (a failure), after `action` has run on the loop's first turn.
// Returns whether the loop ended by itself.
bool RunLoopUntilExit(std::function<void()> action, int timeoutMs = 10000);
// Dispatches pending events for a while, for layouts and deferred work.
void Pump(int ms = 50);
// The settings file of the run ($HOME/.Velkonf), as text.
std::string SettingsText();

}  // namespace gui
