// The parameter image: range rules of the accessors and the known-bit tests
// that decide when a unit's image is complete.
#include "link/CLBNVRAM.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

TEST(NvramImage, RunPastTheEndCopiesUpToTheEndAndReportsFailure)
{
    CLBNVRAM img;
    const std::vector<unsigned char> src(16, 0x5A);
    EXPECT_FALSE(img.Set(2040, src.data(), 16));
    for (int a = 2040; a < 2048; ++a) EXPECT_TRUE(img.m_Data[a] == 0x5A && img.IsKnovByte(a)) << a;
    EXPECT_FALSE(img.IsKnovByte(2039));
    unsigned char out[16] = {};
    EXPECT_FALSE(img.Get(2040, out, 16));
    EXPECT_TRUE(out[7] == 0x5A && out[8] == 0) << "nothing written beyond what the image holds";

    EXPECT_TRUE(img.Set(5, src.data(), 0)) << "an empty copy succeeds";
    EXPECT_FALSE(img.IsKnovByte(5) || img.Set(2048, src.data(), 1) || img.Set(-1, src.data(), 1));
    img.Clear();
    for (int a = 0; a < CLBNVRAM::kSize; ++a) ASSERT_TRUE(img.m_Data[a] == 0xFF && !img.IsKnovByte(a)) << a;
}

TEST(NvramImage, EthAccessorsReachTheWholeImageAndNothingBeyond)
{
    CLBNVRAM img;
    img.m_Data[0] = 0x11;
    img.m_Data[0x7FF] = 0x22;
    EXPECT_TRUE(img.GetEth(-1024) == 0x11 && img.GetEth(1023) == 0x22);
    EXPECT_TRUE(img.GetEth(1024) == -1 && img.GetEth(-1025) == -1);

    const CLBNVRAM before = img;
    EXPECT_FALSE(img.SetEth(1024, 5) || img.SetEth(-1025, 5));
    EXPECT_EQ(0, std::memcmp(&before, &img, sizeof img)) << "refused writes leave the image alone";
    EXPECT_TRUE(img.SetEth(-1024, 5));
    EXPECT_TRUE(img.m_Data[0] == 5 && img.IsKnovByte(0));
}

TEST(NvramImage, AreasCountAsKnownOnlyWhenEveryByteIs)
{
    CLBNVRAM img;
    const std::vector<unsigned char> fill(1024, 0);
    img.Set(CLBNVRAM::kEthBase, fill.data(), CLBNVRAM::kEthLen - 1);
    EXPECT_FALSE(img.IsKnovEth());
    img.SetKnovByte(CLBNVRAM::kSize - 1);
    EXPECT_TRUE(img.IsKnovEth());
    img.Set(CLBNVRAM::kDomain, fill.data(), CLBNVRAM::kDomainLen - 1);
    EXPECT_FALSE(img.IsKnovDNS());
    img.SetEth(CLBNVRAM::kDomain + CLBNVRAM::kDomainLen - 1 - CLBNVRAM::kEthBase, 0);   // the domain's last byte
    EXPECT_TRUE(img.IsKnovDNS());

    // The description lies where the sub-type says; sub-type 0 means the
    // unit has not told its type yet, whatever the bits say.
    img.Set(CLBNVRAM::kDescrOld, fill.data(), CLBNVRAM::kDescrLen);
    EXPECT_TRUE(img.IsKnovDescr(1) && !img.IsKnovDescr(2));
    img.Set(CLBNVRAM::kDescrCM3V7, fill.data(), CLBNVRAM::kDescrLen);
    EXPECT_TRUE(img.IsKnovDescr(2) && !img.IsKnovDescr(0));
}
