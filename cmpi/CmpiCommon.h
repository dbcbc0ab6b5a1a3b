// Shared declarations of the C++ provider binding: the C headers, the two
// historical type aliases and forward declarations of every wrapper class.
#pragma once

#include "cmpidt.h"
#include "cmpift.h"

#ifndef CmpiBoolean
#define CmpiBoolean CMPIBoolean
#endif
#ifndef CmpiRc
#define CmpiRc CMPIrc
#endif

class CmpiObject;
class CmpiString;
class CmpiStatus;
class CmpiData;
class CmpiBooleanData;
class CmpiCharData;
class CmpiArray;
class CmpiArrayIdx;
class CmpiDateTime;
class CmpiObjectPath;
class CmpiInstance;
class CmpiArgs;
class CmpiContext;
class CmpiResult;
class CmpiEnumeration;
class CmpiSelectExp;
class CmpiBroker;
class CmpiProviderBase;
class CmpiBaseMI;
class CmpiInstanceMI;
class CmpiMethodMI;
class CmpiAssociationMI;
class CmpiPropertyMI;
class CmpiIndicationMI;
struct CmpiImplAccess;  // private helpers of the implementation file

// The wrappers keep their C handles and constructors from raw handles hidden
// from provider code; the binding's implementation reaches them through this
// one friend.
#define CMPI_BINDING_FRIENDS friend struct CmpiImplAccess;
