#include "common_test.h"

#include "helpers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

class HelpersTest : public CommonTest {};

std::vector<uint8_t> ipv6(const char* text)
{
    std::vector<uint8_t> bytes(16);
    EXPECT_EQ(inet_pton(AF_INET6, text, bytes.data()), 1) << text;
    return bytes;
}

std::string compact(const char* text, bool leadingZeros = false)
{
    char out[kIPv6TextSize];
    ipv6addr_build_ipv6_str_compact(ipv6(text).data(), leadingZeros, out);
    return out;
}

vtapi_ipaddr record(uint32_t type, const std::vector<uint8_t>& bytes, uint8_t prefix = 0)
{
    vtapi_ipaddr r{};
    memcpy(r.addr, bytes.data(), std::min<size_t>(bytes.size(), 16));
    r.type = type;
    r.prefix_len = prefix;
    return r;
}

TEST_F(HelpersTest, NumberTextsFitTheirBuffers)
{
    char buffer[32];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(itoa(-2147483647 - 1, buffer), 11);
    EXPECT_STREQ(buffer, "-2147483648");
    EXPECT_EQ(llutoa(18446744073709551615ull, buffer), 20);
    EXPECT_STREQ(buffer, "18446744073709551615");
    EXPECT_EQ(buffer[kLlutoaBufferSize], '#');

    unsigned long long llu = 0;
    EXPECT_EQ(atollu("1700000000123 s", llu), 1);
    EXPECT_EQ(llu, 1700000000123ull);
    unsigned u = 7;
    EXPECT_EQ(atou("", u), EOF);
    EXPECT_EQ(u, 7u);
    int i = 0;
    EXPECT_EQ(atoi(nullptr, i), 0);
}

TEST_F(HelpersTest, StringHelpers)
{
    char dst[16];
    memset(dst, '#', sizeof dst);
    EXPECT_EQ(safeStrCpy(dst, "0123456789", 4), 3u);
    EXPECT_STREQ(dst, "012");
    EXPECT_EQ(dst[4], '#') << "nothing written past size";
    EXPECT_EQ(safeStrCpy(dst, "0123456789", 16), 10u);
    EXPECT_STREQ(dst, "0123456789");
    EXPECT_EQ(safeStrCpy(dst, "0123456789", 11), 10u) << "exactly fits";
    EXPECT_EQ(safeStrCpy(dst, "abc", 1), 0u);
    EXPECT_STREQ(dst, "");
    EXPECT_EQ(safeStrCpy(nullptr, "abc", 4) + safeStrCpy(dst, nullptr, 4) + safeStrCpy(dst, "abc", 0), 0u);

    using V = std::vector<std::string>;
    EXPECT_EQ(SplitString("vmnic0##3##7", '#'), (V{"vmnic0", "", "3", "", "7"}));
    EXPECT_EQ(SplitString("a.b.", '.'), (V{"a", "b"}));
    EXPECT_EQ(SplitString(".a", '.'), (V{"", "a"}));
    EXPECT_EQ(SplitString("", '.'), V{});

    EXPECT_EQ(Trim(" \t key = value \r\n"), "key = value");
    EXPECT_EQ(Trim(" \t\n"), "");
    const uint8_t mac[6] = {0x02, 0x00, 0x00, 0xab, 0xcd, 0xef};
    EXPECT_EQ(MACAddressToString2(mac), "02:00:00:AB:CD:EF");
    EXPECT_EQ(MACAddressToString2(nullptr), "");
}

