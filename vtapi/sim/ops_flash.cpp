// Simulated firmware updates of FC, NIC and iSCSI functions.
//
// Each update reads the staged image file, takes "duration_ms" (behaviour of
// the operation, default 0) during which a second update of the same
// adapter is refused with VTAPI_STATUS_BUSY, and then succeeds or returns
// the behaviour's "fail_rc". A success is recorded in the adapter's data
// ("flash/updates", "flash/last_size", "flash/last_checksum",
// "flash/last_option"); an image that starts with "VTFW <version>\n" also
// sets the adapter's flash firmware version. Empty or missing images are
// refused; so are images above "max_size" (default 64 MiB).
#include "ops_common.h"

#include <chrono>
#include <mutex>
#include <set>
#include <thread>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

std::mutex gBusyMu;
std::set<std::string> gBusy;   // adapters being flashed

VTAPI_STATUS flash(const char* op, const std::string& adapter, const char* file, uint32_t option) {
    if (!file || !*file || option > 1) return VTAPI_STATUS_INVALID_PARAM;
    json b = behaviourOf(op);
    std::vector<uint8_t> image;
    if (!readFile(file, image)) return VTAPI_STATUS_NOT_FOUND;
    if (image.empty() || image.size() > num<uint64_t>(b, "max_size", 64ull << 20))
        return VTAPI_STATUS_INVALID_PARAM;
    {
        std::lock_guard<std::mutex> l(gBusyMu);
        if (!gBusy.insert(adapter).second) return VTAPI_STATUS_BUSY;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(num<uint32_t>(b, "duration_ms", 0)));
    VTAPI_STATUS rc = num<uint32_t>(b, "fail_rc", 0);
    if (rc == VTAPI_STATUS_OK) {
        auto g = lock();
        FnRef r = findAdapterByName(adapter);
        if (r) {
            uint32_t sum = 0;
            for (uint8_t c : image) sum = sum * 31 + c;
            persist(*r.a, "flash/updates", num<uint32_t>(r.a->data, "flash/updates", 0) + 1);
            persist(*r.a, "flash/last_size", image.size());
            persist(*r.a, "flash/last_checksum", sum);
            persist(*r.a, "flash/last_option", option);
            static const char kTag[] = "VTFW ";
            if (image.size() > 5 && !std::memcmp(image.data(), kTag, 5)) {
                std::string v;
                for (size_t i = 5; i < image.size() && i < 5 + 32 && image[i] != '\n'; ++i)
                    v += static_cast<char>(image[i]);
                persist(*r.a, "versions/firmware", v);
                refreshRecords(FnRef{r.host, r.a});
            }
        }
    }
    std::lock_guard<std::mutex> l(gBusyMu);
    gBusy.erase(adapter);
    return rc;
}

}  // namespace

extern "C" {

VTAPI_STATUS VTAPI_doOptionROMUpdate(VTAPISDMDevice* device, const char* file, uint32_t option) {
    OPS_ENTER("VTAPI_doOptionROMUpdate", "device=%p file=%s option=%u", (void*)device, str(file),
              option);
    std::string adapter;
    {
        auto g = lock();
        FnRef r = fcDevice(device);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        adapter = r.a->name;
    }
    return flash("VTAPI_doOptionROMUpdate", adapter, file, option);
}

VTAPI_STATUS VTAPI_UpdateFlash(uint32_t instance, const char* file, uint32_t option) {
    OPS_ENTER("VTAPI_UpdateFlash", "instance=%u file=%s option=%u", instance, str(file), option);
    std::string adapter;
    {
        auto g = lock();
        FnRef r = byInstance(instance, kNIC);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        adapter = r.a->name;
    }
    return flash("VTAPI_UpdateFlash", adapter, file, option);
}

VTAPI_STATUS VTAPI_UpdateiSCSIFW(uint32_t instance, const char* file, uint32_t reserved,
                                 uint32_t option) {
    OPS_ENTER("VTAPI_UpdateiSCSIFW", "instance=%u file=%s reserved=%u option=%u", instance,
              str(file), reserved, option);
    std::string adapter;
    {
        auto g = lock();
        FnRef r = byInstance(instance, kISCSI);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        adapter = r.a->name;
    }
    return flash("VTAPI_UpdateiSCSIFW", adapter, file, option);
}

}  // extern "C"
