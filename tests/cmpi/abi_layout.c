/* C half of the ABI test: the layout pins compiled as C, plus a variadic
   slot that the C++ half calls through the broker's function table. */
#include <stdarg.h>
#include <stdio.h>

#include "abi_calls.h"
#include "cmpi_layout_check.h"

char cmpi_c_last_message[128];

/* Formats the inserts the way a broker reads them back with va_arg. */
static CMPIString *c_get_message(const CMPIBroker *mb, const char *msgId,
                                 const char *defMsg, CMPIStatus *rc,
                                 CMPICount count, ...) {
  va_list ap;
  size_t used = 0;
  CMPICount i;
  (void)mb;
  used += (size_t)snprintf(cmpi_c_last_message, sizeof cmpi_c_last_message,
                           "%s|%s", msgId, defMsg);
  va_start(ap, count);
  for (i = 0; i < count && used < sizeof cmpi_c_last_message; i++) {
    int type = va_arg(ap, int);
    char *out = cmpi_c_last_message + used;
    size_t room = sizeof cmpi_c_last_message - used;
    switch (type) {
    case CMPI_sint32:
      used += (size_t)snprintf(out, room, "|%ld", va_arg(ap, long));
      break;
    case CMPI_uint64:
      used += (size_t)snprintf(out, room, "|%llu",
                               va_arg(ap, unsigned long long));
      break;
    case CMPI_real64:
      used += (size_t)snprintf(out, room, "|%.2f", va_arg(ap, double));
      break;
    case CMPI_boolean:
      used += (size_t)snprintf(out, room, "|%d", va_arg(ap, int));
      break;
    case CMPI_chars:
      used += (size_t)snprintf(out, room, "|%s", va_arg(ap, char *));
      break;
    default:
      used += (size_t)snprintf(out, room, "|?%d", type);
      break;
    }
  }
  va_end(ap);
  if (rc) {
    rc->rc = CMPI_RC_OK;
    rc->msg = NULL;
  }
  return NULL;
}

CMPIBrokerEncFT cmpi_c_enc_ft = {1,    NULL, NULL, NULL, NULL, NULL,
                                 NULL, NULL, NULL, NULL, NULL, NULL,
                                 NULL, NULL, c_get_message, NULL, NULL,
                                 NULL, NULL, NULL, NULL};
