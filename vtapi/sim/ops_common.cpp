// Helpers shared by the simulated non-inventory operations.
#include "ops_common.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace vtsim {
namespace ops {

namespace {
std::vector<std::string> splitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::string cur;
    for (char c : path) {
        if (c == '/') {
            if (!cur.empty()) parts.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) parts.push_back(cur);
    return parts;
}
}  // namespace

FnRef fcDevice(const VTAPISDMDevice* dev) {
    if (!dev) return {};
    FnRef r = findByDevice(dev);
    if (!r.fn || r.fn->type > kFCoE) return {};
    return r;
}

FnRef byName(const char* name, uint32_t type) {
    if (!name || !*name) return {};
    FnRef r = findByName(name);
    if (!r.fn || r.fn->type != type) return {};
    return r;
}

FnRef byInstance(uint32_t instance, uint32_t type) {
    FnRef r = findByInstance(instance);
    if (!r.fn || r.fn->type != type) return {};
    return r;
}

FnRef adapterOf(const vtapi_adapter_t* rec) {
    if (!rec) return {};
    return findByAdapter(rec);
}

FnRef nicOn(const vtapi_adapter_t* rec, const char* ifname) {
    FnRef r = byName(ifname, kNIC);
    if (!r || !rec) return r;
    FnRef a = findByAdapter(rec);
    return (a && a.a == r.a) ? r : FnRef{};
}

uint32_t chipType(const Function& fn) {
    return vtapi_family_chip_type(num<uint16_t>(fn.data, "pci/device_id", 0));
}

json& section(json& obj, const std::string& path) {
    json* cur = &obj;
    for (const auto& part : splitPath(path)) {
        if (!cur->is_object()) *cur = json::object();
        json& next = (*cur)[part];
        if (!next.is_object()) next = json::object();
        cur = &next;
    }
    if (!cur->is_object()) *cur = json::object();
    return *cur;
}

const json* find(const json& obj, const std::string& path) {
    const json* cur = &obj;
    for (const auto& part : splitPath(path)) {
        if (!cur->is_object()) return nullptr;
        auto it = cur->find(part);
        if (it == cur->end()) return nullptr;
        cur = &*it;
    }
    return cur->is_null() ? nullptr : cur;
}

std::string text(const json& obj, const std::string& path, const std::string& def) {
    const json* v = find(obj, path);
    return (v && v->is_string()) ? v->get<std::string>() : def;
}

json behaviourOf(const char* op) {
    auto g = lock();
    return behaviour(op);
}

void copyText(char* dst, size_t size, const std::string& s) {
    if (!dst || !size) return;
    size_t n = s.size() < size - 1 ? s.size() : size - 1;
    std::memcpy(dst, s.data(), n);
    dst[n] = '\0';
}

std::string wwnKey(const uint8_t w[8]) {
    return format("%02x%02x%02x%02x%02x%02x%02x%02x", w[0], w[1], w[2], w[3], w[4], w[5],
                  w[6], w[7]);
}

bool parseWwnText(const char* s, uint8_t out[8]) {
    if (!s) return false;
    int digits = 0;
    uint8_t tmp[8] = {};
    for (const char* p = s; *p; ++p) {
        if (*p == ':' || *p == '-') continue;
        if (!std::isxdigit(static_cast<unsigned char>(*p)) || digits >= 16) return false;
        int v = std::isdigit(static_cast<unsigned char>(*p))
                    ? *p - '0'
                    : std::tolower(static_cast<unsigned char>(*p)) - 'a' + 10;
        tmp[digits / 2] = static_cast<uint8_t>((tmp[digits / 2] << 4) | v);
        ++digits;
    }
    if (digits != 16) return false;
    std::memcpy(out, tmp, 8);
    return true;
}

void* callerCopy(const void* bytes, size_t n) {
    void* p = allocForCaller(n);
    if (p && n) std::memcpy(p, bytes, n);
    return p;
}

bool sleepAbortable(unsigned ms, const std::atomic<bool>* abort) {
    using namespace std::chrono;
    auto end = steady_clock::now() + milliseconds(ms);
    for (;;) {
        if (abort && abort->load()) return true;
        auto now = steady_clock::now();
        if (now >= end) return false;
        auto step = duration_cast<milliseconds>(end - now);
        std::this_thread::sleep_for(step < milliseconds(5) ? step : milliseconds(5));
    }
}

// A dump is a text header naming the function and the kind of dump,
// followed by a byte pattern seeded from the name, "dump_size" bytes in all
// (default 600000: more than one 512 KiB chunk). "dump_hex" gives the exact
// bytes instead.
DumpImage dumpImage(const std::string& name, const char* kind, const json& b) {
    DumpImage out;
    std::string hexText = text(b, "dump_hex", "");
    if (!hexText.empty()) {
        out.exact = true;
        int hi = -1;
        for (char c : hexText) {
            if (!std::isxdigit(static_cast<unsigned char>(c))) continue;
            int v = std::isdigit(static_cast<unsigned char>(c))
                        ? c - '0'
                        : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
            if (hi < 0) {
                hi = v;
            } else {
                out.bytes.push_back(static_cast<uint8_t>(hi << 4 | v));
                hi = -1;
            }
        }
        return out;
    }
    out.size = num<uint32_t>(b, "dump_size", 600000);
    for (char c : name) out.seed = static_cast<uint8_t>(out.seed * 31 + static_cast<uint8_t>(c));
    out.header = format("VTSIM %s DUMP %s\n", kind, name.c_str());
    return out;
}

bool writeDump(const std::string& path, const DumpImage& image) {
    if (image.exact) return writeFile(path, image.bytes);
    std::vector<uint8_t> block;
    block.reserve(std::min<size_t>(image.size, 1u << 16));
    FILE* f = nullptr;
    bool ok = writeFile(path, {}) && (f = std::fopen(path.c_str(), "wb")) != nullptr;
    for (size_t i = 0; ok && i < image.size;) {
        block.clear();
        for (; i < image.size && block.size() < (1u << 16); ++i)
            block.push_back(i < image.header.size() ? static_cast<uint8_t>(image.header[i])
                                                    : static_cast<uint8_t>((i % 251) ^ image.seed));
        ok = std::fwrite(block.data(), 1, block.size(), f) == block.size();
    }
    if (f) ok = std::fclose(f) == 0 && ok;
    return ok;
}

bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    if (path.empty()) return false;
    size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        // Make missing parent directories, as the dump tools do.
        std::string dir;
        for (const auto& part : splitPath(path.substr(0, slash))) {
            dir += "/" + part;
            ::mkdir(dir.c_str(), 0755);
        }
    }
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    ok = std::fclose(f) == 0 && ok;
    return ok;
}

bool readFile(const std::string& path, std::vector<uint8_t>& out) {
    out.clear();
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    uint8_t buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
    bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

std::string libraryPath(const std::string& relative) {
    const char* root = std::getenv("VELTRA_ROOT");
    return std::string(root ? root : "") + relative;
}

std::string vpdText(const Function& fn) {
    VpdFields f;
    if (fn.vpd.empty() || !parseVpd(fn.vpd, f)) return "";
    std::string s = "Product Identifier:" + f.id + "\n";
    for (const auto& kv : f.ro)
        if (kv.first != "RV") s += kv.first + ":" + kv.second + "\n";
    for (const auto& kv : f.rw)
        if (kv.first != "RW") s += kv.first + ":" + kv.second + "\n";
    return s;
}

}  // namespace ops
}  // namespace vtsim
