// Image files: what is written comes back bit for bit, and every file that is
// not whole and ours is refused without touching what the caller holds.
#include "base/md5.h"
#include "support/TempHome.h"
#include "unit/ImageFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

namespace {

ImageFileHead Head()
{
    ImageFileHead h;
    h.m_TypLB = 14, h.m_SubTyp = 3, h.m_TypLBSub = 2;
    h.m_Version[0] = 7, h.m_Version[1] = 2, h.m_Version[2] = 15;
    h.m_Ident = 1234567;
    h.m_Date = "2026-11-23 10:00:00";
    h.m_Program = "Velkonf 1.0";
    return h;
}

CLBNVRAM RandomImage(std::mt19937& rng)
{
    CLBNVRAM img;
    for (auto& b : img.m_Data) b = static_cast<unsigned char>(rng());
    for (auto& b : img.m_Knov) b = static_cast<unsigned char>(rng());
    return img;
}

bool Same(const CLBNVRAM& a, const CLBNVRAM& b)
{
    return std::memcmp(a.m_Data, b.m_Data, sizeof a.m_Data) == 0 && std::memcmp(a.m_Knov, b.m_Knov, sizeof a.m_Knov) == 0;
}

ImageFileFault Parse(const std::string& text, CLBNVRAM& img, ImageFileHead& head)
{
    return ImageFile::Parse(text.data(), text.size(), head, img);
}

}  // namespace

TEST(ImageFile, RandomImagesWithRandomKnownBitsComeBackBitExact)
{
    std::mt19937 rng(7);
    for (int i = 0; i < 50; ++i) {
        const CLBNVRAM img = RandomImage(rng);
        // Field values are for people: a line break in one must not split the file.
        const std::string text = ImageFile::Text(Head(), img, {{"System.NTP", "pool\nimage 000 00"}, {"Key", "set"}});
        CLBNVRAM back;
        ImageFileHead head;
        ASSERT_EQ(Parse(text, back, head), ImageFileFault::none);
        EXPECT_TRUE(Same(img, back));
        EXPECT_EQ(head.m_Ident, 1234567);
        EXPECT_EQ(std::vector<int>({head.m_TypLB, head.m_SubTyp, head.m_TypLBSub, head.m_Version[2]}),
                  std::vector<int>({14, 3, 2, 15}));
        EXPECT_EQ(head.m_Date, "2026-11-23 10:00:00");
    }
}

TEST(ImageFile, EveryDamagedFormIsRefusedAndChangesNothing)
{
    std::mt19937 rng(11);
    const std::string good = ImageFile::Text(Head(), RandomImage(rng), {{"System.Ident", "1234567"}});
    const CLBNVRAM before = RandomImage(rng);
    auto refused = [&](const std::string& text) {
        CLBNVRAM img = before;
        ImageFileHead head;
        head.m_Ident = -5;
        const ImageFileFault f = Parse(text, img, head);
        EXPECT_TRUE(Same(img, before) && head.m_Ident == -5) << "a refused file changed the image";
        return f;
    };
    EXPECT_EQ(refused(""), ImageFileFault::empty);
    EXPECT_EQ(refused("VELKUNITST01" + std::string(2050, '\xFF')), ImageFileFault::foreign);
    EXPECT_EQ(refused("[Param]\nLang=1\n"), ImageFileFault::foreign);
    for (int i = 0; i < 300; ++i) {
        std::string changed = good;
        const size_t at = 19 + rng() % (changed.size() - 19);   // past the first line
        changed[at] = static_cast<char>(changed[at] ^ (1 + rng() % 255));
        const ImageFileFault f = refused(changed);
        EXPECT_TRUE(f == ImageFileFault::damaged || f == ImageFileFault::truncated) << at;
        EXPECT_NE(refused(good.substr(0, 19 + rng() % (good.size() - 20))), ImageFileFault::none);
    }
    EXPECT_EQ(refused(good.substr(0, good.size() / 2)), ImageFileFault::truncated);
    // A file of a newer format, whole under its checksum, is not ours to read.
    std::string newer = good;
    newer.replace(newer.find("format 1"), 8, "format 2");
    newer.erase(newer.rfind("md5 "));
    md5 ctx;
    md5_starts(ctx);
    md5_update(ctx, newer.data(), newer.size());
    unsigned char digest[16];
    md5_finish(ctx, digest);
    char hex[33];
    for (int i = 0; i < 16; ++i) std::snprintf(hex + 2 * i, 3, "%02x", digest[i]);
    EXPECT_EQ(refused(newer + "md5 " + hex + "\n"), ImageFileFault::foreign);
}

TEST(ImageBackup, KeepsTheNewestTwentyOfEachUnitAndAFailureOnlyReports)
{
    TempHome home;
    std::string why;
    for (int i = 0; i < 23; ++i) ASSERT_TRUE(ImageBackup::Write(77, "image " + std::to_string(i), why, 1700000000 + i / 2)) << why;
    ASSERT_TRUE(ImageBackup::Write(78, "other", why, 1700000000)) << why;
    const std::vector<std::string> kept = ImageBackup::List(77);
    ASSERT_EQ(kept.size(), 20u);
    std::ifstream oldest(kept.front()), newest(kept.back());
    std::string a, b;
    std::getline(oldest, a);
    std::getline(newest, b);
    EXPECT_EQ(a, "image 3") << "two within one second are both kept, in order";
    EXPECT_EQ(b, "image 22");
    EXPECT_EQ(ImageBackup::List(78).size(), 1u);

    std::filesystem::remove_all(home.Sub("VELK/backup"));
    std::ofstream(home.Sub("VELK/backup")) << "a file where the folder should be";
    EXPECT_FALSE(ImageBackup::Write(77, "lost", why));
    EXPECT_NE(why.find("VELK/backup"), std::string::npos) << why;
}
