// CmpiBroker: wrapper of the CMPIBroker handed to the provider's factory.
// Up-calls go through its bft; the OS services (threads, mutexes, conditions)
// through its xft. A service the broker does not provide (NULL table or slot)
// throws CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED) without calling anything.
#pragma once

#include <time.h>

#include "CmpiObject.h"

class CmpiBroker : public CmpiObject {
    CMPI_BINDING_FRIENDS
public:
    typedef CMPI_THREAD_RETURN(CMPI_THREAD_CDECL* ThreadStart)(void*);

    CmpiBroker(const CMPIBroker* mb) : CmpiObject(mb) {}
    CMPIBroker* getEnc() const { return static_cast<CMPIBroker*>(enc); }

    // Thread attachment: prepare on a request thread, attach and detach on the
    // new one (detach also releases the prepared context).
    CmpiContext prepareAttachThread(const CmpiContext& ctx) const;
    void attachThread(const CmpiContext& ctx) const;
    void detachThread(const CmpiContext& ctx) const;

    void deliverIndication(const CmpiContext& ctx, const char* ns,
                           const CmpiInstance& inst) const;
    CmpiEnumeration enumInstanceNames(const CmpiContext& ctx, const CmpiObjectPath& cop) const;
    CmpiInstance getInstance(const CmpiContext& ctx, const CmpiObjectPath& cop,
                             const char** properties) const;
    CmpiObjectPath createInstance(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                  const CmpiInstance& inst) const;
    void setInstance(const CmpiContext& ctx, const CmpiObjectPath& cop, const CmpiInstance& inst,
                     const char** properties) const;
    void deleteInstance(const CmpiContext& ctx, const CmpiObjectPath& cop) const;
    CmpiEnumeration enumInstances(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                  const char** properties) const;

    // Not provided by this binding: each throws CMPI_RC_ERR_NOT_SUPPORTED.
    CmpiEnumeration execQuery(const CmpiContext& ctx, const CmpiObjectPath& cop,
                              const char* query, const char* language) const;
    CmpiEnumeration associators(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                const char* assocClass, const char* resultClass,
                                const char* role, const char* resultRole,
                                const char** properties) const;
    CmpiEnumeration associatorNames(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                    const char* assocClass, const char* resultClass,
                                    const char* role, const char* resultRole) const;
    CmpiEnumeration references(const CmpiContext& ctx, const CmpiObjectPath& cop,
                               const char* resultClass, const char* role,
                               const char** properties) const;
    CmpiEnumeration referenceNames(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                   const char* resultClass, const char* role) const;
    CmpiData invokeMethod(const CmpiContext& ctx, const CmpiObjectPath& cop,
                          const char* methName, const CmpiArgs& in, CmpiArgs& out) const;
    void setProperty(const CmpiContext& ctx, const CmpiObjectPath& cop, const char* name,
                     const CmpiData& data) const;
    CmpiData getProperty(const CmpiContext& ctx, const CmpiObjectPath& cop,
                         const char* name) const;

    // OS services of the broker extension (pthread semantics).
    char* resolveFileName(const char* filename) const;  // free() the result
    CMPI_THREAD_TYPE newThread(ThreadStart start, void* parm, int detached) const;
    int joinThread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN* retval) const;
    int exitThread(CMPI_THREAD_RETURN returnCode) const;
    int cancelThread(CMPI_THREAD_TYPE thread) const;
    int threadSleep(CMPIUint32 msec) const;
    int threadOnce(int* once, void (*init)(void)) const;
    int createThreadKey(CMPI_THREAD_KEY_TYPE* key, void (*cleanup)(void*)) const;
    int destroyThreadKey(CMPI_THREAD_KEY_TYPE key) const;
    void* getThreadSpecific(CMPI_THREAD_KEY_TYPE key) const;
    int setThreadSpecific(CMPI_THREAD_KEY_TYPE key, void* value) const;
    CMPI_MUTEX_TYPE newMutex(int opt) const;
    void destroyMutex(CMPI_MUTEX_TYPE mutex) const;
    void lockMutex(CMPI_MUTEX_TYPE mutex) const;
    void unlockMutex(CMPI_MUTEX_TYPE mutex) const;
    CMPI_COND_TYPE newCondition(int opt) const;
    void destroyCondition(CMPI_COND_TYPE cond) const;
    int condWait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex) const;
    int timedCondWait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex, struct timespec* wait) const;
    int signalCondition(CMPI_COND_TYPE cond) const;
};

#include "CmpiValueClasses.h"
