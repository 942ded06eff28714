#include "base/ErrorXML.h"

#include "base/StringRes.h"

ErrorXML::ErrorXML(int resourceId) : m_Text(_S_(static_cast<unsigned short>(resourceId))), m_Code(resourceId)
{
    Done();
}

ErrorXML::ErrorXML(int resourceId, const DBString& element) : m_Code(resourceId)
{
    m_Text.Format(L"%ls elements %ls", _S_(static_cast<unsigned short>(resourceId)).c_str(), element.c_str());
    Done();
}

ErrorXML::ErrorXML(int resourceId, const DBString& element, const DBString& attribute) : m_Code(resourceId)
{
    m_Text.Format(L"%ls parameters %ls elements %ls", _S_(static_cast<unsigned short>(resourceId)).c_str(),
                  attribute.c_str(), element.c_str());
    Done();
}

ErrorXML::ErrorXML(const DBString& text, int code) : m_Text(text), m_Code(code) { Done(); }

ErrorXML::ErrorXML(const DBString& a, const DBString& b, int code) : m_Text(a + b), m_Code(code) { Done(); }

ErrorXML::ErrorXML(const DBString& a, const DBString& b, const DBString& c, int code)
    : m_Text(a + b + c), m_Code(code)
{
    Done();
}
