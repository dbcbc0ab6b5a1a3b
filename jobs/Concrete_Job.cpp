#include "Concrete_Job.h"

#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "preference_file.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"
#include "CmpiDateTime.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

using Log = Veltra_NIC_Utils;

std::atomic<ConcreteJobStore*> g_concreteJobStore{nullptr};

// "TimeBeforeRemoval": always thirty minutes.
constexpr const char* kTimeBeforeRemoval = "00000000003000.000000:000";

// Text of a job id as the key and the saved entries hold it.
std::string idText(uint32_t id)
{
    char text[kUtoaBufferSize];
    utoa(id, text);
    return text;
}

// One saved line "<id>#<field>=<value>", split; false when the line has
// another shape. The id and field hold neither "#" nor "=" and are not
// empty; the value is the rest of the line.
struct SavedEntry {
    std::string id;
    std::string field;
    std::string value;
};

bool parseSavedEntry(const std::string& line, SavedEntry& entry)
{
    const size_t hash = line.find_first_of("#=");
    if (hash == 0 || hash == std::string::npos || line[hash] != '#' || hash > 63)
        return false;
    const size_t equals = line.find_first_of("#=", hash + 1);
    if (equals == hash + 1 || equals == std::string::npos || line[equals] != '=' || equals - hash - 1 > 255)
        return false;
    entry.id = line.substr(0, hash);
    entry.field = line.substr(hash + 1, equals - hash - 1);
    entry.value = line.substr(equals + 1);
    return true;
}

// Number fields from saved text; a field keeps its value when the text is
// no number.
void scanNumber(const std::string& text, uint32_t& field)
{
    unsigned value = 0;
    if (atou(text.c_str(), value) == 1)
        field = value;
}

void scanNumber(const std::string& text, uint64_t& field)
{
    unsigned long long value = 0;
    if (atollu(text.c_str(), value) == 1)
        field = value;
}

ConcreteJobStore* registeredStore() { return g_concreteJobStore.load(std::memory_order_acquire); }

} // namespace

uint16_t ConcreteJobState(uint32_t status)
{
    switch (status) {
    case CONCRETE_JOB_FAILED: return 10;   // Exception
    case CONCRETE_JOB_COMPLETED: return 7; // Completed
    default: return 4;                     // Running
    }
}

uint64_t ConcreteJobCurrentTime() { return CmpiDateTime().getDateTime(); }

namespace {

// The six saved entries of one job.
void appendJobEntries(const Concrete_Job& job, std::vector<PrefEntry>& entries)
{
    char tolsc[kLlutoaBufferSize];
    char status[kUtoaBufferSize];
    char result[kUtoaBufferSize];
    llutoa(job.timeOfLastStateChange, tolsc);
    utoa(job.status, status);
    utoa(job.result, result);
    const std::string id = idText(job.jobId);
    // The description holds library data: a line end in it must not make
    // a line of its own.
    std::string description = job.description;
    std::replace_if(description.begin(), description.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    const struct {
        const char* field;
        std::string value;
    } fields[] = {
        {"ID", id},          {"DESC", description}, {"TOLSC", tolsc},
        {"STATUS", status},  {"RESULT", result},    {"END", "1"},
    };
    for (const auto& field : fields)
        entries.push_back(PrefEntry{id + "#" + field.field, field.value});
}

// Sets the entries in the default file in one rewrite that keeps every
// other entry (the eSwitch settings among them); a missing file is not made.
void saveEntries(const std::vector<PrefEntry>& entries)
{
    if (!entries.empty())
        PrefRewriteFile(kDefaultPrefFile, entries, nullptr, false);
}

} // namespace

void SaveConcreteJobInfo(const Concrete_Job& job)
{
    std::vector<PrefEntry> entries;
    appendJobEntries(job, entries);
    saveEntries(entries);
}

// ---- the job table ----

bool ConcreteJobStore::PickNextJobId(uint32_t& id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto drawable = std::distance(m_jobs.begin(), m_jobs.lower_bound(kConcreteJobIdLimit));
    if (static_cast<uint64_t>(drawable) >= kConcreteJobIdLimit)
        return false;
    uint32_t candidate;
    do {
        candidate = static_cast<uint32_t>(rand()) % kConcreteJobIdLimit;
    } while (m_jobs.count(candidate) != 0);
    id = candidate;
    return true;
}

bool ConcreteJobStore::Add(const Concrete_Job& job)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_jobs.emplace(job.jobId, job).second;
}

