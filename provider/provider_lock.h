// Locks of the provider. Lock calls are retried until they succeed; a lock
// that cannot be created logs "Error %d Initializing <name> mutex" and ends
// the process with status 1, since the provider cannot serve without it.
// Every lock is held through ScopedLock.
#pragma once

#include <pthread.h>

// A plain mutex, created by create() and destroyed by destroy() (or the
// destructor), so that its owner decides when it exists.
class VeltraMutex {
public:
    VeltraMutex() = default;
    ~VeltraMutex() { destroy(); }
    VeltraMutex(const VeltraMutex&) = delete;
    VeltraMutex& operator=(const VeltraMutex&) = delete;

    // `name` is the text of the failure line ("provider_lock", ...).
    void create(const char* name);
    void destroy();
    bool created() const { return m_created; }
    void lock();
    void unlock();
    pthread_mutex_t* native() { return &m_mutex; }

private:
    pthread_mutex_t m_mutex{};
    bool m_created = false;
};

// A condition on a VeltraMutex with bounded waits (monotonic clock).
class VeltraCondition {
public:
    VeltraCondition() = default;
    ~VeltraCondition() { destroy(); }
    VeltraCondition(const VeltraCondition&) = delete;
    VeltraCondition& operator=(const VeltraCondition&) = delete;

    void create(const char* name);
    void destroy();
    // Waits at most `seconds` for a signal; `mutex` is held on entry and exit.
    // A wake-up may be spurious: callers re-check their state.
    void waitFor(VeltraMutex& mutex, unsigned seconds);
    void wait(VeltraMutex& mutex);
    void signalAll();

private:
    pthread_cond_t m_cond{};
    bool m_created = false;
};

// The request locks (provider_lock, provider_write_lock): a binary semaphore
// that blocks like a mutex, but may be released by another thread than the
// one that took it. The provider's start-up takes provider_lock and the
// polling thread releases it once the first inventory is built.
class VeltraLock {
public:
    VeltraLock() = default;
    VeltraLock(const VeltraLock&) = delete;
    VeltraLock& operator=(const VeltraLock&) = delete;

    void create(const char* name);
    void destroy();
    void lock();
    void unlock();
    // Whether some thread holds it now (for diagnostics and tests).
    bool isHeld();

private:
    VeltraMutex m_state;
    VeltraCondition m_released;
    bool m_held = false;
};

// Holds a lock for its scope; unlock() releases it early.
template <class Lock>
class ScopedLock {
public:
    explicit ScopedLock(Lock& lock) : m_lock(&lock) { lock.lock(); }
    // A null lock: nothing is held (for locks that only some callers take).
    explicit ScopedLock(Lock* lock) : m_lock(lock)
    {
        if (m_lock)
            m_lock->lock();
    }
    ~ScopedLock() { unlock(); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    void unlock()
    {
        if (m_lock) {
            m_lock->unlock();
            m_lock = nullptr;
        }
    }

private:
    Lock* m_lock;
};