// The compact IPv6 form (the leftmost longest zero run, optionally with
// leading zeros) and the bytes each address writer clears.
TEST_F(HelpersTest, CompactIPv6Text)
{
    const std::pair<const char*, const char*> compacted[] = {
        {"2001:db8:0:1:1:1:1:1", "2001:db8::1:1:1:1:1"}, {"::", "::"}, {"1:0:0:1:0:0:1:1", "1::1:0:0:1:1"},
        {"1:2:3:4:5:6:7:0", "1:2:3:4:5:6:7::"}, {"0:0:1:2:3:4:5:6", "::1:2:3:4:5:6"},
        {"12:102:1000:ab:ffff:1:2:3", "12:102:1000:ab:ffff:1:2:3"}};
    for (const auto& [in, out] : compacted)
        EXPECT_EQ(compact(in), out) << in;
    EXPECT_EQ(compact("2001:db8:0:0:1:0:0:0", true), "2001:0db8:0000:0000:0001::");

    char out[kIPv6TextSize];
    memset(out, '#', sizeof out);
    const uint8_t v4[16] = {192, 168, 0, 1};
    nicadapter_IPaddToStr(v4, out, 4);
    EXPECT_STREQ(out, "192.168.0.1");
    EXPECT_EQ(out[15], 0) << "kind 4 clears 16 bytes";
    EXPECT_EQ(out[16], '#');
    memset(out, '#', sizeof out);
    nicadapter_IPaddToStr(v4, out, 6);
    EXPECT_STREQ(out, "c0a8:1::");
    EXPECT_EQ(out[kIPv6TextSize - 1], 0) << "kind 6 clears 40 bytes";
    nicadapter_IPaddToStr(v4, out, 0);
    EXPECT_STREQ(out, "192.168.0.1");
    nicadapter_IPaddToStr(ipv6("::1").data(), out, 0);
    EXPECT_STREQ(out, "::1");
    nicadapter_IPaddToStr(nullptr, out, 4);
    EXPECT_STREQ(out, "::1") << "null bytes leave the output alone";
    nicadapter_IPaddToStr(v4, nullptr, 4);

    VTAPI_ISCSIIPADDR iscsi{};
    memcpy(iscsi.addr, v4, 4);
    iscsi.type = 1;
    EXPECT_STREQ(iscsiadapter_IPToStr(&iscsi), "192.168.0.1");
    memcpy(iscsi.addr, ipv6("fe80::2:0:0:1").data(), 16);
    iscsi.type = 2;
    EXPECT_STREQ(iscsiadapter_IPToStr(&iscsi), "fe80::2:0:0:1");
    iscsi.type = 3;
    EXPECT_STREQ(iscsiadapter_IPToStr(&iscsi), "");
    EXPECT_STREQ(iscsiadapter_IPToStr(nullptr), "");
}

// Library address records: shown with their prefix lengths, and made from
// sockets and from text (cleared first; empty for what does not parse).
TEST_F(HelpersTest, LibraryAddressRecords)
{
    EXPECT_STREQ(VTAPI_IPADDRToStr(record(2, ipv6("2001:0:0:1:0:0:0:1"), 64)), "2001::1:0:0:0:1/64");
    EXPECT_STREQ(VTAPI_IPADDRToStr(record(2, ipv6("1:0:2:0:0:3:0:ffff"))), "1::2:0:0:3:0:ffff")
        << "only the first zero run is compressed";
    EXPECT_STREQ(VTAPI_IPADDRToStr(record(1, {10, 0, 200, 255}, 24)), "10.0.200.255") << "no prefix for IPv4";
    EXPECT_STREQ(VTAPI_IPADDRToStr(record(9, ipv6("::1"))), "");

    vtapi_ipaddr r;
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    inet_pton(AF_INET, "10.1.2.3", &v4.sin_addr);
    memset(&r, 0xff, sizeof r);
    EXPECT_EQ(sockaddrToVTAPI_IPADDR(&r, reinterpret_cast<sockaddr*>(&v4)), 0);
    EXPECT_EQ(std::string(VTAPI_IPADDRToStr(r)) + " " + std::to_string(r.addr[4]), "10.1.2.3 0");
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "fe80::1:2", &v6.sin6_addr);
    EXPECT_EQ(sockaddrToVTAPI_IPADDR(&r, reinterpret_cast<sockaddr*>(&v6)), 0);
    EXPECT_STREQ(VTAPI_IPADDRToStr(r), "fe80::1:2");
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    EXPECT_EQ(sockaddrToVTAPI_IPADDR(&r, reinterpret_cast<sockaddr*>(&local)), -1);
    EXPECT_EQ(r.type, 0u) << "the record is cleared first";

    for (const auto& [text, shown] : {std::pair<const char*, const char*>{"192.168.10.20", "192.168.10.20"},
                                      {"2001:db8::7", "2001:db8::7"}, {"", ""}, {"300.1.1.1", ""},
                                      {"fe80::1::2", ""}, {"host.example", ""}}) {
        memset(&r, 0xff, sizeof r);
        EXPECT_EQ(strToVTAPI_IPADDR(&r, text), 0) << text;
        EXPECT_STREQ(VTAPI_IPADDRToStr(r), shown) << text;
        EXPECT_EQ(r.reserved[0], 0) << text;
    }
    EXPECT_EQ(strToVTAPI_IPADDR(&r, nullptr), -1);
}

