// The library's only exports: the instance and method provider factories.
// Both give the one provider object; the first call creates and initialises
// it, the second only adds a use.
#include "Veltra_Adapter_Provider.h"

#include "CmpiProviderBase.h"
#include "cmpimacs.h"

CMProviderBase(Veltra_Adapter_Provider)

CMInstanceMIFactory(Veltra_Adapter_Provider, Veltra_Adapter_Provider)

CMMethodMIFactory(Veltra_Adapter_Provider, Veltra_Adapter_Provider)
