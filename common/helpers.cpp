#include "helpers.h"

#include "root_path.h"
#include "veltra_nic_utils.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>

static_assert(sizeof(vtapi_ipaddr) == 24, "address record is 24 bytes");

// ---- numbers ----

int itoa(int value, char* buffer) { return snprintf(buffer, kItoaBufferSize, "%d", value); }
int utoa(unsigned int value, char* buffer) { return snprintf(buffer, kUtoaBufferSize, "%u", value); }
int llutoa(unsigned long long value, char* buffer)
{
    return snprintf(buffer, kLlutoaBufferSize, "%llu", value);
}

int atoi(const char* text, int& result) { return text ? sscanf(text, "%d", &result) : 0; }
int atou(const char* text, unsigned int& result) { return text ? sscanf(text, "%u", &result) : 0; }
int atollu(const char* text, unsigned long long& result)
{
    return text ? sscanf(text, "%llu", &result) : 0;
}

// ---- strings ----

size_t safeStrCpy(char* dst, const char* src, size_t size)
{
    if (!dst || !src || size == 0)
        return 0;
    const size_t count = strnlen(src, size - 1);
    memcpy(dst, src, count);
    dst[count] = '\0';
    return count;
}

std::vector<std::string> SplitString(const std::string& text, char delimiter)
{
    std::vector<std::string> pieces;
    std::istringstream stream(text);
    std::string piece;
    while (std::getline(stream, piece, delimiter))
        pieces.push_back(piece);
    return pieces;
}

