#include "veltra_nic_properties.h"

#include "root_path.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <strings.h>
#include <string>

namespace {

enum class KeyKind { Bool, DebugLevel, Number, Text };

bool isTrueWord(const char* value) { return strcasecmp(value, "true") == 0; }

} // namespace

struct Veltra_NIC_Properties::Key {
    const char* name;
    KeyKind kind;
    std::atomic<bool> Veltra_NIC_Properties::*flag;
    std::atomic<int> Veltra_NIC_Properties::*number;
};

// Matching order matters: the first key that prefixes a word wins.
const Veltra_NIC_Properties::Key Veltra_NIC_Properties::kKeys[] = {
    {"ErrorLog", KeyKind::Bool, &Veltra_NIC_Properties::m_errorLog, nullptr},
    {"DebugLog", KeyKind::DebugLevel, nullptr, &Veltra_NIC_Properties::m_debugLog},
    {"MemoryTracing", KeyKind::Bool, &Veltra_NIC_Properties::m_memoryTracing, nullptr},
    {"CoreLog", KeyKind::Bool, &Veltra_NIC_Properties::m_coreLog, nullptr},
    {"FlashUpdateLog", KeyKind::Bool, &Veltra_NIC_Properties::m_flashUpdateLog, nullptr},
    {"RemoveTempFlashFile", KeyKind::Bool, &Veltra_NIC_Properties::m_removeTempFlashFile, nullptr},
    {"DumpPartialFlashFile", KeyKind::Bool, &Veltra_NIC_Properties::m_dumpPartialFlashFile, nullptr},
    {"LinkStatusPollIntervalSeconds", KeyKind::Number, nullptr,
     &Veltra_NIC_Properties::m_linkStatusPollIntervalSeconds},
    {"DiagTestTimeLimitSeconds", KeyKind::Number, nullptr, &Veltra_NIC_Properties::m_diagTestTimeLimitSeconds},
    {"InteropNamespace", KeyKind::Text, nullptr, nullptr},
};

Veltra_NIC_Properties& Veltra_NIC_Properties::instance()
{
    static Veltra_NIC_Properties properties; // constructed once, thread-safe
    return properties;
}

void Veltra_NIC_Properties::resetInstance()
{
    Veltra_NIC_Properties& properties = instance();
    properties.setDefaults();
    properties.reload();
}

Veltra_NIC_Properties::Veltra_NIC_Properties()
{
    setDefaults();
    reload();
}

Veltra_NIC_Properties::~Veltra_NIC_Properties() = default;

void Veltra_NIC_Properties::setDefaults()
{
    m_memoryTracing = false;
    m_debugLog = 0;
    m_errorLog = false;
    m_coreLog = false;
    m_flashUpdateLog = false;
    m_removeTempFlashFile = true;
    m_dumpPartialFlashFile = false;
    m_linkStatusPollIntervalSeconds = kDefaultPollIntervalSeconds;
    m_diagTestTimeLimitSeconds = kDefaultDiagTestTimeLimitSeconds;
    snprintf(m_interopNamespace, sizeof m_interopNamespace, "%s", "root/interop");
    snprintf(m_providerNamespace, sizeof m_providerNamespace, "%s", "veltra/cimv2");
}

int Veltra_NIC_Properties::getPropertyFilePath(char* buffer, size_t size) const
{
    if (!buffer || size < strlen(kFileName) + 1)
        return 0;
    snprintf(buffer, size, "%s", kFileName);
    const std::string full = RootPath("/etc/cim/veltra/") + kFileName;
    if (full.size() >= size)
        return 0;
    memcpy(buffer, full.c_str(), full.size() + 1);
    return 1;
}

void Veltra_NIC_Properties::applyWord(const char* word)
{
    word += strspn(word, " \t");
    if (*word == '#')
        return; // only this word is a comment; the line's next words still count
    for (const Key& key : kKeys) {
        const size_t keyLength = strlen(key.name);
        if (strncasecmp(word, key.name, keyLength) != 0)
            continue;
        const char* value = word + keyLength;
        value += strspn(value, " \t=");
        switch (key.kind) {
        case KeyKind::Bool:
            this->*key.flag = isTrueWord(value) || atoi(value) != 0;
            break;
        case KeyKind::DebugLevel:
            this->*key.number = isTrueWord(value) ? 1 : atoi(value);
            break;
        case KeyKind::Number:
            this->*key.number = atoi(value);
            break;
        case KeyKind::Text:
            snprintf(m_interopNamespace, sizeof m_interopNamespace, "%.255s", value);
            break;
        }
        return;
    }
}

void Veltra_NIC_Properties::reload()
{
    char path[1024];
    if (!getPropertyFilePath(path, sizeof path))
        return;
    std::cerr << "Veltra_NIC_Properties::reload, properties file name: " << path << std::endl;
    if (path[0] == '\0')
        return;
    std::ifstream file(path);
    if (!file.is_open())
        return;
    char word[256];
    // A word that ends at the very end of the file sets end-of-file and is
    // dropped, as is any word read once the stream reports a condition.
    while (file >> std::setw(sizeof word) >> word && file.good())
        applyWord(word);
}
