#include "base/CClientCFG.h"

#include "base/CNodeB.h"
#include "base/ErrorXML.h"
#include "base/StringRes.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlsave.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

namespace {

const char kRoot[] = "VELKClient";
const char kLanguage[] = "Language";
const char kSkeleton[] = "<?xml version=\"1.0\"?><VELKClient> </VELKClient>";
const int kParseOptions = XML_PARSE_OLD10;

// Collects libxml2's messages for the duration of one parse instead of
// letting them reach the terminal of a GUI program.
class CaptureXmlErrors {
public:
    explicit CaptureXmlErrors(std::string& sink) : m_Sink(sink) { xmlSetStructuredErrorFunc(this, &Handler); }
    ~CaptureXmlErrors() { xmlSetStructuredErrorFunc(nullptr, nullptr); }

private:
    static void Handler(void* self, xmlErrorPtr error)
    {
        auto* me = static_cast<CaptureXmlErrors*>(self);
        if (error && error->message && me->m_Sink.empty()) {
            me->m_Sink = error->message;
            while (!me->m_Sink.empty() && me->m_Sink.back() == '\n') me->m_Sink.pop_back();
        }
    }
    std::string& m_Sink;
};

}  // namespace

void CNodeClientCFG::XMLRelease()
{
    if (m_Doc) xmlFreeDoc(m_Doc);
    m_Doc = nullptr;
}

std::string CClientCFG::FileName()
{
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/VELK/etc/VELKClient.xml";
}

void CClientCFG::XMLLoadFile()
{
    XMLRelease();
    m_LoadProblem.clear();
    std::string path = FileName();
    {
        CaptureXmlErrors capture(m_LoadProblem);
        struct stat st {};
        // A missing file is the normal first run, not a problem to report.
        if (stat(path.c_str(), &st) == 0) m_Doc = xmlReadFile(path.c_str(), nullptr, kParseOptions);
        if (!m_Doc) m_Doc = xmlReadDoc(reinterpret_cast<const xmlChar*>(kSkeleton), nullptr, nullptr, kParseOptions);
    }
    if (!m_Doc) throw ErrorXML(41083);
    XMLLoad();
}

void CClientCFG::XMLSaveFile()
{
    XMLAdd();
    std::string path = FileName();
    // Create $HOME/VELK and $HOME/VELK/etc; errors show in the save below.
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0775);
    if (xmlSaveFormatFileEnc(path.c_str(), m_Doc, "utf-8", 1) < 0)
        throw ErrorXML(DBString(path), DBString(L" - cannot write"), errno);
}

void CClientCFG::XMLLoadStr(const std::string& xml)
{
    XMLRelease();
    m_LoadProblem.clear();
    {
        CaptureXmlErrors capture(m_LoadProblem);
        m_Doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, kParseOptions);
    }
    if (!m_Doc) throw ErrorXML(41083);
    XMLLoad();
}

void CClientCFG::XMLSaveStr(std::string& xml)
{
    XMLAdd();
    xmlChar* mem = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(m_Doc, &mem, &size, "utf-8", 1);
    xml.assign(reinterpret_cast<const char*>(mem), mem ? static_cast<size_t>(size) : 0);
    xmlFree(mem);
}

void CClientCFG::XMLLoad() { XMLLoad(Root()); }

void CClientCFG::XMLLoad(xmlNode* root)
{
    Clear();
    DBString lang = VELKCloud::CNodeB::XMLLoadString(root, kRoot, kLanguage, false);
    // Only the two known values count; anything else leaves the default.
    if (lang == L"enu" || lang == L"rus") m_Language = lang;
}

void CClientCFG::XMLUpdate() { VELKCloud::CNodeB::XMLUpdateString(Root(), m_Language, kRoot, kLanguage); }

void CClientCFG::XMLCreate()
{
    XMLRelease();
    m_Doc = xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0"));
    xmlDocSetRootElement(m_Doc, xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>(kRoot)));
}

void CClientCFG::XMLAdd()
{
    if (!Root()) {
        DBString keep = m_Language;
        XMLCreate();
        m_Language = keep;
    }
    XMLUpdate();
}

void CClientCFG::SetDefLanguage()
{
    CClientCFG cfg;
    try {
        cfg.XMLLoadFile();
    } catch (const ErrorXML& e) {
        BadPut(e.GetText().ToStr());
        return;
    }
    if (!cfg.m_LoadProblem.empty()) BadPut(cfg.FileName() + ": " + cfg.m_LoadProblem + "; the defaults apply");
    if (cfg.IsEnglish()) g_StringENU = true;
}

void CClientCFG::BadPut(const std::string& text)
{
    // Runs before the logs are open: standard error is the only witness.
    std::fprintf(stderr, "Velkonf: %s\n", text.c_str());
}
