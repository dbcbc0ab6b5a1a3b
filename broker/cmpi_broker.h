// The object manager behind a CMPIBroker handle: its state and the requests that both the
// public Broker calls and the provider's up-calls go through.
#pragma once

#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "broker.h"
#include "cmpi_objects.h"

namespace vcim {

struct Broker::Impl {
    explicit Impl(BrokerOptions o);

    BrokerOptions opt;
    ClassRepository repo;
    bool repoLoaded = false;
    std::vector<std::string> namespaces;  // the provider is registered for (set by load)
    CMPIBroker cmpi{};  // hdl points back here

    // Requests hold it shared, load and unload exclusively. Up-calls from the provider do
    // not take it (they run inside a request or on the provider's own threads).
    mutable std::shared_mutex life;
    void* lib = nullptr;
    CMPIInstanceMI* instMI = nullptr;
    CMPIAssociationMI* assocMI = nullptr;
    CMPIMethodMI* methodMI = nullptr;
    CMPIIndicationMI* indMI = nullptr;
    CMPIPropertyMI* propMI = nullptr;

    // What the provider logged or traced through the broker.
    mutable std::mutex logMutex;
    std::vector<std::string> messages;
    void log(const std::string& line);

    Status load();
    Status unload(bool terminating);

    // Requests (no lifecycle lock).
    Status enumInstanceNames(const ObjectPath& cp, std::vector<ObjectPath>& out);
    Status enumInstances(const ObjectPath& cp, const PropertyList* props, std::vector<Instance>& out);
    Status getInstance(const ObjectPath& op, const PropertyList* props, Instance& out);
    Status modifyInstance(const ObjectPath& op, const Instance& inst, const PropertyList* props);
    Status createInstance(const ObjectPath& op, const Instance& inst, ObjectPath& out);
    Status deleteInstance(const ObjectPath& op);
    Status invokeMethod(const ObjectPath& op, const std::string& method, const std::vector<Property>& in,
                        MethodResult& out);
    Status associatorNames(const ObjectPath& op, std::vector<ObjectPath>& out);
    Status referenceNames(const ObjectPath& op, std::vector<ObjectPath>& out);

    // What an object manager refuses before the provider sees a request on op (see
    // BrokerOptions::checkRequests); OK when it may go on.
    Status admit(const ObjectPath& op) const;

    // A context as the object manager stamps one; untracked ones must be released.
    CMPIContext* newRequestContext(const std::string& principal = "root", bool tracked = false) const;
    // Untyped client arguments converted to the declared parameter types.
    Status typeArguments(const ObjectPath& op, const std::string& method, const std::vector<Property>& in,
                         std::vector<Property>& out) const;

    static Impl* of(const CMPIBroker* mb) { return mb ? static_cast<Impl*>(mb->hdl) : nullptr; }
};

namespace cmpi {
extern CMPIBrokerFT brokerFT;
extern CMPIBrokerEncFT encFT;
extern CMPIBrokerExtFT extFT;
extern CMPIBrokerMemFT memFT;
// Faults of the thread service (see Broker::setThreadFaults).
void setThreadFaults(const ThreadFaults& faults);
ThreadFaults threadFaults();
}  // namespace cmpi

}  // namespace vcim
