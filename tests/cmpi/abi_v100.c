/* The headers compiled at CMPI level 1.0: the 2.0-only members vanish, the
   layout pins stay silent, and the tables take their 1.0 sizes. */
#define CMPI_VERSION 100

#include "cmpi_layout_check.h"
#include "cmpimacs.h"

#ifndef CMPI_VER_86
#error "a level-1.0 build keeps the indication MI's enable/disable members"
#endif
_Static_assert(CMPICurrentVersion == 100, "CMPICurrentVersion at level 1.0");
_Static_assert(sizeof(CMPIBroker) == 32, "CMPIBroker without mft");
_Static_assert(sizeof(CMPIBrokerEncFT) == 136, "CMPIBrokerEncFT at 1.0");
_Static_assert(sizeof(CMPIResultFT) == 56, "CMPIResultFT at 1.0");
_Static_assert(sizeof(CMPIInstanceFT) == 80, "CMPIInstanceFT at 1.0");
_Static_assert(sizeof(CMPIPropertyMIFT) == 40, "CMPIPropertyMIFT at 1.0");
_Static_assert(sizeof(CMPIIndicationMIFT) == 72, "CMPIIndicationMIFT at 1.0");
