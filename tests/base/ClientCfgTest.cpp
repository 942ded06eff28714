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
    void SetUp() override
    {
        xmlInitParser();
        m_OldEnglish = g_StringENU;
        g_StringENU = false;
    }
    void TearDown() override { g_StringENU = m_OldEnglish; }

    void WriteFile(const std::string& text)
    {
        std::filesystem::create_directories(m_Home.Sub("VELK/etc"));
        std::ofstream(CClientCFG::FileName()) << text;
    }

    TempHome m_Home;
    bool m_OldEnglish = false;
};

}  // namespace

TEST_F(ClientConfig, NoFileMeansRussianAndReadingCreatesNothing)
{
    testing::internal::CaptureStderr();
    CClientCFG::SetDefLanguage();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a first run is not a problem";
    EXPECT_FALSE(g_StringENU);
    EXPECT_FALSE(std::filesystem::exists(CClientCFG::FileName()));
    EXPECT_EQ(CClientCFG::FileName(), m_Home.Sub("VELK/etc/VELKClient.xml"));
}

TEST_F(ClientConfig, EnuChoosesEnglishAndOtherValuesKeepTheDefault)
{
    WriteFile("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<VELKClient Language=\"enu\"/>\n");
    CClientCFG::SetDefLanguage();
    EXPECT_TRUE(g_StringENU);

    for (const char* value : {"rus", "", "ENU", "deu"}) {
        g_StringENU = false;
        WriteFile(std::string("<VELKClient Language=\"") + value + "\"/>");
        CClientCFG cfg;
        cfg.XMLLoadFile();
        EXPECT_FALSE(cfg.IsEnglish()) << value;
        EXPECT_EQ(cfg.m_Language, value == std::string("rus") ? L"rus" : L"") << value;
    }
}

TEST_F(ClientConfig, MalformedOrUnreadableFileFallsBackAndSaysWhy)
{
    WriteFile("<VELKClient Language=\"enu\">");   // never closed
    testing::internal::CaptureStderr();
    CClientCFG::SetDefLanguage();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(g_StringENU);
    EXPECT_NE(err.find("VELKClient.xml"), std::string::npos) << err;
    EXPECT_NE(err.find("defaults apply"), std::string::npos) << err;

    std::filesystem::remove(CClientCFG::FileName());
    std::filesystem::create_directory(CClientCFG::FileName());   // a folder where the file should be
    testing::internal::CaptureStderr();
    CClientCFG::SetDefLanguage();
    EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
    EXPECT_FALSE(g_StringENU);
}

TEST_F(ClientConfig, SaveWritesUtf8AndEmptyLanguageRemovesTheAttribute)
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
    EXPECT_EQ(xml.find("Language"), std::string::npos) << xml;
}

TEST_F(ClientConfig, ParseFailureOfATextIsAnErrorXML)
{
    CClientCFG cfg;
    try {
        cfg.XMLLoadStr("<VELKClient");
        FAIL() << "no exception";
    } catch (const ErrorXML& e) {
        EXPECT_EQ(e.GetCode(), 41083);
        EXPECT_EQ(e.GetText(), L"Ошибка loadXML");
    }
    cfg.XMLLoadStr("<VELKClient Language=\"enu\"> </VELKClient>");
    EXPECT_TRUE(cfg.IsEnglish());
}
