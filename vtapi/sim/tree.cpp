// The adapter trees handed to the caller and the inventory operations.
//
// A tree is built from a host model: every record is its own heap block, so
// a pointer kept past the tree's release shows under AddressSanitizer. The
// main tree is what VTAPI_GetAdapterList returns; the backup tree is built
// beside it and replaces it on the swap.
#include "records.h"
#include "sim_private.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

namespace vtsim {

namespace {

struct TgtRec {
    _tagVTAPI_SDMTarget* rec = nullptr;
    std::vector<_tagVTAPI_SDMLun*> luns;
};
struct FnRec {
    _vtapi_protocol_t* rec = nullptr;
    std::vector<TgtRec> targets;
};
struct PortRec {
    _vtapi_phy_port_t* rec = nullptr;
    std::vector<FnRec> fns;
};
struct AdRec {
    _vtapi_adapter_t* rec = nullptr;
    std::vector<PortRec> ports;
};

// Position of a record in the host model.
struct Loc {
    size_t a = 0, p = SIZE_MAX, f = SIZE_MAX, t = SIZE_MAX, l = SIZE_MAX;
};

struct Tree {
    std::shared_ptr<Host> host;
    std::vector<void*> blocks;
    _vtapi_adapter_list_t* head = nullptr;
    std::vector<AdRec> adapters;
    std::unordered_map<const void*, Loc> where;

