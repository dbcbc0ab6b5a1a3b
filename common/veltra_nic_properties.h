// Provider properties: switches and tunables read once from
// "/etc/cim/veltra/veltra_adapter_provider.properties" (below VELTRA_ROOT).
#pragma once

#include <atomic>
#include <cstddef>

class Veltra_NIC_Properties {
public:
    // The process-wide object, created and read from the file on first use.
    static Veltra_NIC_Properties& instance();
    // Puts the defaults back and reads the file again below the current
    // root. For tests; not to be called while other threads read properties.
    static void resetInstance();

    virtual ~Veltra_NIC_Properties();

    // Reads the properties file word by word; a missing file keeps the defaults.
    void reload();
    // Full path of the properties file into `buffer`: 1 when it fits,
    // else 0 (a buffer of at least 35 bytes then holds the bare file name).
    int getPropertyFilePath(char* buffer, size_t size) const;

    bool getMemoryTracing() const { return m_memoryTracing; }
    int getDebugLog() const { return m_debugLog; }
    bool getErrorLog() const { return m_errorLog; }
    bool getCoreLog() const { return m_coreLog; }
    bool getFlashUpdateLog() const { return m_flashUpdateLog; }
    bool getRemoveTempFlashFile() const { return m_removeTempFlashFile; }
    bool getDumpPartialFlashFile() const { return m_dumpPartialFlashFile; }
    int getLinkStatusPollIntervalSeconds() const { return m_linkStatusPollIntervalSeconds; }
    // How long a diagnostic test that is started and never ended may hold
    // the host's diagnostic mode before the provider ends it.
    int getDiagTestTimeLimitSeconds() const { return m_diagTestTimeLimitSeconds; }
    const char* getInteropNamespace() const { return m_interopNamespace; }
    const char* getProviderNamespace() const { return m_providerNamespace; }

    static constexpr const char* kFileName = "veltra_adapter_provider.properties";
    static constexpr int kDefaultPollIntervalSeconds = 180;
    static constexpr int kDefaultDiagTestTimeLimitSeconds = 600;

private:
    Veltra_NIC_Properties();
    Veltra_NIC_Properties(const Veltra_NIC_Properties&) = delete;
    Veltra_NIC_Properties& operator=(const Veltra_NIC_Properties&) = delete;

    void setDefaults();
    void applyWord(const char* word);

    struct Key;
    static const Key kKeys[];

    std::atomic<bool> m_memoryTracing{false};
    std::atomic<int> m_debugLog{0};
    std::atomic<bool> m_errorLog{false};
    std::atomic<bool> m_coreLog{false};
    std::atomic<bool> m_flashUpdateLog{false};
    std::atomic<bool> m_removeTempFlashFile{true};
    std::atomic<bool> m_dumpPartialFlashFile{false};
    std::atomic<int> m_linkStatusPollIntervalSeconds{kDefaultPollIntervalSeconds};
    std::atomic<int> m_diagTestTimeLimitSeconds{kDefaultDiagTestTimeLimitSeconds};
    char m_interopNamespace[256];
    char m_providerNamespace[256];
};
