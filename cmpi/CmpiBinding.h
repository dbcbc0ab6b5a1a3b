// The whole C++ provider binding in one include.
#pragma once

#include "CmpiValueClasses.h"
#include "CmpiProviderBase.h"
#include "CmpiBaseMI.h"
#include "CmpiInstanceMI.h"
#include "CmpiMethodMI.h"
#include "CmpiAssociationMI.h"
#include "CmpiPropertyMI.h"
#include "CmpiIndicationMI.h"