    template <typename T>
    T* alloc(size_t n = 1) {
        void* p = std::calloc(n, sizeof(T));
        if (!p) throw std::bad_alloc();
        blocks.push_back(p);
        return static_cast<T*>(p);
    }
    ~Tree() {
        for (void* p : blocks) std::free(p);
    }
};

struct TreeState {
    bool initialized = false;
    std::unique_ptr<Tree> main, backup;
    long built = 0, released = 0;
    uint32_t toolId = 0;
    uint8_t toolVersion[3] = {};
};

TreeState& T() {
    static TreeState* t = new TreeState;   // never destroyed, like the globals
    return *t;
}

void release(std::unique_ptr<Tree>& t) {
    if (!t) return;
    t.reset();
    ++T().released;
}

// ---- filling records ------------------------------------------------------------

uint32_t u32(const json& obj, const char* path, uint32_t dflt = 0) {
    const json* v = at(obj, path);
    if (!v || !v->is_number_integer()) return dflt;
    return static_cast<uint32_t>(v->get<int64_t>());
}


void fillNpar(_vtapi_npar_info_t* n, const json& np) {
    const json& fns = np["functions"];
    uint32_t count = static_cast<uint32_t>(std::min<size_t>(fns.size(), VTAPI_MAX_NPAR_FUNCS));
    n->func_count = count;
    n->eswitch_count = u32(np, "eswitch_count");
    n->enabled = np.value("enabled", false) ? 1 : 0;
    n->config->func_count = count;
    n->settings->func_count = count;
    n->esw->func_count = count;
    uint32_t enabledCount = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const json& f = fns[i];
        fillFields(&n->config->func[i], f, kNparCfgFields);
        fillFields(&n->settings->func[i], f, kNparRegionFields);
        fillFields(&n->ext[i], f, kNparExtFields);
        fillFields(&n->esw->func[i], f, kEswFields);
        fillFields(&n->esw_stats[i], f, kEswStatsFields);
        n->board_cap_mask[i] = u32(f, "board_cap_mask");
        n->func_protocol[i] = u32(f, "protocol");
        n->func_link_status[i] = u32(f, "link_status");
        std::snprintf(n->func_name[i], sizeof n->func_name[i], "%s", f.value("name", std::string()).c_str());
        if (u32(f, "capability_mask") != VTAPI_NPAR_CAP_DISABLED) ++enabledCount;
    }
    n->enabled_func_count = enabledCount;
    if (np.contains("mirror")) fillFields(&n->mirror, np["mirror"], kMirrorFields);
}

void fillAdapter(_vtapi_adapter_t* r, const Adapter& a) {
    std::snprintf(r->name, sizeof r->name, "%s", a.name.c_str());
    r->kind = a.kind;
    fillFields(r, a.data, kAdapterFields);
    const json& np = a.data.contains("npar") ? a.data["npar"] : json();
    r->npar_capable = (r->npar != nullptr);
    if (r->npar && np.is_object()) {
        r->npar_valid = u32(np, "valid");
        fillNpar(r->npar, np);
    }
}

void fillProtocol(_vtapi_protocol_t* r, const Function& f) {
    r->pci_bus = f.bus;
    r->pci_device = f.device;
    r->pci_function = f.function;
    r->protocol_type = f.type;
    r->hba_number = f.instance;
    std::snprintf(r->name, sizeof r->name, "%s", f.name.c_str());
    fillFields(r, f.data, kProtocolFields);
    if (f.type < VTAPI_PROTOCOL_NIC) {
        r->device.instance = f.instance;
        fillFields(&r->device, f.data, kDeviceFields);
    }
    if (f.type == VTAPI_PROTOCOL_NIC && f.data.contains("nic")) {
        const json& nic = f.data["nic"];
        fillFields(&r->nic, nic, kNicFields);
        const auto& names = ethStatNames();
        auto* stats = reinterpret_cast<uint8_t*>(&r->nic.stats);
        const json* st = at(nic, "stats");
        for (size_t i = 0; st && st->is_object() && i < names.size() &&
                           (i + 1) * sizeof(uint64_t) <= sizeof r->nic.stats;
             ++i) {
            auto it = st->find(names[i]);
            if (it == st->end() || !it->is_number_integer()) continue;
            uint64_t v = it->get<uint64_t>();
            std::memcpy(stats + i * sizeof v, &v, sizeof v);
        }
    }
    if (f.type == VTAPI_PROTOCOL_ISCSI && f.data.contains("iscsi")) {
        const json& is = f.data["iscsi"];
        if (is.contains("portal")) fillFields(&r->iscsi.portal, is["portal"], kPortalFields);
        if (r->iscsi.targets && is.contains("targets")) {
            const json& ts = is["targets"];
            for (size_t i = 0; i < ts.size() && i < VTAPI_ISCSI_MAX_TARGETS; ++i) {
                VTAPI_HBATGTENTRY& e = r->iscsi.targets[i];
                e.in_use = 1;
                fillFields(&e, ts[i], kIscsiTargetFields);
                const json& luns = ts[i].contains("luns") ? ts[i]["luns"] : json::array();
                if (!e.lun_list) continue;
                e.lun_list->lun_count = static_cast<uint32_t>(std::min<size_t>(luns.size(), VTAPI_ISCSI_MAX_LUNS));
                for (size_t l = 0; l < e.lun_list->lun_count; ++l)
                    fillFields(&e.lun_list->luns[l], luns[l], kIscsiLunFields);
            }
        }
    }
}

// ---- building -------------------------------------------------------------------------

template <typename L, typename N>
void link(L* list, std::vector<N*>& nodes) {
    list->count = static_cast<uint32_t>(nodes.size());
    list->first = nodes.empty() ? nullptr : nodes[0];
    for (size_t i = 0; i + 1 < nodes.size(); ++i) nodes[i]->next = nodes[i + 1];
}

void buildTargets(Tree& t, FnRec& fr, const Function& f, Loc loc) {
    auto* list = t.alloc<_vtapi_target_list_t>();
    std::vector<_tagVTAPI_SDMTarget*> recs;
    recs.reserve(f.targets.size());
    fr.targets.reserve(f.targets.size());
    for (size_t ti = 0; ti < f.targets.size(); ++ti) {
        const Target& tg = f.targets[ti];
        auto* r = t.alloc<_tagVTAPI_SDMTarget>();
        fillTarget(r, tg);
        loc.t = ti;
        t.where[r] = loc;
        TgtRec tr;
        tr.rec = r;
        if (!tg.luns.empty()) {
            auto* ll = t.alloc<_vtapi_lun_list_t>();
            std::vector<_tagVTAPI_SDMLun*> lrecs;
            lrecs.reserve(tg.luns.size());
            for (size_t li = 0; li < tg.luns.size(); ++li) {
                auto* lr = t.alloc<_tagVTAPI_SDMLun>();
                fillLun(lr, tg.luns[li], *r);
                Loc ll2 = loc;
                ll2.l = li;
                t.where[lr] = ll2;
                lrecs.push_back(lr);
            }
            link(ll, lrecs);
            r->luns = ll;
            tr.luns = std::move(lrecs);
        }
        recs.push_back(r);
        fr.targets.push_back(std::move(tr));
    }
    link(list, recs);
    fr.rec->device.targets = list;
}

void buildNpar(Tree& t, _vtapi_adapter_t* r, const Adapter& a) {
    const json* np = at(a.data, "npar");
    if (!np || !np->is_object()) return;
    r->npar = t.alloc<_vtapi_npar_info_t>();
    r->npar->config = t.alloc<VTAPI_NPAR_CFG_V2_T>();
    r->npar->settings = t.alloc<VTAPI_NPAR_REGION_V2_T>();
    r->npar->esw = t.alloc<VTAPI_NPAR_ESW_CFG_V2_T>();
}

std::unique_ptr<Tree> build(const std::shared_ptr<Host>& host) {
    auto t = std::make_unique<Tree>();
    t->host = host;
    // A large host has hundreds of thousands of records: size the tables once.
    size_t records = 1;
    for (const auto& a : host->adapters) {
        records += 2 + a.ports.size();
        for (const auto& p : a.ports)
            for (const auto& f : p.functions) {
                records += 3 + f.targets.size();
                for (const auto& tg : f.targets) records += 1 + tg.luns.size();
            }
    }
    t->where.reserve(records);
    t->blocks.reserve(records);
    t->head = t->alloc<_vtapi_adapter_list_t>();
    std::vector<_vtapi_adapter_t*> arecs;
    for (size_t ai = 0; ai < host->adapters.size(); ++ai) {
        const Adapter& a = host->adapters[ai];
        AdRec ar;
        ar.rec = t->alloc<_vtapi_adapter_t>();
        Loc loc;
        loc.a = ai;
        t->where[ar.rec] = loc;
        buildNpar(*t, ar.rec, a);
        fillAdapter(ar.rec, a);
        if (a.hasPortList) {
            auto* plist = t->alloc<_vtapi_phy_port_list_t>();
            std::vector<_vtapi_phy_port_t*> precs;
            for (size_t pi = 0; pi < a.ports.size(); ++pi) {
                const Port& p = a.ports[pi];
                PortRec pr;
                pr.rec = t->alloc<_vtapi_phy_port_t>();
                pr.rec->port_number = p.number;
                pr.rec->pci_bus = p.bus;
                pr.rec->pci_device = p.device;
                loc.p = pi;
                loc.f = SIZE_MAX;
                t->where[pr.rec] = loc;
                if (p.hasProtocolList) {
                    auto* flist = t->alloc<_vtapi_protocol_list_t>();
                    std::vector<_vtapi_protocol_t*> frecs;
                    for (size_t fi = 0; fi < p.functions.size(); ++fi) {
                        const Function& f = p.functions[fi];
                        FnRec fr;
                        fr.rec = t->alloc<_vtapi_protocol_t>();
                        loc.f = fi;
                        t->where[fr.rec] = loc;
                        if (f.type == VTAPI_PROTOCOL_ISCSI && at(f.data, "iscsi/targets") &&
                            !f.data["iscsi"]["targets"].empty()) {
                            fr.rec->iscsi.targets = t->alloc<VTAPI_HBATGTENTRY>(VTAPI_ISCSI_MAX_TARGETS);
                            size_t n = f.data["iscsi"]["targets"].size();
                            for (size_t i = 0; i < n && i < VTAPI_ISCSI_MAX_TARGETS; ++i)
                                fr.rec->iscsi.targets[i].lun_list = t->alloc<VTAPI_HBATGTLUNLIST>();
                        }
                        fillProtocol(fr.rec, f);
                        if (f.type < VTAPI_PROTOCOL_NIC) buildTargets(*t, fr, f, loc);
                        frecs.push_back(fr.rec);
                        pr.fns.push_back(std::move(fr));
                    }
                    link(flist, frecs);
                    pr.rec->protocols = flist;
                }
                precs.push_back(pr.rec);
                ar.ports.push_back(std::move(pr));
            }
            link(plist, precs);
            ar.rec->phy_ports = plist;
        }
        arecs.push_back(ar.rec);
        t->adapters.push_back(std::move(ar));
    }
    link(t->head, arecs);
    ++T().built;
    return t;
}

// Rewrites the records of adapter ai (function fi of port pi when given).
void refreshIn(Tree& t, size_t ai, size_t pi, size_t fi, bool targets) {
    if (ai >= t.adapters.size() || ai >= t.host->adapters.size()) return;
    const Adapter& a = t.host->adapters[ai];
    AdRec& ar = t.adapters[ai];
    if (pi == SIZE_MAX) fillAdapter(ar.rec, a);
    for (size_t p = 0; p < ar.ports.size() && p < a.ports.size(); ++p) {
        if (pi != SIZE_MAX && p != pi) continue;
        for (size_t f = 0; f < ar.ports[p].fns.size() && f < a.ports[p].functions.size(); ++f) {
            if (fi != SIZE_MAX && f != fi) continue;
            const Function& fn = a.ports[p].functions[f];
            FnRec& fr = ar.ports[p].fns[f];
            fillProtocol(fr.rec, fn);
            for (size_t ti = 0; targets && ti < fr.targets.size() && ti < fn.targets.size(); ++ti) {
                fillTarget(fr.targets[ti].rec, fn.targets[ti]);
                for (size_t li = 0; li < fr.targets[ti].luns.size() && li < fn.targets[ti].luns.size(); ++li)
                    fillLun(fr.targets[ti].luns[li], fn.targets[ti].luns[li], *fr.targets[ti].rec);
            }
        }
    }
}

FnRef refOf(Host& h, const Loc& l) {
    FnRef r;
    r.host = &h;
    if (l.a >= h.adapters.size()) return FnRef{};
    r.a = &h.adapters[l.a];
    if (l.p == SIZE_MAX || l.p >= r.a->ports.size()) return r;
    r.p = &r.a->ports[l.p];
    if (l.f == SIZE_MAX || l.f >= r.p->functions.size()) return r;
    r.fn = &r.p->functions[l.f];
    if (l.t == SIZE_MAX || l.t >= r.fn->targets.size()) return r;
    r.t = &r.fn->targets[l.t];
    if (l.l == SIZE_MAX || l.l >= r.t->luns.size()) return r;
    r.lun = &r.t->luns[l.l];
    return r;
}

template <typename Pred>
FnRef findFunction(Pred pred) {
    Host& h = *G().current;
    for (auto& a : h.adapters)
        for (auto& p : a.ports)
            for (auto& f : p.functions)
                if (pred(f)) {
                    FnRef r;
                    r.host = &h;
                    r.a = &a;
                    r.p = &p;
                    r.fn = &f;
                    return r;
                }
    return FnRef{};
}

}  // namespace

