// Completes every value class of the binding. Each binding header includes this
// after its own class definition, so any one of them gives the whole set.
#pragma once
#include "CmpiStatus.h"
#include "CmpiString.h"
#include "CmpiObject.h"
#include "CmpiData.h"
#include "CmpiArray.h"
#include "CmpiDateTime.h"
#include "CmpiObjectPath.h"
#include "CmpiInstance.h"
#include "CmpiArgs.h"
#include "CmpiContext.h"
#include "CmpiResult.h"
#include "CmpiEnumeration.h"
#include "CmpiSelectExp.h"
#include "CmpiBroker.h"
