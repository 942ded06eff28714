#pragma once
// ErrorXML: the one exception of the program, with a text for the user and a
// code. Raised inside a procedure, caught at the edge of the task or handler
// that started it, and logged there (CBadLog::PutErr).
//
// A code given without a text is a string identifier: the text is that
// resource. A code given with a text is an errno value.
#include "base/DBString.h"

#include <exception>
#include <string>

class ErrorXML : public std::exception {
public:
    explicit ErrorXML(int resourceId);
    ErrorXML(int resourceId, const DBString& element);                             // "%ls elements %ls"
    ErrorXML(int resourceId, const DBString& element, const DBString& attribute);  // "%ls parameters %ls elements %ls"
    explicit ErrorXML(const DBString& text, int code = 0);
    ErrorXML(const DBString& a, const DBString& b, int code = 0);                   // a + b
    ErrorXML(const DBString& a, const DBString& b, const DBString& c, int code = 0);

    const DBString& GetText() const { return m_Text; }
    int GetCode() const { return m_Code; }
    // The text in UTF-8.
    const char* what() const noexcept override { return m_Utf8.c_str(); }

private:
    void Done() { m_Utf8 = m_Text.ToStr(); }

    DBString m_Text;
    int m_Code = 0;
    std::string m_Utf8;
};