// ---- framework side ---------------------------------------------------------------------

void treesOnHostChanged() {
    TreeState& ts = T();
    release(ts.backup);
    if (!ts.initialized) return;
    auto fresh = build(G().current);
    ts.main.swap(fresh);
    if (fresh) {
        fresh.reset();
        ++ts.released;
    }
}

void treesUninitialize() {
    T().initialized = false;
    release(T().main);
    release(T().backup);
}

bool treesInitialized() { return T().initialized; }

FnRef findByRecord(const void* rec) {
    auto l = lock();
    if (!rec) return FnRef{};
    for (auto* t : {T().main.get(), T().backup.get()}) {
        if (!t) continue;
        auto it = t->where.find(rec);
        if (it != t->where.end()) return refOf(*t->host, it->second);
    }
    return FnRef{};
}

FnRef findByAdapter(const _vtapi_adapter_t* rec) {
    FnRef r = findByRecord(rec);
    return (r && !r.p) ? r : FnRef{};
}

FnRef findByProtocol(const _vtapi_protocol_t* rec) {
    FnRef r = findByRecord(rec);
    return (r.fn && !r.t) ? r : FnRef{};
}

static_assert(offsetof(_vtapi_protocol_t, device) == 0, "the device record opens the protocol record");

FnRef findByDevice(const _tagVTAPISDMDevice* rec) {
    // The device record is the first member of the protocol record.
    return findByProtocol(reinterpret_cast<const _vtapi_protocol_t*>(rec));
}

