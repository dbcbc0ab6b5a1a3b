// Text, number and address helpers, files and commands, host identity.
#pragma once

#include "vtapi.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct sockaddr;

// ---- numbers ----
// Each returns what the underlying formatted print or scan returns. The
// buffers must hold at least the sizes below (longest text plus the null).
constexpr size_t kItoaBufferSize = 12;   // "-2147483648"
constexpr size_t kUtoaBufferSize = 11;   // "4294967295"
constexpr size_t kLlutoaBufferSize = 21; // "18446744073709551615"
int itoa(int value, char* buffer);
int utoa(unsigned int value, char* buffer);
int llutoa(unsigned long long value, char* buffer);
// Scans: 1 on success, 0 or EOF on failure (a null text gives 0).
int atoi(const char* text, int& result);
int atou(const char* text, unsigned int& result);
int atollu(const char* text, unsigned long long& result);

// ---- strings ----
// Copies at most size - 1 bytes and terminates; returns the count copied.
// A null argument or a zero size gives 0.
size_t safeStrCpy(char* dst, const char* src, size_t size);
// Pieces between delimiters as line reads give them: empty pieces between
// consecutive delimiters, none after a trailing one, none for an empty text.
std::vector<std::string> SplitString(const std::string& text, char delimiter);
// Text without leading and trailing blanks, tabs and line ends.
std::string Trim(const std::string& text);
// Six upper-case two-digit hex bytes joined by colons ("02:00:00:AB:CD:EF");
// a null address gives the empty text.
std::string MACAddressToString2(const uint8_t* mac);
// The six bytes of "hh:hh:hh:hh:hh:hh" (hex digits of either case); false,
// with `mac` untouched, for any other text.
bool StringToMACAddress(const char* text, uint8_t* mac);

// ---- addresses ----
constexpr size_t kIPv4TextSize = 16;
constexpr size_t kIPv6TextSize = 40;
// `out` holds kIPv4TextSize bytes.
void IPv4addToStr(const uint8_t* bytes, char* out);
// Compact text of 16 address bytes; the longest (leftmost) run of zero
// groups, even a single group, becomes "::". `out` holds kIPv6TextSize bytes.
void ipv6addr_build_ipv6_str_compact(const uint8_t* bytes, bool leadingZeros, char* out);
// kind 4: IPv4; kind 6: IPv6; otherwise IPv6 when any of bytes 4..15 is set.
// `out` holds kIPv6TextSize bytes (kIPv4TextSize for kind 4).
void nicadapter_IPaddToStr(const uint8_t* bytes, char* out, int kind);
// Text of an iSCSI address; valid until this thread's next call.
const char* iscsiadapter_IPToStr(const VTAPI_ISCSIIPADDR* address);

extern "C" {
// Text of a library address record ("/len" appended to IPv6 with a prefix);
// valid until this thread's next call.
const char* VTAPI_IPADDRToStr(vtapi_ipaddr address);
}

// Fill a record from a socket address: 0, or -1 for another family.
int sockaddrToVTAPI_IPADDR(vtapi_ipaddr* record, const struct sockaddr* address);
// Fill a record from text: -1 for a null text; 0 otherwise (the record stays
// cleared when the text is no address).
int strToVTAPI_IPADDR(vtapi_ipaddr* record, const char* text);

// ---- files and commands ----
// These take paths as given; resolve system paths with RootPath first.
// Bytes read when all `size` bytes were read, else 0.
size_t GetDataFromFile(const char* path, size_t size, void* buffer);
// 0 when written, 1 when the file can't be opened.
int SaveBufferToFile(const void* buffer, size_t length, const char* path);
int GetFlashImageFromURI(const char* uri, const char* path);
// Runs `command` through the shell and copies its output (at most about
// 1 KiB is kept) to `out` of `outSize` bytes. The pipe close status, or -1
// with "error" when the command can't be started.
constexpr size_t kExecCmdBufferSize = 1024 + 256;
int exec_cmd(const char* command, char* out, size_t outSize);

// ---- host ----
// 1 on an ESXi kernel ("VMkernel"), else 2.
int CheckESXOSType();
// 0: not ESXi 5 or later; 1: 5.0 to 5.4; 2: 5.5 and later 5.x; 3: 6 and above.
int IsESX5OrAbove();