void ConcreteJobStore::Store(const Concrete_Job& job)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_jobs[job.jobId] = job;
}

bool ConcreteJobStore::Find(uint32_t id, Concrete_Job& out) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end())
        return false;
    out = found->second;
    return true;
}

bool ConcreteJobStore::Remove(uint32_t id)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_jobs.erase(id) != 0;
}

void ConcreteJobStore::Clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_jobs.clear();
}

size_t ConcreteJobStore::Size() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_jobs.size();
}

std::vector<Concrete_Job> ConcreteJobStore::Jobs() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Concrete_Job> jobs;
    jobs.reserve(m_jobs.size());
    for (const auto& entry : m_jobs)
        jobs.push_back(entry.second);
    return jobs;
}

bool ConcreteJobStore::AddAndSave(const Concrete_Job& job)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_jobs.emplace(job.jobId, job).second)
        return false;
    serializeLocked();
    return true;
}

bool ConcreteJobStore::FinishAndSave(uint32_t id, uint32_t result, uint64_t now)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_jobs.find(id);
    if (found == m_jobs.end())
        return false;
    found->second.result = result;
    found->second.status = result == 0 ? CONCRETE_JOB_COMPLETED : CONCRETE_JOB_FAILED;
    found->second.timeOfLastStateChange = now;
    serializeLocked();
    return true;
}

void ConcreteJobStore::SerializeConcreteJobToPrefFile()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    serializeLocked();
}

void ConcreteJobStore::serializeLocked()
{
    Log::DebugPrint("Entering SerializeConcreteJobToPrefFile");
    FILE* jobFile = PrefOpenPreferenceFileWriteMode(kConcreteJobPrefFile);
    // The entries go to the default file, which the save writes only when
    // it exists: a host without one keeps no jobs across restarts.
    std::vector<PrefEntry> entries;
    for (const auto& entry : m_jobs)
        appendJobEntries(entry.second, entries);
    saveEntries(entries);
    PrefClosePreferenceFile(jobFile);
    Log::DebugPrint("Exiting  SerializeConcreteJobToPrefFile");
}

void ConcreteJobStore::DeserializeConcreteJobToPrefFile(uint64_t now, const char* fileName)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_jobs.clear();
    FILE* file = PrefOpenPreferenceFile(fileName);
    if (!file) {
        Log::LogError("PrefGetProperty: Failed to open preference file (%s).", fileName ? fileName : "");
        return;
    }
    // One working record for all lines: a field missing from a later
    // record keeps the earlier record's value.
    Concrete_Job job;
    char buffer[kPrefLineSize];
    while (fgets(buffer, sizeof buffer, file)) {
        Log::DebugPrint("DeserializeConcreteJobToPrefFile: rBuffer before trimming %s", buffer);
        const std::string line = Trim(buffer);
        Log::DebugPrint("DeserializeConcreteJobToPrefFile: rBuffer after trimming %s", line.c_str());
        if (line.empty())
            continue;
        SavedEntry entry;
        if (!parseSavedEntry(line, entry)) {
            Log::LogError("PrefGetProperty: Failed to read preference file line.");
            break;
        }
        if (entry.field == "ID")
            scanNumber(entry.id, job.jobId);
        else if (entry.field == "DESC")
            job.description = entry.value;
        else if (entry.field == "TOLSC")
            scanNumber(entry.value, job.timeOfLastStateChange);
        else if (entry.field == "STATUS")
            scanNumber(entry.value, job.status);
        else if (entry.field == "RESULT")
            scanNumber(entry.value, job.result);
        else if (entry.field == "END" &&
                 !(now > job.timeOfLastStateChange && now - job.timeOfLastStateChange > kConcreteJobReloadAge))
            m_jobs.emplace(job.jobId, job);
    }
    if (ferror(file))
        Log::LogError("PrefGetProperty: Failed to read preference file.");
    PrefClosePreferenceFile(file);
}

void RegisterConcreteJobStore(ConcreteJobStore* store)
{
    g_concreteJobStore.store(store, std::memory_order_release);
}

ConcreteJobStore* RegisteredConcreteJobStore() { return registeredStore(); }

// ---- class "Veltra_Adapter_ConcreteJob2" ----

namespace {

const char* kConcreteJobKeys[] = {"InstanceID", nullptr};

// Copies of the registered table's jobs, ascending id; none without a table.
std::vector<Concrete_Job> registeredJobs()
{
    ConcreteJobStore* store = registeredStore();
    return store ? store->Jobs() : std::vector<Concrete_Job>();
}


CmpiObjectPath makePath_ConcreteJob(const char* nameSpace, const char* className, uint32_t id,
                                    const Concrete_Job&)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", idText(id).c_str()}});
}

