#pragma once
// The client configuration file, $HOME/VELK/etc/VELKClient.xml: one root
// element VELKClient whose attribute Language names the language of the
// interface ("enu" English, "rus" or absent Russian).
//
// Reading a missing or malformed file never fails: the skeleton document
// stands in for it and the defaults apply. Reading never creates the file.
#include "base/DBString.h"

#include <libxml/tree.h>

#include <string>

// Owner of one parsed document.
class CNodeClientCFG {
public:
    CNodeClientCFG() = default;
    virtual ~CNodeClientCFG() { XMLRelease(); }
    CNodeClientCFG(const CNodeClientCFG&) = delete;
    CNodeClientCFG& operator=(const CNodeClientCFG&) = delete;

    void XMLRelease();                         // frees the document
    xmlNode* Root() const { return m_Doc ? xmlDocGetRootElement(m_Doc) : nullptr; }

protected:
    xmlDoc* m_Doc = nullptr;
};

class CClientCFG : public CNodeClientCFG {
public:
    static std::string FileName();             // $HOME + "/VELK/etc/VELKClient.xml"

    // Loads the file, or the skeleton when the file cannot be read. Throws
    // ErrorXML(41083) only if even the skeleton cannot be parsed.
    void XMLLoadFile();
    // Writes the current values to the file, creating its folder.
    void XMLSaveFile();
    void XMLLoadStr(const std::string& xml);
    void XMLSaveStr(std::string& xml);

    void XMLLoad();                            // from the document's root
    void XMLLoad(xmlNode* root);
    void XMLUpdate();                          // into the document's root
    void XMLCreate();                          // a new document with an empty root
    void XMLAdd();                             // XMLCreate if there is no document yet, then XMLUpdate
    void Clear() { m_Language.clear(); }

    // Sets g_StringENU when the file asks for English. A failure to read is
    // reported on standard error and leaves Russian.
    static void SetDefLanguage();

    bool IsEnglish() const { return m_Language == L"enu"; }

    // "enu", "rus" or empty (the default, Russian).
    DBString m_Language;
    // libxml2's complaint about the last file that could not be read, if any.
    std::string m_LoadProblem;

private:
    static void BadPut(const std::string& text);
};
