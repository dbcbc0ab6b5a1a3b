// The provider properties file (common/veltra_nic_properties).
#include "fuzz_support.h"
#include "veltra_nic_properties.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::string file =
        fuzz::Root() + "/etc/cim/veltra/" + Veltra_NIC_Properties::kFileName;
    fuzz::WriteFile(file, data, size);
    Veltra_NIC_Properties::resetInstance();
    const Veltra_NIC_Properties& p = Veltra_NIC_Properties::instance();
    // Texts stay terminated within their buffers.
    if (strlen(p.getInteropNamespace()) > 255 || strlen(p.getProviderNamespace()) > 255)
        abort();
    (void)p.getLinkStatusPollIntervalSeconds();
    return 0;
}