CmpiInstance makeInstance_ConcreteJob(const char* nameSpace, const char*, const char** properties,
                                      uint32_t id, const Concrete_Job& job)
{
    std::string sInstanceID;
    Log::DebugPrint("makeInstance_ConcreteJob(): Before sInstanceID = %s", sInstanceID.c_str());
    sInstanceID = idText(id);
    CmpiInstance instance = MakeFilteredInstance(
        MakeKeyedPath(kConcreteJobClassName, nameSpace, {{"InstanceID", sInstanceID.c_str()}}), properties,
        kConcreteJobKeys);
    instance.setProperty("InstanceID", CmpiData(sInstanceID.c_str()));
    Log::DebugPrint("makeInstance_ConcreteJob(): After sInstanceID = %s", sInstanceID.c_str());
    instance.setProperty("Name", CmpiData(job.description.c_str()));
    Log::DebugPrint("makeInstance_ConcreteJob(): After Name = %s", job.description.c_str());
    const uint16_t state = ConcreteJobState(job.status);
    instance.setProperty("JobState", CmpiData(static_cast<CMPIUint16>(state)));
    Log::DebugPrint("makeInstance_ConcreteJob(): After State = %u", static_cast<unsigned>(state));
    instance.setProperty("TimeOfLastStateChange",
                         CmpiData(CmpiDateTime(static_cast<CMPIUint64>(job.timeOfLastStateChange), false)));
    Log::DebugPrint("makeInstance_ConcreteJob(): After TimeOfLastStateChange");
    instance.setProperty("TimeBeforeRemoval", CmpiData(CmpiDateTime(kTimeBeforeRemoval)));
    Log::DebugPrint("makeInstance_ConcreteJob(): After TimeBeforeRemoval");
    return instance;
}

CmpiStatus enumInstanceNames_ConcreteJob(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_ConcreteJob", cop, [&](const RequestClass& rc) {
        for (const Concrete_Job& job : registeredJobs())
            rslt.returnData(makePath_ConcreteJob(rc.nameSpace.c_str(), rc.className.c_str(), job.jobId, job));
    });
}

CmpiStatus enumInstances_ConcreteJob(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                     const char** properties)
{
    return RunEnumeration("enumInstances_ConcreteJob", cop, [&](const RequestClass& rc) {
        for (const Concrete_Job& job : registeredJobs())
            rslt.returnData(
                makeInstance_ConcreteJob(rc.nameSpace.c_str(), rc.className.c_str(), properties, job.jobId, job));
    });
}

CmpiStatus getInstance_ConcreteJob(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                   const char** properties, bool returnInstance)
{
    static const char* const who = "getInstance_ConcreteJob";
    Log::DebugPrint("Entering %s", who);
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", who, key, failure)) {
        // A read that worked but gave no string is a key of the wrong type.
        if (failure.rc() == CMPI_RC_OK)
            throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND);
        return failure;
    }
    unsigned id = 0;
    if (atou(key.c_str(), id) != 1) {
        Log::LogError("getInstance_ConcreteJob: Error invalid key InstanceID for ConcreteJob =%s!", key.c_str());
        throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, key.c_str());
    }
    Concrete_Job job;
    ConcreteJobStore* store = registeredStore();
    if (!store || !store->Find(id, job)) {
        Log::DebugPrint("getInstance_ConcreteJob - could not find the ConcreteJob with InstanceID = %u", id);
        throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, key.c_str());
    }
    if (!returnInstance)
        return CmpiStatus(CMPI_RC_OK);
    RequestClass rc;
    if (!GetRequestClass(cop, "getInstance_ComputerSystem", rc, failure))
        return CmpiStatus(CMPI_RC_ERR_NOT_FOUND);
    rslt.returnData(makeInstance_ConcreteJob(rc.nameSpace.c_str(), rc.className.c_str(), properties, id, job));
    Log::DebugPrint("Exiting  getInstance_ComputerSystem");
    return CmpiStatus(CMPI_RC_OK);
}

} // namespace

VELTRA_CLASS_FAMILY(ConcreteJob, "Veltra_Adapter_ConcreteJob2",
                    (ClassHandlers{enumInstanceNames_ConcreteJob, enumInstances_ConcreteJob, getInstance_ConcreteJob, nullptr, nullptr, nullptr}),
                    nullptr);
