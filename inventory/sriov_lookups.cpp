#include "sriov_lookups.h"

#include "adapter_tree.h"
#include "npar_ops.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

bool readPF(vtapi_adapter_t* adapter, vtapi_protocol_t* fn, SRIOVFunction& out)
{
    out.adapter = adapter;
    out.function = fn;
    out.name = RecordText(fn->name, sizeof fn->name);
    return VTAPI_SRIOVGetPfInfo(adapter, out.name.c_str(), &out.pf) == VTAPI_STATUS_OK &&
           (out.pf.sw_sriov_support || out.pf.hw_sriov_support);
}

bool readVF(const SRIOVFunction& pf, uint32_t index, VirtualFunction& out)
{
    out.parent = pf;
    out.index = index;
    const bool ok = VTAPI_SRIOVGetVfInfo(pf.adapter, pf.name.c_str(), index, &out.info) == VTAPI_STATUS_OK;
    // The texts go out bounded by their fields; keep them terminated too.
    out.info.vm_name[sizeof out.info.vm_name - 1] = '\0';
    out.info.vf_drv_version[sizeof out.info.vf_drv_version - 1] = '\0';
    return ok;
}

bool vportIds(const SRIOVFunction& pf, uint32_t owner, std::vector<uint32_t>& ids)
{
    ids.assign(kMaxVportsPerOwner, 0);
    uint32_t count = kMaxVportsPerOwner;
    if (VTAPI_GetVportList(pf.adapter, pf.name.c_str(), owner, ids.data(), &count) != VTAPI_STATUS_OK) {
        ids.clear();
        return false;
    }
    ids.resize(std::min(count, kMaxVportsPerOwner));
    return true;
}

// The "##"-separated parts of a key.
std::vector<std::string> splitKey(const std::string& key)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t at; (at = key.find("##", start)) != std::string::npos; start = at + 2)
        parts.push_back(key.substr(start, at - start));
    parts.push_back(key.substr(start));
    return parts;
}

bool parseNumber(const std::string& text, long long minimum, long long maximum, long long& value)
{
    if (text.empty() || text.size() > 11 || text.find_first_not_of("-0123456789") != std::string::npos)
        return false;
    char* end = nullptr;
    errno = 0;
    value = strtoll(text.c_str(), &end, 10);
    return errno == 0 && *end == '\0' && value >= minimum && value <= maximum;
}

// Name, signed and unsigned parts of the first three fields of a key.
bool parseHead(const std::vector<std::string>& parts, int32_t& owner, uint32_t& index)
{
    long long first = 0, second = 0;
    if (parts[0].empty() || !parseNumber(parts[1], INT_MIN, INT_MAX, first) || !parseNumber(parts[2], 0, UINT_MAX, second))
        return false;
    owner = static_cast<int32_t>(first);
    index = static_cast<uint32_t>(second);
    return true;
}

// The VF at `index` of the PF, when its record carries `vfId`.
VirtualFunction resolveVF(const SRIOVFunction& pf, int32_t vfId, uint32_t index)
{
    VirtualFunction vf;
    if (!pf || index >= pf.vfCount() || !readVF(pf, index, vf) || static_cast<int32_t>(vf.info.vf_id) != vfId)
        return VirtualFunction{};
    return vf;
}

bool readVport(const SRIOVFunction& pf, int32_t owner, uint32_t vfIndex, uint32_t id, VirtualPort& out)
{
    out.parent = pf;
    out.owner = owner;
    out.vfIndex = vfIndex;
    return VTAPI_GetVportInfo(pf.adapter, pf.name.c_str(), id, &out.info) == VTAPI_STATUS_OK;
}

} // namespace

uint32_t SRIOVFunction::vfCount() const { return std::min(pf.num_vfs, kMaxSRIOVVfs); }

void ForEachSRIOVFunction(const std::function<void(const SRIOVFunction&)>& visit)
{
    ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t*, vtapi_protocol_t* fn) {
        SRIOVFunction pf;
        if (fn->protocol_type == VTAPI_PROTOCOL_NIC && readPF(adapter, fn, pf))
            visit(pf);
        return true;
    });
}