TEST_F(HelpersTest, BufferFiles)
{
    const std::string path = at("/var/tmp/vtflash.bin");
    const char image[] = {'V', 'T', 0, 1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(SaveBufferToFile(image, sizeof image, path.c_str()), 0);
    EXPECT_EQ(read(path), std::string(image, sizeof image));

    char back[16] = {};
    EXPECT_EQ(GetDataFromFile(path.c_str(), sizeof image, back), sizeof image);
    EXPECT_EQ(memcmp(back, image, sizeof image), 0);
    EXPECT_EQ(GetDataFromFile(path.c_str(), 4, back), 4u);
    EXPECT_EQ(GetDataFromFile(path.c_str(), sizeof image + 1, back), 0u) << "a short file reads as nothing";
    EXPECT_EQ(GetDataFromFile(at("/var/tmp/none").c_str(), 4, back), 0u);

    EXPECT_EQ(SaveBufferToFile(nullptr, 10, path.c_str()), 0);
    EXPECT_EQ(fs::file_size(path), 0u) << "the file is truncated even with nothing to write";
    EXPECT_EQ(SaveBufferToFile(image, sizeof image, at("/var/tmp/no/such/dir.bin").c_str()), 1);
}

TEST_F(HelpersTest, ExecCmdCapturesBoundedOutput)
{
    // The command and its output in the log are data, never a format.
    configure("DebugLog=1\n");
    char out[kExecCmdBufferSize];
    EXPECT_EQ(exec_cmd("printf 'a%%nb\\n'", out, sizeof out), 0);
    EXPECT_STREQ(out, "a%nb\n");
    EXPECT_EQ(logMessages().at(2), "exec_cmd: buf = [a%nb\n]");

    // Far more output than the result buffer holds: kept bounded, and the
    // command still runs to its end.
    EXPECT_EQ(exec_cmd("head -c 100000 /dev/zero | tr '\\0' x", out, sizeof out), 0);
    EXPECT_EQ(strlen(out), kExecCmdBufferSize - 1);
    char small[8];
    exec_cmd("echo 0123456789", small, sizeof small);
    EXPECT_STREQ(small, "0123456");
}

TEST_F(HelpersTest, HostKernelChecks)
{
    const std::string osType = at("/proc/sys/kernel/ostype");
    const std::string release = at("/proc/sys/kernel/osrelease");

    for (const auto& [text, expected] : {std::pair<const char*, int>{"VMkernel\n", 1}, {"VMkernel", 1},
                                         {"VMkernel2\n", 2}, {"Linux\n", 2}}) {
        write(osType, text);
        EXPECT_EQ(CheckESXOSType(), expected) << text;
    }
    fs::remove(osType);
    EXPECT_EQ(CheckESXOSType(), 2);

    const std::pair<const char*, int> releases[] = {
        {"5.1.0\n", 1}, {"5.5.0\n", 2}, {"5.0", 1}, {"5.7", 2}, {"6.0.0\n", 3}, {"6.7.0", 3}, {"7", 3},
        {"5\n", 0},     {"5.", 0},      {"4.1.0", 0}, {"", 0},   {"VMkernel", 0}, {".5.5", 0},
    };
    for (const auto& [text, expected] : releases) {
        write(release, text);
        EXPECT_EQ(IsESX5OrAbove(), expected) << '"' << text << '"';
    }
    fs::remove(release);
    EXPECT_EQ(IsESX5OrAbove(), 0);
}

} // namespace
