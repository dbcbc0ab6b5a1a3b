/* C half of the ABI test: the layout pins compiled as C, plus slots that
   the C++ half calls through the function tables. */
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "abi_calls.h"
#include "cmpi_layout_check.h"

CMPIData cmpi_c_last_data;
char cmpi_c_last_message[128];

static CMPIData c_get_element_at(const CMPIArray *ar, CMPICount index,
                                 CMPIStatus *rc) {
  CMPIData d;
  memset(&d, 0, sizeof d);
  d.type = CMPI_uint64;
  d.state = CMPI_keyValue;
  d.value.uint64 = 0x1122334455667700ULL + index;
  if (rc) {
    rc->rc = CMPI_RC_ERR_NOT_FOUND;
    rc->msg = (CMPIString *)ar; /* echo: proves the first argument arrived */
  }
  return d;
}

static CMPICount c_get_size(const CMPIArray *ar, CMPIStatus *rc) {
  (void)ar;
  (void)rc;
  return 0xDEADBEEFu;
}

static CMPIStatus c_set_property(CMPIPropertyMI *mi, const CMPIContext *ctx,
                                 const CMPIResult *rslt,
                                 const CMPIObjectPath *op, const char *name,
                                 const CMPIData data) {
  CMPIStatus st;
  (void)mi;
  (void)ctx;
  (void)rslt;
  (void)op;
  cmpi_c_last_data = data;
  st.rc = strcmp(name, "Speed") == 0 ? CMPI_RC_ERR_TYPE_MISMATCH
                                     : CMPI_RC_ERR_FAILED;
  st.msg = (CMPIString *)(void *)0x5150;
  return st;
}

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

CMPIArrayFT cmpi_c_array_ft = {1, NULL, NULL, c_get_size, NULL,
                               c_get_element_at, NULL};

CMPIPropertyMIFT cmpi_c_property_mi_ft = {
    CMPICurrentVersion, CMPICurrentVersion, "propertyC", NULL, c_set_property,
    NULL, NULL};

CMPIBrokerEncFT cmpi_c_enc_ft = {1,    NULL, NULL, NULL, NULL, NULL,
                                 NULL, NULL, NULL, NULL, NULL, NULL,
                                 NULL, NULL, c_get_message, NULL, NULL,
                                 NULL, NULL, NULL, NULL};

#define C_CHECK(cond)                                                         \
  do {                                                                        \
    if (!(cond))                                                              \
      return __LINE__;                                                        \
  } while (0)

int cmpi_c_call_context_ft(const CMPIContext *ctx) {
  CMPIStatus rc = {CMPI_RC_OK, NULL};
  CMPIValue v;
  CMPIData d = ctx->ft->getEntry(ctx, "CMPIInvocationFlags", &rc);
  C_CHECK(rc.rc == CMPI_RC_ERR_NO_SUCH_PROPERTY);
  C_CHECK(rc.msg == (CMPIString *)(void *)ctx);
  C_CHECK(d.type == CMPI_uint32 && d.state == CMPI_goodValue);
  C_CHECK(d.value.uint32 == CMPI_FLAG_DeepInheritance);

  v.uint64 = 0;
  v.sint64 = -5;
  rc = ctx->ft->addEntry(ctx, "CMPIRole", &v, CMPI_sint64);
  C_CHECK(rc.rc == CMPI_RC_ERR_INVALID_DATA_TYPE);
  C_CHECK(ctx->ft->getEntryCount(ctx, NULL) == 7u);
  return 0;
}