void ForEachVirtualFunction(const SRIOVFunction& pf, const std::function<void(const VirtualFunction&)>& visit)
{
    for (uint32_t i = 0; i < pf.vfCount(); ++i) {
        VirtualFunction vf;
        if (readVF(pf, i, vf))
            visit(vf);
    }
}

bool getPFVports(const SRIOVFunction& pf, std::vector<uint32_t>& ids) { return vportIds(pf, VTAPI_SRIOV_PF, ids); }

bool getVFVports(const SRIOVFunction& pf, uint32_t vfIndex, std::vector<uint32_t>& ids)
{
    return vportIds(pf, vfIndex, ids);
}

void ForEachVirtualPort(const SRIOVFunction& pf, const std::function<void(const VirtualPort&)>& visit)
{
    std::vector<uint32_t> ids;
    VirtualPort vport;
    if (getPFVports(pf, ids))
        for (uint32_t id : ids)
            if (readVport(pf, kPFVportOwner, 0, id, vport))
                visit(vport);
    ForEachVirtualFunction(pf, [&](const VirtualFunction& vf) {
        if (getVFVports(pf, vf.index, ids))
            for (uint32_t id : ids)
                if (readVport(pf, static_cast<int32_t>(vf.info.vf_id), vf.index, id, vport))
                    visit(vport);
    });
}

std::string makeVirFuncKeyString(const std::string& name, int32_t vfId, uint32_t vfIndex)
{
    return name + "##" + std::to_string(vfId) + "##" + std::to_string(vfIndex);
}

std::string makeVportKeyString(const std::string& name, int32_t owner, uint32_t vfIndex, uint32_t vportId)
{
    return makeVirFuncKeyString(name, owner, vfIndex) + "##" + std::to_string(vportId);
}

std::string VportOwnerKey(const VirtualPort& vport)
{
    return vport.owner == kPFVportOwner ? std::string()
                                        : makeVirFuncKeyString(vport.parent.name, vport.owner, vport.vfIndex);
}

SRIOVFunction FindSRIOVFunction(const char* name)
{
    SRIOVFunction found;
    if (!name)
        return found;
    ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t*, vtapi_protocol_t* fn) {
        if (fn->protocol_type != VTAPI_PROTOCOL_NIC ||
            strcasecmp(RecordText(fn->name, sizeof fn->name).c_str(), name) != 0)
            return true;
        SRIOVFunction pf;
        if (readPF(adapter, fn, pf))
            found = pf;
        return false;
    });
    return found;
}

VirtualFunction makeVirFuncFromKeyString(const char* key)
{
    const std::vector<std::string> parts = splitKey(key ? key : "");
    int32_t vfId = 0;
    uint32_t index = 0;
    if (parts.size() != 3 || !parseHead(parts, vfId, index))
        return VirtualFunction{};
    return resolveVF(FindSRIOVFunction(parts[0].c_str()), vfId, index);
}

VirtualPort makeVportFromKeyString(const char* key)
{
    const std::vector<std::string> parts = splitKey(key ? key : "");
    int32_t owner = 0;
    uint32_t vfIndex = 0;
    long long id = 0;
    if (parts.size() != 4 || !parseHead(parts, owner, vfIndex) || !parseNumber(parts[3], 0, UINT_MAX, id))
        return VirtualPort{};
    const SRIOVFunction pf = FindSRIOVFunction(parts[0].c_str());
    std::vector<uint32_t> ids;
    if (owner == kPFVportOwner) {
        if (!pf || vfIndex != 0 || !getPFVports(pf, ids))
            return VirtualPort{};
    } else if (!resolveVF(pf, owner, vfIndex) || !getVFVports(pf, vfIndex, ids)) {
        return VirtualPort{};
    }
    VirtualPort vport;
    if (std::find(ids.begin(), ids.end(), static_cast<uint32_t>(id)) == ids.end() ||
        !readVport(pf, owner, vfIndex, static_cast<uint32_t>(id), vport))
        return VirtualPort{};
    return vport;
}
