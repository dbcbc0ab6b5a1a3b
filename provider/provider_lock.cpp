#include "provider_lock.h"

#include "veltra_nic_utils.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace {

[[noreturn]] void creationFailed(int error, const char* name)
{
    Veltra_NIC_Utils::LogError("Error %d Initializing %s mutex", error, name);
    exit(1);
}

} // namespace

void VeltraMutex::create(const char* name)
{
    if (m_created)
        return;
    const int error = pthread_mutex_init(&m_mutex, nullptr);
    if (error != 0)
        creationFailed(error, name);
    m_created = true;
}

void VeltraMutex::destroy()
{
    if (m_created)
        pthread_mutex_destroy(&m_mutex);
    m_created = false;
}

void VeltraMutex::lock()
{
    while (pthread_mutex_lock(&m_mutex) != 0) {
    }
}

void VeltraMutex::unlock() { pthread_mutex_unlock(&m_mutex); }

void VeltraCondition::create(const char* name)
{
    if (m_created)
        return;
    pthread_condattr_t attributes;
    int error = pthread_condattr_init(&attributes);
    if (error == 0) {
        // Bounded waits must not stretch or shrink when the wall clock is set.
        error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        if (error == 0)
            error = pthread_cond_init(&m_cond, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    if (error != 0)
        creationFailed(error, name);
    m_created = true;
}

void VeltraCondition::destroy()
{
    if (m_created)
        pthread_cond_destroy(&m_cond);
    m_created = false;
}

void VeltraCondition::waitFor(VeltraMutex& mutex, unsigned seconds)
{
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += seconds;
    pthread_cond_timedwait(&m_cond, mutex.native(), &deadline);
}

void VeltraCondition::wait(VeltraMutex& mutex) { pthread_cond_wait(&m_cond, mutex.native()); }

void VeltraCondition::signalAll() { pthread_cond_broadcast(&m_cond); }

void VeltraLock::create(const char* name)
{
    m_state.create(name);
    m_released.create(name);
    m_held = false;
}

void VeltraLock::destroy()
{
    m_released.destroy();
    m_state.destroy();
}

void VeltraLock::lock()
{
    ScopedLock<VeltraMutex> state(m_state);
    while (m_held)
        m_released.wait(m_state);
    m_held = true;
}

void VeltraLock::unlock()
{
    ScopedLock<VeltraMutex> state(m_state);
    m_held = false;
    m_released.signalAll();
}

bool VeltraLock::isHeld()
{
    ScopedLock<VeltraMutex> state(m_state);
    return m_held;
}
