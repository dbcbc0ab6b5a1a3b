/* The headers compiled at CMPI level 1.0: the 2.0-only members vanish and
   the layout pins stay silent. */
#define CMPI_VERSION 100

#include <string.h>

#include "abi_calls.h"
#include "cmpi_layout_check.h"
#include "cmpimacs.h"

int cmpi_v100_current_version(void) { return CMPICurrentVersion; }

int cmpi_v100_has_level_86(void) {
#ifdef CMPI_VER_86
  return 1;
#else
  return 0;
#endif
}

size_t cmpi_v100_size(const char *type) {
  static const struct {
    const char *name;
    size_t size;
  } sizes[] = {
      {"CMPIBroker", sizeof(CMPIBroker)},
      {"CMPIBrokerEncFT", sizeof(CMPIBrokerEncFT)},
      {"CMPIResultFT", sizeof(CMPIResultFT)},
      {"CMPIInstanceFT", sizeof(CMPIInstanceFT)},
      {"CMPIPropertyMIFT", sizeof(CMPIPropertyMIFT)},
      {"CMPIIndicationMIFT", sizeof(CMPIIndicationMIFT)},
  };
  size_t i;
  for (i = 0; i < sizeof sizes / sizeof sizes[0]; i++)
    if (strcmp(sizes[i].name, type) == 0)
      return sizes[i].size;
  return 0;
}