FnRef findByInstance(uint32_t instance) {
    auto l = lock();
    start();
    return findFunction([&](const Function& f) { return f.instance == instance; });
}

FnRef findByName(const std::string& name) {
    auto l = lock();
    start();
    std::string want = lower(name);
    return findFunction([&](const Function& f) { return lower(f.name) == want; });
}

FnRef findAdapterByName(const std::string& serial) {
    auto l = lock();
    start();
    std::string want = lower(serial);
    for (auto& a : G().current->adapters)
        if (lower(a.name) == want) {
            FnRef r;
            r.host = G().current.get();
            r.a = &a;
            return r;
        }
    return FnRef{};
}

void refreshRecords(const FnRef& r, bool targets) {
    auto l = lock();
    if (!r.a || !r.host) return;
    size_t ai = static_cast<size_t>(r.a - r.host->adapters.data());
    size_t pi = r.p ? static_cast<size_t>(r.p - r.a->ports.data()) : SIZE_MAX;
    size_t fi = (r.p && r.fn) ? static_cast<size_t>(r.fn - r.p->functions.data()) : SIZE_MAX;
    for (auto* t : {T().main.get(), T().backup.get()})
        if (t && t->host.get() == r.host) refreshIn(*t, ai, pi, fi, targets);
}

void refreshNparStats(const FnRef& r) {
    auto l = lock();
    if (!r.a || !r.host) return;
    const auto np = r.a->data.find("npar");
    if (np == r.a->data.end() || !np->is_object() || !np->contains("functions")) return;
    const json& fns = (*np)["functions"];
    const size_t ai = static_cast<size_t>(r.a - r.host->adapters.data());
    for (auto* t : {T().main.get(), T().backup.get()}) {
        if (!t || t->host.get() != r.host || ai >= t->adapters.size()) continue;
        _vtapi_npar_info_t* n = t->adapters[ai].rec->npar;
        if (!n) continue;
        const size_t count = std::min<size_t>(fns.size(), VTAPI_MAX_NPAR_FUNCS);
        for (size_t i = 0; i < count; ++i) fillFields(&n->esw_stats[i], fns[i], kEswStatsFields);
    }
}

}  // namespace vtsim

