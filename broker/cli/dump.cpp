#include "dump.h"

#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

namespace vcim {
namespace cli {

namespace {

constexpr uint64_t kLastChunk = 0xFFFF;
constexpr uint64_t kStillRunning = 0xFFFFFFFE;
constexpr size_t kMaxChunks = 1u << 16;

const Value* outArg(const MethodResult& r, const char* name) {
    for (const Property& p : r.out)
        if (equalsIgnoreCase(p.name, name)) return &p.value;
    return nullptr;
}

Status failed(const std::string& msg) { return Status{CMPI_RC_ERR_FAILED, msg}; }

}  // namespace

Status RunDump(Broker& broker, const DumpRequest& request, std::ostream& out) {
    ObjectPath path;
    path.className = "VeltraNIC_EthernetPort";
    path.setKey("InstanceID", Value::string(request.function));
    MethodResult result;
    const bool phantom = request.phantom.has_value();
    std::vector<Property> in;
    if (phantom)
        in.push_back(Property{"DumpMode", Value::uint(CMPI_uint32, *request.phantom)});
    else
        in.push_back(Property{"OnDemand", Value::uint(CMPI_uint64, 1)});
    Status st = broker.invokeMethod(path, phantom ? "GetPhantomCoreDump" : "GetFirmwareDump", in, result);
    if (!st.ok()) return st;
    std::ofstream file(request.file, std::ios::binary | std::ios::trunc);
    if (!file) return failed("cannot write " + request.file);

    const char* method = phantom ? "GetPhantomCoreDumpBuffer" : "GetFirmwareDumpBuffer";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(request.watchSeconds);
    uint64_t flags = 0, written = 0;
    for (size_t chunks = 0; flags != kLastChunk;) {
        result = MethodResult{};
        in.assign(1, Property{"DumpFlags", Value::uint(CMPI_uint32, flags)});
        st = broker.invokeMethod(path, method, in, result);
        if (!st.ok()) return st;
        const Value* status = outArg(result, "MethodExecutionStatus");
        if (status && status->n.u == kStillRunning) {
            if (std::chrono::steady_clock::now() > deadline) return failed("the dump collection did not end");
            std::this_thread::sleep_for(std::chrono::milliseconds(request.pollMilliseconds));
            continue;
        }
        const Value* buffer = outArg(result, "ImageBuffer");
        const Value* next = outArg(result, "DumpFlags");
        if (!next || ++chunks > kMaxChunks) return failed("the provider did not end the download");
        const std::vector<uint8_t> none;
        const std::vector<uint8_t>& bytes = buffer && buffer->isOctetArray() ? buffer->bytes() : none;
        if (!file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())))
            return failed("cannot write " + request.file);
        written += bytes.size();
        flags = next->n.u;
    }
    file.close();
    if (!file) return failed("cannot write " + request.file);
    out << "wrote " << written << " bytes to " << request.file << '\n';
    return Status{};
}

}  // namespace cli
}  // namespace vcim