std::string Trim(const std::string& text)
{
    static const char kBlanks[] = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool StringToMACAddress(const char* text, uint8_t* mac)
{
    if (!text || !mac || strlen(text) != 17)
        return false;
    uint8_t bytes[6];
    for (size_t i = 0; i < 6; ++i) {
        const char* group = text + 3 * i;
        if (!isxdigit(static_cast<unsigned char>(group[0])) || !isxdigit(static_cast<unsigned char>(group[1])) ||
            (i < 5 && group[2] != ':'))
            return false;
        bytes[i] = static_cast<uint8_t>(strtoul(std::string(group, 2).c_str(), nullptr, 16));
    }
    memcpy(mac, bytes, sizeof bytes);
    return true;
}

std::string MACAddressToString2(const uint8_t* mac)
{
    if (!mac)
        return std::string();
    char text[32];
    snprintf(text, sizeof text, "%2.2X:%2.2X:%2.2X:%2.2X:%2.2X:%2.2X", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    return text;
}

// ---- addresses ----

namespace {

constexpr int kGroups = 8;

unsigned group(const uint8_t* bytes, int index) { return bytes[2 * index] << 8 | bytes[2 * index + 1]; }

// Appends to a bounded buffer; text that doesn't fit is cut.
struct TextBuffer {
    char* data;
    size_t size;
    size_t used = 0;

    TextBuffer(char* d, size_t s) : data(d), size(s) { data[0] = '\0'; }
    void append(const char* format, unsigned a, unsigned b = 0)
    {
        if (used + 1 >= size)
            return;
        const int n = snprintf(data + used, size - used, format, a, b);
        if (n > 0)
            used = std::min(size - 1, used + static_cast<size_t>(n));
    }
    void dropLast()
    {
        if (used > 0)
            data[--used] = '\0';
    }
};

} // namespace

void IPv4addToStr(const uint8_t* bytes, char* out)
{
    if (!bytes || !out)
        return;
    snprintf(out, kIPv4TextSize, "%d.%d.%d.%d", bytes[0], bytes[1], bytes[2], bytes[3]);
}

void ipv6addr_build_ipv6_str_compact(const uint8_t* bytes, bool leadingZeros, char* out)
{
    if (!bytes || !out)
        return;
    bool zero[kGroups];
    for (int i = 0; i < kGroups; ++i)
        zero[i] = group(bytes, i) == 0;

    // Leftmost of the longest runs; a single zero group is a run too.
    int runStart = -1, runLength = 0;
    for (int length = kGroups; length > 0 && runStart < 0; --length) {
        for (int start = 0; start + length <= kGroups; ++start) {
            bool all = true;
            for (int i = start; i < start + length && all; ++i)
                all = zero[i];
            if (all) {
                runStart = start;
                runLength = length;
                break;
            }
        }
    }

    TextBuffer text(out, kIPv6TextSize);
    for (int i = 0; i < kGroups; ++i) {
        if (i == runStart) {
            text.append("::", 0);
            i += runLength - 1;
            continue;
        }
        const unsigned high = bytes[2 * i], low = bytes[2 * i + 1];
        if (leadingZeros)
            text.append("%02x%02x", high, low);
        else if (high == 0)
            text.append("%x", low);
        else
            text.append("%x%02x", high, low);
        if (i + 1 < kGroups && i + 1 != runStart)
            text.append(":", 0);
    }
}

void nicadapter_IPaddToStr(const uint8_t* bytes, char* out, int kind)
{
    if (!bytes || !out)
        return;
    bool ipv6 = kind == 6;
    if (kind != 4 && kind != 6) {
        for (int i = 4; i < 16 && !ipv6; ++i)
            ipv6 = bytes[i] != 0;
    }
    if (kind == 4)
        memset(out, 0, kIPv4TextSize);
    else if (kind == 6)
        memset(out, 0, kIPv6TextSize);
    if (ipv6)
        ipv6addr_build_ipv6_str_compact(bytes, false, out);
    else
        IPv4addToStr(bytes, out);
}

const char* iscsiadapter_IPToStr(const VTAPI_ISCSIIPADDR* address)
{
    static thread_local char text[128];
    memset(text, 0, sizeof text);
    if (!address)
        return text;
    if (address->type == 1)
        IPv4addToStr(address->addr, text);
    else if (address->type == 2)
        ipv6addr_build_ipv6_str_compact(address->addr, false, text);
    return text;
}

// The library's older IPv6 text: only the first zero run is compressed.
static void runLengthIPv6(const uint8_t* bytes, TextBuffer& text)
{
    enum { Before, Inside, After } state = Before;
    bool allZero = true;
    for (int i = 0; i < kGroups; ++i) {
        const unsigned value = group(bytes, i);
        if (value != 0) {
            allZero = false;
            if (state == Inside) {
                text.append(":", 0);
                state = After;
            }
            text.append("%hx:", value);
        } else if (state == Before) {
            state = Inside;
            if (i == 0)
                text.append(":", 0);
        } else if (state == After) {
            text.append("0:", 0);
        }
    }
    if (allZero) {
        text.used = 0;
        text.data[0] = '\0';
        text.append("::", 0);
    } else if (state == Inside) {
        text.append(":", 0);
    } else {
        text.dropLast();
    }
}

extern "C" const char* VTAPI_IPADDRToStr(vtapi_ipaddr address)
{
    static thread_local char text[64];
    TextBuffer out(text, sizeof text);
    if (address.type == 1) {
        out.append("%u.%u", address.addr[0], address.addr[1]);
        out.append(".%u.%u", address.addr[2], address.addr[3]);
    } else if (address.type == 2) {
        runLengthIPv6(address.addr, out);
        if (address.prefix_len != 0)
            out.append("/%u", address.prefix_len);
    }
    return text;
}

int sockaddrToVTAPI_IPADDR(vtapi_ipaddr* record, const struct sockaddr* address)
{
    if (!record)
        return -1;
    memset(record, 0, sizeof *record);
    if (address && address->sa_family == AF_INET) {
        const auto* v4 = reinterpret_cast<const sockaddr_in*>(address);
        memcpy(record->addr, &v4->sin_addr, 4);
        record->type = 1;
        return 0;
    }
    if (address && address->sa_family == AF_INET6) {
        const auto* v6 = reinterpret_cast<const sockaddr_in6*>(address);
        memcpy(record->addr, &v6->sin6_addr, 16);
        record->type = 2;
        return 0;
    }
    Veltra_NIC_Utils::DebugPrint("sockaddrToVTAPI_IPADDR() error");
    return -1;
}

int strToVTAPI_IPADDR(vtapi_ipaddr* record, const char* text)
{
    if (record)
        memset(record, 0, sizeof *record);
    if (!text) {
        Veltra_NIC_Utils::DebugPrint("strToVTAPI_IPADDR() error - NULL str param");
        return -1;
    }
    if (!record)
        return -1;
    uint8_t bytes[16];
    if (inet_pton(AF_INET, text, bytes) == 1) {
        memcpy(record->addr, bytes, 4);
        record->type = 1;
    } else if (inet_pton(AF_INET6, text, bytes) == 1) {
        memcpy(record->addr, bytes, 16);
        record->type = 2;
    }
    return 0;
}

// ---- files and commands ----

size_t GetDataFromFile(const char* path, size_t size, void* buffer)
{
    if (!path || !buffer)
        return 0;
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open())
        return 0;
    file.read(static_cast<char*>(buffer), static_cast<std::streamsize>(size));
    return file.good() ? static_cast<size_t>(file.gcount()) : 0;
}

int SaveBufferToFile(const void* buffer, size_t length, const char* path)
{
    FILE* file = path ? fopen(path, "wb") : nullptr;
    if (!file)
        return 1;
    if (buffer && length != 0)
        fwrite(buffer, 1, length, file);
    fclose(file);
    return 0;
}

int GetFlashImageFromURI(const char*, const char*) { return 0; }

int exec_cmd(const char* command, char* out, size_t outSize)
{
    Veltra_NIC_Utils::DebugPrint("Entering exec_cmd, cmd = %s", command ? command : "");
    char result[kExecCmdBufferSize] = "";
    int ret = -1;
    FILE* pipe = command ? popen(command, "r") : nullptr;
    if (!pipe) {
        Veltra_NIC_Utils::DebugPrint("exec_cmd: popen returned NULL");
        snprintf(result, sizeof result, "%s", "error");
    } else {
        Veltra_NIC_Utils::DebugPrint("exec_cmd: popen completed");
        size_t used = 0;
        char chunk[1024];
        size_t n;
        // Read to the end even when the result is full, so the command never
        // blocks on a full pipe; output beyond the buffer is dropped.
        while ((n = fread(chunk, 1, sizeof chunk, pipe)) > 0) {
            const size_t room = sizeof result - 1 - used;
            const size_t take = n < room ? n : room;
            memcpy(result + used, chunk, take);
            used += take;
        }
        result[used] = '\0';
        ret = pclose(pipe);
    }
    safeStrCpy(out, result, outSize);
    Veltra_NIC_Utils::DebugPrint("exec_cmd: buf = [%s]", result);
    Veltra_NIC_Utils::DebugPrint("Exiting exec_cmd, ret = %d", ret);
    return ret;
}

// ---- host ----

// The kernel value `name` as sysctl(kernel, name) gives it, read from
// /proc/sys/kernel below the root: 0, or -1 when it can't be read.
static int readKernelValue(const char* name, char* buffer, size_t size)
{
    const std::string path = RootPath("/proc/sys/kernel/") + name;
    FILE* file = fopen(path.c_str(), "r");
    if (!file)
        return -1;
    const size_t n = fread(buffer, 1, size - 1, file);
    const bool failed = ferror(file) != 0;
    fclose(file);
    if (failed)
        return -1;
    buffer[n] = '\0';
    buffer[strcspn(buffer, "\n")] = '\0'; // sysctl gives the text without the line end
    return 0;
}

int CheckESXOSType()
{
    Veltra_NIC_Utils::DebugPrint("CheckESXOSType: Entering");
    char osType[256] = "";
    const int status = readKernelValue("ostype", osType, sizeof osType);
    if (status != 0)
        Veltra_NIC_Utils::DebugPrint("CheckESXOSType: failed with status = %d", status);
    const int result = status == 0 && strcmp(osType, "VMkernel") == 0 ? 1 : 2;
    Veltra_NIC_Utils::DebugPrint("CheckESXOSType: Exiting, OS_Type=%d", result);
    return result;
}

int IsESX5OrAbove()
{
    char release[256] = "";
    if (readKernelValue("osrelease", release, sizeof release) != 0)
        return 0;
    const std::vector<std::string> numbers = SplitString(release, '.');
    if (numbers.empty())
        return 0;
    const int major = ::atoi(numbers[0].c_str());
    if (major > 5)
        return 3;
    if (major != 5 || numbers.size() < 2)
        return 0;
    return ::atoi(numbers[1].c_str()) < 5 ? 1 : 2;
}
