// PCI VPD images: build from keyword/value pairs, parse back.
//
// Layout (PCI Local Bus 3.0, section 6.4 / appendix I): large-resource tags
// 0x82 (identifier string), 0x90 (VPD-R), 0x91 (VPD-W), each followed by a
// 16-bit little-endian length; small-resource end tag 0x78. VPD-R ends with
// the RV keyword whose first data byte makes the bytes from the start of the
// image through that byte sum to zero.
#include "sim_internal.h"

#include <algorithm>

namespace vtsim {

namespace {
constexpr uint8_t kTagId = 0x82, kTagRo = 0x90, kTagRw = 0x91, kTagEnd = 0x78;

void putLarge(std::vector<uint8_t>& img, uint8_t tag, size_t len) {
    img.push_back(tag);
    img.push_back(static_cast<uint8_t>(len & 0xff));
    img.push_back(static_cast<uint8_t>((len >> 8) & 0xff));
}

void putKeyword(std::vector<uint8_t>& body, const std::string& kw, const std::string& value) {
    size_t n = std::min<size_t>(value.size(), 255);
    body.push_back(static_cast<uint8_t>(kw.size() > 0 ? kw[0] : ' '));
    body.push_back(static_cast<uint8_t>(kw.size() > 1 ? kw[1] : ' '));
    body.push_back(static_cast<uint8_t>(n));
    body.insert(body.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(n));
}
}  // namespace

std::vector<uint8_t> buildVpd(const VpdFields& f) {
    std::vector<uint8_t> img;
    std::string id = f.id.substr(0, 0xffff);
    putLarge(img, kTagId, id.size());
    img.insert(img.end(), id.begin(), id.end());

    // VPD-R: keywords without RV (it is added last), each bounded to 255 bytes
    // and the whole section to the 16-bit length.
    std::vector<uint8_t> ro;
    for (const auto& kv : f.ro) {
        if (kv.first == "RV") continue;
        if (ro.size() + 3 + std::min<size_t>(kv.second.size(), 255) + 4 > 0xffff) break;
        putKeyword(ro, kv.first, kv.second);
    }
    putLarge(img, kTagRo, ro.size() + 4);   // + RV keyword with one byte
    img.insert(img.end(), ro.begin(), ro.end());
    img.push_back('R');
    img.push_back('V');
    img.push_back(1);
    uint8_t sum = 0;
    for (uint8_t b : img) sum = static_cast<uint8_t>(sum + b);
    img.push_back(static_cast<uint8_t>(0x100 - sum));

    if (!f.rw.empty()) {
        std::vector<uint8_t> rw;
        for (const auto& kv : f.rw) {
            if (kv.first == "RW") continue;
            if (rw.size() + 3 + std::min<size_t>(kv.second.size(), 255) + 3 > 0xffff) break;
            putKeyword(rw, kv.first, kv.second);
        }
        // RW keyword: remaining writable space, here none beyond its header.
        putLarge(img, kTagRw, rw.size() + 3);
        img.insert(img.end(), rw.begin(), rw.end());
        img.push_back('R');
        img.push_back('W');
        img.push_back(0);
    }
    img.push_back(kTagEnd);
    return img;
}

bool parseVpd(const std::vector<uint8_t>& img, VpdFields& out, bool* checksumOk) {
    out = VpdFields{};
    bool sumOk = false;
    size_t i = 0;
    while (i < img.size()) {
        uint8_t tag = img[i];
        if (tag == kTagEnd) {
            if (checksumOk) *checksumOk = sumOk;
            return true;
        }
        if (!(tag & 0x80) || i + 3 > img.size()) return false;
        size_t len = img[i + 1] | (static_cast<size_t>(img[i + 2]) << 8);
        size_t body = i + 3, end = body + len;
        if (end > img.size()) return false;
        if (tag == kTagId) {
            out.id.assign(img.begin() + static_cast<std::ptrdiff_t>(body),
                          img.begin() + static_cast<std::ptrdiff_t>(end));
        } else if (tag == kTagRo || tag == kTagRw) {
            auto& list = tag == kTagRo ? out.ro : out.rw;
            size_t k = body;
            while (k + 3 <= end) {
                std::string kw{static_cast<char>(img[k]), static_cast<char>(img[k + 1])};
                size_t n = img[k + 2];
                if (k + 3 + n > end) return false;
                if (kw == "RV" && tag == kTagRo) {
                    uint8_t sum = 0;
                    for (size_t j = 0; j <= k + 3 && j < img.size(); ++j)
                        sum = static_cast<uint8_t>(sum + img[j]);
                    sumOk = n >= 1 && sum == 0;
                } else if (kw != "RW") {
                    list.emplace_back(kw, std::string(img.begin() + static_cast<std::ptrdiff_t>(k + 3),
                                                      img.begin() + static_cast<std::ptrdiff_t>(k + 3 + n)));
                }
                k += 3 + n;
            }
            if (k != end) return false;
        }
        // Other large resources are skipped.
        i = end;
    }
    return false;   // no end tag
}

}  // namespace vtsim
