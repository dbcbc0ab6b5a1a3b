// Concrete jobs: the record of a long operation started by a method (today
// an asynchronous firmware update), the provider's job table with its
// saved form, and the class family of "Veltra_Adapter_ConcreteJob2" that
// publishes the jobs read-only.
#pragma once


#include "CmpiContext.h"
#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

struct _tagVTAPISDMDevice;

constexpr const char* kConcreteJobClassName = "Veltra_Adapter_ConcreteJob2";
// The file the job save empties and the reload reads; the entries
// themselves go to the default preference file "eswitch.config".
constexpr const char* kConcreteJobPrefFile = "vltr_adapter_provider.config";
// Ids are drawn from 0 to kConcreteJobIdLimit - 1.
constexpr uint32_t kConcreteJobIdLimit = 65535;
// A reloaded job whose last change is older than this (microseconds) is dropped.
constexpr uint64_t kConcreteJobReloadAge = 3599999999ULL;

enum ConcreteJobStatus : uint32_t {
    CONCRETE_JOB_RUNNING = 0,
    CONCRETE_JOB_FAILED = 1,
    CONCRETE_JOB_COMPLETED = 2,
};

// Which worker a job was made for.
enum ConcreteJobKind : uint32_t {
    CONCRETE_JOB_NIC = 0,
    CONCRETE_JOB_FC = 1,
    CONCRETE_JOB_ISCSI = 2,
};

// One job. A value type: copies are deep except `device`, a handle of the
// adapter library that the job never owns. Only the id, description, time
// of last state change, status and result are saved and published.
struct Concrete_Job {
    uint32_t jobId = 0;
    std::string description;           // published as "Name"; saved as DESC
    uint64_t timeOfLastStateChange = 0; // CIM date-time, microseconds since the epoch
    pthread_t workerThread = static_cast<pthread_t>(-1); // -1 until created
    uint32_t status = CONCRETE_JOB_RUNNING;
    uint32_t result = 0;               // the library call's return code
    uint32_t kind = CONCRETE_JOB_NIC;
    uint32_t adapterIndex = 0;         // NIC updates
    std::string imageFile;             // staged firmware image
    _tagVTAPISDMDevice* device = nullptr; // FC updates
    uint32_t deviceInstance = 0;       // iSCSI updates
    uint32_t updateOption = 0;
    std::string adapterKey;            // adapter serial number
};

// "JobState" of a status: 10 failed, 7 completed, 4 (running) otherwise.
uint16_t ConcreteJobState(uint32_t status);

// The broker's current date-time in microseconds. Needs a broker: a worker
// thread attaches to it first. Throws the binding's status when none exists.
uint64_t ConcreteJobCurrentTime();

// Writes the six saved entries of one job ("<id>#ID", "#DESC", "#TOLSC",
// "#STATUS", "#RESULT", "#END" = "1") into the default preference file.
void SaveConcreteJobInfo(const Concrete_Job& job);

// The job table (`m_concreteJobs` of the provider): job id to job, in
// ascending id order. One mutex guards the table and its save, so request
// threads and worker threads may call every member at any time.
class ConcreteJobStore {
public:
    ConcreteJobStore() = default;
    ConcreteJobStore(const ConcreteJobStore&) = delete;
    ConcreteJobStore& operator=(const ConcreteJobStore&) = delete;

    // Draws rand() % 65535 until the number is no job's id; false, without
    // drawing, when every id below 65535 is taken.
    bool PickNextJobId(uint32_t& id);

    // Inserts a copy under the job's id; false (the table unchanged) when
    // the id is taken.
    bool Add(const Concrete_Job& job);
    // Inserts or replaces the job under its id.
    void Store(const Concrete_Job& job);
    bool Find(uint32_t id, Concrete_Job& out) const;
    bool Remove(uint32_t id);
    void Clear();
    size_t Size() const;
    // Copies of all jobs, ascending id.
    std::vector<Concrete_Job> Jobs() const;

    // Add, then save all jobs, in one hold of the lock (a job's start).
    bool AddAndSave(const Concrete_Job& job);
    // Records a job's outcome (status completed for result 0, else failed),
    // stamps `now` as its last state change and saves all jobs, in one hold
    // of the lock (a worker's end). False when no job has the id.
    bool FinishAndSave(uint32_t id, uint32_t result, uint64_t now);

    // Empties "vltr_adapter_provider.config" and writes every job's entries
    // with SaveConcreteJobInfo, ascending id; they are saved only when the
    // default preference file exists (the save never creates it).
    void SerializeConcreteJobToPrefFile();
    // Rebuilds the table from the saved entries of `fileName` in the
    // preference directory; jobs last changed more than an hour before
    // `now` are dropped, and an id met twice keeps its first job.
    void DeserializeConcreteJobToPrefFile(uint64_t now, const char* fileName = kConcreteJobPrefFile);

private:
    void serializeLocked();

    mutable std::mutex m_mutex;
    std::map<uint32_t, Concrete_Job> m_jobs;
};

// The table the class family publishes: the provider registers its
// `m_concreteJobs` when it is constructed and clears the registration
// (null) when it is destroyed. Without one the class has no instances.
void RegisterConcreteJobStore(ConcreteJobStore* store);
ConcreteJobStore* RegisteredConcreteJobStore();

// The class "Veltra_Adapter_ConcreteJob2" (key "InstanceID" = id as "%u")
// publishes this table; its family lives in Concrete_Job.cpp.
