// The client configuration file and the language it chooses.
#include "base/CClientCFG.h"
#include "base/ErrorXML.h"
#include "base/StringRes.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <filesystem>
#include <fstream>

namespace {

class ClientConfig : public testing::Test {
protected:
    ClientConfig()
    {
        xmlInitParser();
        g_StringENU = false;
    }
    ~ClientConfig() override { g_StringENU = m_OldEnglish; }

    void Write(const std::string& text)
    {
        std::filesystem::create_directories(m_Home.Sub("VELK/etc"));
        std::ofstream(CClientCFG::FileName()) << text;
    }
    // Chooses the language as at start-up; returns what it said on standard error.
    static std::string Start()
    {
        testing::internal::CaptureStderr();
        CClientCFG::SetDefLanguage();
        return testing::internal::GetCapturedStderr();
    }

    bool m_OldEnglish = g_StringENU;
    TempHome m_Home;
};

}  // namespace

TEST_F(ClientConfig, RussianStandsSilentlyWithoutAFileAndWithAMessageForABrokenOne)
{
    EXPECT_EQ(Start(), "") << "a first run is not a problem";
    EXPECT_FALSE(g_StringENU);
    EXPECT_EQ(CClientCFG::FileName(), m_Home.Sub("VELK/etc/VELKClient.xml"));
    EXPECT_FALSE(std::filesystem::exists(CClientCFG::FileName())) << "reading creates nothing";

    Write("<VELKClient Language=\"enu\">");   // never closed
    const std::string err = Start();
    EXPECT_FALSE(g_StringENU);
    EXPECT_NE(err.find("VELKClient.xml"), std::string::npos) << err;
    EXPECT_NE(err.find("defaults apply"), std::string::npos) << err;

    std::filesystem::remove(CClientCFG::FileName());
    std::filesystem::create_directory(CClientCFG::FileName());   // a folder where the file should be
    EXPECT_NE(Start(), "");
    EXPECT_FALSE(g_StringENU);
}

TEST_F(ClientConfig, EnuChoosesEnglishAndOtherValuesKeepTheDefault)
{
    Write("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<VELKClient Language=\"enu\"/>\n");
    Start();
    EXPECT_TRUE(g_StringENU);
    for (const char* value : {"rus", "", "ENU", "deu"}) {
        Write(std::string("<VELKClient Language=\"") + value + "\"/>");
        CClientCFG cfg;
        cfg.XMLLoadFile();
        EXPECT_EQ(cfg.m_Language, value == std::string("rus") ? L"rus" : L"") << value;
    }
}

TEST_F(ClientConfig, TheLanguageSurvivesSaveAndLoadAndAnUnparsableTextIsAnErrorXML)
{
    CClientCFG cfg;
    cfg.XMLLoadFile();
    cfg.m_Language = L"enu";
    cfg.XMLSaveFile();
    CClientCFG back;
    back.XMLLoadFile();
    EXPECT_TRUE(back.IsEnglish());
    std::string xml;
    back.m_Language.clear();
    back.XMLSaveStr(xml);
    EXPECT_NE(xml.find("encoding=\"utf-8\""), std::string::npos) << xml;
    EXPECT_EQ(xml.find("Language"), std::string::npos) << "an empty language removes the attribute: " << xml;

    try {
        cfg.XMLLoadStr("<VELKClient");
        ADD_FAILURE() << "no exception";
    } catch (const ErrorXML& e) {
        EXPECT_EQ(e.GetCode(), 41083);
        EXPECT_EQ(e.GetText(), L"Ошибка loadXML");
    }
    cfg.XMLLoadStr("<VELKClient Language=\"enu\"> </VELKClient>");
    EXPECT_TRUE(cfg.IsEnglish());
}
