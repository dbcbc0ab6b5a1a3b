// In-process CMPI object manager: loads a provider library with dlopen and drives it
// through its MI function tables as a real object manager does.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cim_value.h"
#include "class_repository.h"
#include "cmpift.h"

namespace vcim {

struct BrokerOptions {
    std::string providerLibrary;                      // path of the provider .so
    std::string providerName = "Veltra_Adapter_Provider";  // <Name>_Create_<Type>MI
    std::string mofDir;                               // class declarations (*.mof)
    std::string nameSpace = "veltra/cimv2";
    bool strict = true;  // check returned instances and paths against their classes
    // Refuse, as an object manager does before a provider sees them, requests for a class
    // the MOF directory does not declare (INVALID_CLASS), a namespace the provider is not
    // registered for (INVALID_NAMESPACE), and keys the class does not declare as keys or
    // of another type (INVALID_PARAMETER). Needs mofDir. Tests that drive a provider with
    // classes it is not declared for turn it off.
    bool checkRequests = true;
    // Namespaces the provider is registered for. Empty: those that the sfcb registration
    // files (*.reg) in mofDir name for providerName, or nameSpace alone when none does.
    std::vector<std::string> namespaces;
};

// How the thread service (CMPIBrokerExtFT newThread) treats the threads a provider creates
// next, as a loaded or exhausted object manager may: refused (newThread returns NULL) or
// started late (the new thread sleeps before its start routine runs).
struct ThreadFaults {
    unsigned refuse = 0;        // the next `refuse` newThread calls fail
    unsigned startDelayMs = 0;  // each thread created while set starts this much later
};

struct MethodResult {
    Value returnValue;
    std::vector<Property> out;  // output arguments in the order the provider added them
};

// A property list as a client sends it: absent (all properties) or a list of names.
using PropertyList = std::vector<std::string>;

class Broker {
public:
    explicit Broker(BrokerOptions options);
    ~Broker();  // unloads (cleanup with terminating) if still loaded
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;

    // Reads the MOF directory, dlopens the library and calls the instance factory, then
    // the method factory (association, indication and property ones if exported), all
    // with one context.
    Status load();
    // Calls cleanup on each MI; honours CMPI_RC_DO_NOT_UNLOAD / CMPI_RC_NEVER_UNLOAD when
    // not terminating (the library stays loaded and that status is returned).
    Status unload(bool terminating = true);
    bool loaded() const;

    const ClassRepository& classes() const;
    const BrokerOptions& options() const;
    // The namespaces requests are accepted for (known once loaded).
    std::vector<std::string> namespaces() const;

    // Requests; each may be called from several threads at once. A null property list
    // means all properties. op's namespace defaults to the broker's.
    Status enumInstanceNames(const ObjectPath& classPath, std::vector<ObjectPath>& out);
    Status enumInstances(const ObjectPath& classPath, const PropertyList* props,
                         std::vector<Instance>& out);
    Status getInstance(const ObjectPath& path, const PropertyList* props, Instance& out);
    Status modifyInstance(const ObjectPath& path, const Instance& inst, const PropertyList* props);
    Status createInstance(const ObjectPath& path, const Instance& inst, ObjectPath& out);
    Status deleteInstance(const ObjectPath& path);
    // Untyped (string) arguments are converted to the declared parameter types.
    Status invokeMethod(const ObjectPath& path, const std::string& method,
                        const std::vector<Property>& in, MethodResult& out);
    // Association requests go to the association MI; without one, NOT_SUPPORTED.
    Status associatorNames(const ObjectPath& path, std::vector<ObjectPath>& out);
    Status referenceNames(const ObjectPath& path, std::vector<ObjectPath>& out);

    // The thread service has no broker argument, so its faults hold for every Broker of
    // the process. threadFaults() shows what is left (refusals not yet used).
    static void setThreadFaults(const ThreadFaults& faults);
    static ThreadFaults threadFaults();

    // Raw CMPI access for tests that drive the MI tables themselves.
    const CMPIBroker* cmpiBroker() const;
    CMPIInstanceMI* instanceMI() const;
    CMPIMethodMI* methodMI() const;
    // A new request context (released with releaseContext).
    CMPIContext* newContext() const;
    void releaseContext(CMPIContext* ctx) const;
    // What the provider wrote through logMessage and trace ("log <severity> <id>: text").
    std::vector<std::string> loggedMessages() const;

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace vcim
