// The state and image files, and the command line: what a user can hand the
// simulator, and what it refuses.
#include "tests/support/TempHome.h"
#include "tools/velkunit/UnitFile.h"
#include "tools/velkunit/UnitOptions.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace velkunit;

namespace {

Image Pattern()
{
    Image image;
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<unsigned char>(i * 31 + 7);
    return image;
}

bool Parses(std::vector<std::string> args, Options& o, std::string& error) { return ParseOptions(args, o, error); }

}  // namespace

TEST(UnitFile, StateFileKeepsTheImageAndAnythingElseIsRefusedWithItsReason)
{
    const Image image = Pattern();
    std::vector<unsigned char> bytes = StateFileBytes(image);
    Image back{};
    std::string why;
    ASSERT_TRUE(ParseStateFile(bytes.data(), bytes.size(), back, why));
    EXPECT_EQ(back, image);
    ASSERT_TRUE(ParseImageFile(bytes.data(), bytes.size(), back, why)) << "a state file seeds another run";
    EXPECT_TRUE(ParseImageFile(image.data(), image.size(), back, why)) << "a raw image";
    EXPECT_FALSE(ParseStateFile(image.data(), image.size(), back, why)) << "a raw image is not a state";

    struct Case {
        std::vector<unsigned char> bytes;
        const char* reason;
    };
    std::vector<Case> cases = {{bytes, "damaged"}, {bytes, "cut short"}, {bytes, "unknown format"}, {{'x'}, "not a state"}};
    cases[0].bytes[100] ^= 1;
    cases[1].bytes.resize(2000);
    cases[2].bytes[11] = '2';
    for (const Case& c : cases) {
        Image untouched = Pattern();
        EXPECT_FALSE(ParseStateFile(c.bytes.data(), c.bytes.size(), untouched, why));
        EXPECT_NE(why.find(c.reason), std::string::npos) << why;
        EXPECT_EQ(untouched, Pattern());
    }
    EXPECT_FALSE(ParseImageFile(bytes.data(), 2047, back, why));
}

TEST(UnitFile, WritingTheStateReplacesTheFileWhole)
{
    TempHome home;
    const std::string path = home.Path() + "/unit.state";
    std::string why;
    ASSERT_TRUE(WriteStateFile(path, Pattern(), why)) << why;
    Image changed = Pattern();
    changed[0x500] ^= 0xFF;
    ASSERT_TRUE(WriteStateFile(path, changed, why)) << why;
    std::vector<unsigned char> bytes;
    ASSERT_EQ(ReadWholeFile(path, 1 << 20, bytes, why), ReadResult::ok);
    Image back{};
    ASSERT_TRUE(ParseStateFile(bytes.data(), bytes.size(), back, why));
    EXPECT_EQ(back, changed);
    EXPECT_FALSE(WriteStateFile(home.Path() + "/no/such/dir/state", changed, why));
    EXPECT_EQ(ReadWholeFile(home.Path() + "/none", 10, bytes, why), ReadResult::missing);
}

TEST(UnitOptions, ScriptsGetTheirValuesAndEveryMistakeIsNamed)
{
    Options o;
    std::string error;
    ASSERT_TRUE(Parses({"--udp-port", "0", "--ident=777", "--features", "0x03,33", "--version", "1.2.3", "--refuse",
                        "ident", "--buttons-after", "-1", "--drop", "0.2", "--json", "--serial"},
                       o, error))
        << error;
    EXPECT_EQ(o.udpPort, 0);
    EXPECT_EQ(o.ident, 777);
    EXPECT_EQ(o.refuse, 7);
    EXPECT_LT(o.buttonsAfter, 0);
    EXPECT_TRUE(o.json && o.serial);
    const UnitConfig c = ConfigFrom(o, 0);
    EXPECT_EQ(c.features[0], 3);
    EXPECT_EQ(c.features[1], 33);
    EXPECT_EQ(c.version, (std::array<int, 3>{1, 2, 3}));

    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"--udp-port", "70000"}, {"--udp-port"}, {"--ident", "10000001"}, {"--features", "1"},
          {"--version", "1.2"}, {"--drop", "nan"}, {"--refuse", "maybe"}, {"--json=1"}, {"--nope"}, {"stray"}}) {
        error.clear();
        EXPECT_FALSE(Parses(bad, o, error)) << bad[0];
        EXPECT_FALSE(error.empty());
    }
    EXPECT_EQ(o.ident, 777) << "a refused command line changes nothing";
}

TEST(UnitOptions, UnitKindsGetSubTypesThatTheConfiguratorCanComplete)
{
    Options o;
    std::string error;
    ASSERT_TRUE(Parses({"--type", "12", "--subtype", "2"}, o, error));
    UnitConfig cm3 = ConfigFrom(o, 4321);
    EXPECT_EQ(cm3.ident, 4321) << "the image's identifier when none is given";
    EXPECT_EQ(cm3.hwSubtype, 2);
    EXPECT_TRUE(IsCM3OrV7(cm3));
    ASSERT_TRUE(Parses({"--type", "12", "--subtype", "1"}, o, error));
    UnitConfig old = ConfigFrom(o, 0);
    // Described at kDescrOld, which the configurator's completion test expects of sub-type 1.
    EXPECT_EQ(old.hwSubtype, 1);
    EXPECT_EQ(DescrAddress(old), CLBNVRAM::kDescrOld);
    EXPECT_EQ(old.ident, 2);
}
