// in6_addr helpers and the ErrorXML forms.
#include "base/ErrorXML.h"
#include "base/IPv6.h"
#include "base/StringRes.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

TEST(IPv6Helpers, MappedIPv4KeepsWireByteOrderAndTextFormsReadBack)
{
    in_addr v4{};
    inet_pton(AF_INET, "192.168.1.20", &v4);
    in6_addr a = ToIPv6(static_cast<int>(v4.s_addr));
    EXPECT_EQ(IPv6ToStr(a), "::ffff:192.168.1.20");
    EXPECT_TRUE(isEqIPv6(a, IP6FromStr("192.168.1.20")));
    EXPECT_TRUE(isEqIPv6(a, IP6FromStr("::ffff:192.168.1.20")));
    EXPECT_EQ(IPv6PortToStr(LocalHostIPv6(), 46000), "[::1]:46000");
    EXPECT_EQ(IPv6PortToStrW(IP6FromStr("fe80::1"), 5), L"[fe80::1]:5");
    EXPECT_TRUE(isNulIPv6(IP6FromStr("not an address")));
    ClearIPv6(a);
    EXPECT_TRUE(isEqIPv6(a, NulIPv6()));
}

TEST(IPv6Helpers, CloseSocketLeavesMinusOne)
{
    int fd = socket(AF_INET6, SOCK_DGRAM, 0);
    ASSERT_GE(fd, 0);
    CloseSocket(fd);
    EXPECT_EQ(fd, -1);
    CloseSocket(fd);   // nothing happens for -1
    EXPECT_EQ(fd, -1);
}

TEST(ErrorXMLForms, EveryFormYieldsItsTextAndCode)
{
    const bool old = g_StringENU;
    g_StringENU = true;
    EXPECT_EQ(ErrorXML(41083).GetText(), L"Error loadXML");
    EXPECT_EQ(ErrorXML(41083).GetCode(), 41083);
    EXPECT_EQ(ErrorXML(41076, L"VELKClient").GetText(), L"Error append elements VELKClient");
    EXPECT_EQ(ErrorXML(41076, L"VELKClient", L"Language").GetText(),
              L"Error append parameters Language elements VELKClient");
    g_StringENU = old;
    const ErrorXML port(DBString(L"/dev/x"), DBString(L" - USB port is busy"), 16);
    EXPECT_EQ(port.GetText(), L"/dev/x - USB port is busy");
    EXPECT_EQ(port.GetCode(), 16);
    EXPECT_STREQ(ErrorXML(DBString(L"ключ")).what(), "ключ");
    EXPECT_EQ(ErrorXML(DBString(L"a"), DBString(L"b"), DBString(L"c")).GetText(), L"abc");
}
