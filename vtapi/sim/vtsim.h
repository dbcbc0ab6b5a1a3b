/*
 * vtsim.h - control interface of the simulated adapter library, for tests.
 *
 * All functions are exported from libvtapi.so. Functions returning int give
 * 0 on success and -1 on failure; vtsim_last_error() then tells why.
 */
#ifndef VTSIM_H
#define VTSIM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Message of the last failed vtsim_* call of this thread ("" when none). */
const char *vtsim_last_error(void);

/* Back to the start, as if the library had just been loaded: not
 * initialised (trees released), the host of VTAPI_SIM_HOST or the embedded
 * default, only the environment's faults and delays, empty operation log,
 * bad-free count zero, empty persistent state (the state file, when
 * VTAPI_SIM_STATE names one, is rewritten empty), configuration-change mark
 * as the host says. Caller buffers still live stay counted. */
void vtsim_reset(void);

/* Make a host the current one (and rebuild the main tree, when the library
 * is initialised). The old tree is released. */
int vtsim_load_host_json(const char *json_text);
int vtsim_load_host_file(const char *path);
/* The embedded default host description. */
const char *vtsim_default_host_json(void);

/* Stage a host and raise the configuration-change mark: the next
 * VTAPI_UpdateBackupAdapterList builds the staged host, the swap makes it
 * current. */
int vtsim_stage_host_json(const char *json_text);
/* Raise (non-zero) or clear the configuration-change mark. */
void vtsim_set_config_changed(int changed);

/* Faults: the named operation returns `code` for the next `count` calls
 * (count < 0: always; count 0 clears). Unknown operation names fail. */
int vtsim_fault(const char *op, int code, int count);
void vtsim_clear_faults(void);
/* Delay each call of op by `ms` milliseconds (0 clears). */
int vtsim_delay(const char *op, unsigned ms);

/* Operation log: every call as "OP(args)". */
size_t vtsim_log_size(void);
/* Copies entry i (0 = oldest kept); returns -1 when i is out of range. */
int vtsim_log_get(size_t i, char *buf, size_t len);
/* Number of calls of op since the last clear (op NULL: all calls). */
unsigned long vtsim_log_count(const char *op);
void vtsim_log_clear(void);
/* Nanoseconds spent inside library operations since the library was loaded. */
unsigned long long vtsim_library_ns(void);

/* Buffers handed to the caller and not yet released with VTAPI_FreeMem. */
long vtsim_live_allocations(void);
/* VTAPI_FreeMem calls with a pointer that was not a live caller buffer. */
long vtsim_bad_frees(void);

/* Number of adapter trees built and released so far (main + backup). */
long vtsim_trees_built(void);
long vtsim_trees_released(void);

/* Adapter reset: the running eSwitch settings of every NPAR function of the
 * adapter `serial` go back to their power-on values (mac_addr_change 1,
 * every other setting 0), as after a host reboot; the tree shows it at once.
 * -1 for an unknown or not NPAR-capable adapter. */
int vtsim_reset_adapter(const char* serial);

/* Persistent state as JSON text (copied into buf; returns the full length). */
size_t vtsim_state_json(char *buf, size_t len);

/* Builds a PCI VPD image from an identifier and keyword/value pairs given as
 * "KW=value" strings (ro: read-only section, rw: read-write section, either
 * may be empty). Returns the image length (copied up to len), or 0 on error. */
size_t vtsim_build_vpd(const char *id, const char *const *ro, size_t nro,
                       const char *const *rw, size_t nrw, uint8_t *buf,
                       size_t len);

#ifdef __cplusplus
}

#include <string>
#include <vector>

namespace vtsim_test {
/* The operation log as a vector (for assertions). */
inline std::vector<std::string> callLog() {
    std::vector<std::string> out;
    char buf[1024];
    for (size_t i = 0, n = vtsim_log_size(); i < n; ++i)
        if (vtsim_log_get(i, buf, sizeof buf) == 0) out.emplace_back(buf);
    return out;
}
}  // namespace vtsim_test
#endif

#endif /* VTSIM_H */