// ---- inventory operations --------------------------------------------------------------------

using namespace vtsim;

extern "C" {

VTAPI_STATUS VTAPI_Initialize(int32_t debug_level, uint32_t reserved) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_Initialize", rc, "debug=%d, reserved=%u", debug_level, reserved)) return rc;
    auto l = lock();
    if (!G().hostError.empty()) return VTAPI_STATUS_BAD;
    TreeState& ts = T();
    if (!ts.initialized) {
        ts.initialized = true;
        treesOnHostChanged();
    }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_Uninitialize(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_Uninitialize", rc)) return rc;
    auto l = lock();
    treesUninitialize();
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetToolID(uint32_t tool_id) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_SetToolID", rc, "id=%u", tool_id)) return rc;
    auto l = lock();
    T().toolId = tool_id;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetToolVersion(uint8_t major, uint8_t minor, uint8_t build, uint8_t reserved) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_SetToolVersion", rc, "%u.%u.%u, reserved=%u", major, minor, build, reserved))
        return rc;
    auto l = lock();
    T().toolVersion[0] = major;
    T().toolVersion[1] = minor;
    T().toolVersion[2] = build;
    return VTAPI_STATUS_OK;
}

vtapi_adapter_list_t* VTAPI_GetAdapterList(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_GetAdapterList", rc)) return nullptr;
    auto l = lock();
    TreeState& ts = T();
    return (ts.initialized && ts.main) ? ts.main->head : nullptr;
}

uint32_t VTAPI_DidConfigChange(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_DidConfigChange", rc)) return static_cast<uint32_t>(rc);
    auto l = lock();
    return G().configChanged ? 1 : 0;
}

void VTAPI_ResetConfigChange(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_ResetConfigChange", rc)) return;
    auto l = lock();
    G().configChanged = false;
}

VTAPI_STATUS VTAPI_UpdateBackupAdapterList(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_UpdateBackupAdapterList", rc)) return rc;
    auto l = lock();
    TreeState& ts = T();
    if (!ts.initialized) return VTAPI_STATUS_NOT_INITIALIZED;
    release(ts.backup);
    // Writes made since the host was staged belong to the new tree too.
    if (G().staged) applyState(*G().staged);
    ts.backup = build(G().staged ? G().staged : G().current);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SwapBackupToMainAdapterList(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_SwapBackupToMainAdapterList", rc)) return rc;
    auto l = lock();
    TreeState& ts = T();
    if (!ts.initialized) return VTAPI_STATUS_NOT_INITIALIZED;
    if (!ts.backup) return VTAPI_STATUS_BAD;
    if (G().staged == ts.backup->host) G().staged.reset();
    G().current = ts.backup->host;
    ts.main.swap(ts.backup);
    release(ts.backup);   // the old main tree: stale pointers into it now fault
    return VTAPI_STATUS_OK;
}

void VTAPI_FreeMem(void* buffer) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_FreeMem", rc, "%p", buffer)) return;
    freeForCaller(buffer);
}

VTAPI_STATUS VTAPI_RefreshData(void) {
    const OpTimer opTimer;
    int rc;
    if (enter("VTAPI_RefreshData", rc)) return rc;
    auto l = lock();
    TreeState& ts = T();
    if (!ts.initialized || !ts.main) return VTAPI_STATUS_NOT_INITIALIZED;
    for (size_t ai = 0; ai < ts.main->adapters.size(); ++ai) refreshIn(*ts.main, ai, SIZE_MAX, SIZE_MAX, true);
    return VTAPI_STATUS_OK;
}

long vtsim_trees_built(void) {
    auto l = lock();
    return T().built;
}

long vtsim_trees_released(void) {
    auto l = lock();
    return T().released;
}

}  // extern "C"
