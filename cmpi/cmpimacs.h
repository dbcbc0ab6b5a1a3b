/*
 * CMPI 2.0 convenience macros: status helpers, "object->ft->slot(object,
 * ...)" shorthands, broker up-call shorthands, the C MI "Stub" macros and,
 * in C++, the factory macros of the provider binding.
 *
 * Differences from the historical macro set, kept deliberately:
 *  - CMGetCharPtr asks the string's function table instead of reading hdl,
 *    so it works with any broker, and yields NULL for a NULL string;
 *  - the Stub and Factory functions always write *rc and never let a C++
 *    exception escape into the broker.
 */
#ifndef _CMPIMACS_H_
#define _CMPIMACS_H_

#include "cmpidt.h"
#include "cmpift.h"

/* ------------------------------------------------------------------ */
/* Status                                                               */
/* ------------------------------------------------------------------ */

#define CMReturn(rcv)                                                         \
  do {                                                                        \
    CMPIStatus cmpi_stat_;                                                    \
    cmpi_stat_.rc = (CMPIrc)(rcv);                                             \
    cmpi_stat_.msg = NULL;                                                    \
    return cmpi_stat_;                                                        \
  } while (0)

#define CMReturnWithString(rcv, str)                                          \
  do {                                                                        \
    CMPIStatus cmpi_stat_;                                                    \
    cmpi_stat_.rc = (CMPIrc)(rcv);                                             \
    cmpi_stat_.msg = (str);                                                   \
    return cmpi_stat_;                                                        \
  } while (0)

#define CMReturnWithChars(b, rcv, chars)                                      \
  do {                                                                        \
    CMPIStatus cmpi_stat_;                                                    \
    cmpi_stat_.rc = (CMPIrc)(rcv);                                             \
    cmpi_stat_.msg = (b)->eft->newString((b), (chars), NULL);                 \
    return cmpi_stat_;                                                        \
  } while (0)

/* The status pointer is optional throughout CMPI, so NULL is accepted. */
#define CMSetStatus(st, rcp)                                                  \
  do {                                                                        \
    CMPIStatus *cmpi_st_ = (st);                                              \
    if (cmpi_st_) {                                                           \
      cmpi_st_->rc = (CMPIrc)(rcp);                                           \
      cmpi_st_->msg = NULL;                                                   \
    }                                                                         \
  } while (0)

#define CMSetStatusWithString(st, rcp, string)                                \
  do {                                                                        \
    CMPIStatus *cmpi_st_ = (st);                                              \
    if (cmpi_st_) {                                                           \
      cmpi_st_->rc = (CMPIrc)(rcp);                                           \
      cmpi_st_->msg = (string);                                               \
    }                                                                         \
  } while (0)

#define CMSetStatusWithChars(mb, st, rcp, chars)                              \
  do {                                                                        \
    CMPIStatus *cmpi_st_ = (st);                                              \
    if (cmpi_st_) {                                                           \
      cmpi_st_->rc = (CMPIrc)(rcp);                                           \
      cmpi_st_->msg = (mb)->eft->newString((mb), (chars), NULL);              \
    }                                                                         \
  } while (0)

/* ------------------------------------------------------------------ */
/* Generic object helpers                                               */
/* ------------------------------------------------------------------ */

#define CMIsNullObject(o) ((o) == NULL || *((void **)(o)) == NULL)
#define CMIsNullValue(v) (((v).state) & CMPI_nullValue)
#define CMIsKeyValue(v) (((v).state) & CMPI_keyValue)
#define CMIsArray(v) (((v).type) & CMPI_ARRAY)

#define CMRelease(o) ((o)->ft->release((o)))
#define CMClone(o, rc) ((o)->ft->clone((o), (rc)))

/* ------------------------------------------------------------------ */
/* Broker encapsulated-object services (eft)                            */
/* ------------------------------------------------------------------ */

#define CMNewInstance(b, c, rc) ((b)->eft->newInstance((b), (c), (rc)))
#define CMNewObjectPath(b, n, c, rc)                                          \
  ((b)->eft->newObjectPath((b), (n), (c), (rc)))
#define CMNewString(b, s, rc) ((b)->eft->newString((b), (s), (rc)))
#define CMNewArgs(b, rc) ((b)->eft->newArgs((b), (rc)))
#define CMNewArray(b, c, t, rc) ((b)->eft->newArray((b), (c), (t), (rc)))
#define CMNewDateTime(b, rc) ((b)->eft->newDateTime((b), (rc)))
#define CMNewDateTimeFromBinary(b, d, i, rc)                                  \
  ((b)->eft->newDateTimeFromBinary((b), (d), (i), (rc)))
#define CMNewDateTimeFromChars(b, d, rc)                                      \
  ((b)->eft->newDateTimeFromChars((b), (d), (rc)))
#define CMNewSelectExp(b, q, l, p, rc)                                        \
  ((b)->eft->newSelectExp((b), (q), (l), (p), (rc)))
#define CMClassPathIsA(b, p, pn, rc)                                          \
  ((b)->eft->classPathIsA((b), (p), (pn), (rc)))

#define CDToString(b, o, rc) ((b)->eft->toString((b), (void *)(o), (rc)))
#define CDIsOfType(b, o, t, rc)                                               \
  ((b)->eft->isOfType((b), (void *)(o), (t), (rc)))
#define CDGetType(b, o, rc) ((b)->eft->getType((b), (void *)(o), (rc)))

/* parms is a CMFmtArgsN(...) list: the count, then (type, value) pairs. */
#define CMGetMessage(b, id, def, rc, parms)                                   \
  ((b)->eft->getMessage((b), (id), (def), (rc), parms))
#define CMLogMessage(b, severity, id, text, string)                           \
  ((b)->eft->logMessage((b), (severity), (id), (text), (string)))
#define CMTraceMessage(b, level, component, text, string)                     \
  ((b)->eft->trace((b), (level), (component), (text), (string)))

#ifdef CMPI_VER_200
#define CMNewCMPIError(b, owner, msgID, msg, sev, pc, cimStatusCode, rc)      \
  ((b)->eft->newCMPIError((b), (owner), (msgID), (msg), (sev), (pc),          \
                          (cimStatusCode), (rc)))
#define CMOpenMessageFile(b, mf, mfh)                                         \
  ((b)->eft->openMessageFile((b), (mf), (mfh)))
#define CMCloseMessageFile(b, mfh) ((b)->eft->closeMessageFile((b), (mfh)))
#define CMGetMessage2(b, id, mfh, def, rc, parms)                             \
  ((b)->eft->getMessage2((b), (id), (mfh), (def), (rc), parms))
#endif

#ifdef CMPI_VER_85
/* Message inserts: the type code travels as int, the value widened as
   the broker reads it back through va_arg. */
#define CMFmtArgs0() 0
#define CMFmtArgs1(v1) 1, v1
#define CMFmtArgs2(v1, v2) 2, v1, v2
#define CMFmtArgs3(v1, v2, v3) 3, v1, v2, v3
#define CMFmtArgs4(v1, v2, v3, v4) 4, v1, v2, v3, v4
#define CMFmtArgs5(v1, v2, v3, v4, v5) 5, v1, v2, v3, v4, v5
#define CMFmtArgs6(v1, v2, v3, v4, v5, v6) 6, v1, v2, v3, v4, v5, v6
#define CMFmtArgs7(v1, v2, v3, v4, v5, v6, v7) 7, v1, v2, v3, v4, v5, v6, v7
#define CMFmtArgs8(v1, v2, v3, v4, v5, v6, v7, v8)                            \
  8, v1, v2, v3, v4, v5, v6, v7, v8
#define CMFmtArgs9(v1, v2, v3, v4, v5, v6, v7, v8, v9)                        \
  9, v1, v2, v3, v4, v5, v6, v7, v8, v9
#define CMFmtArgs10(v1, v2, v3, v4, v5, v6, v7, v8, v9, v10)                  \
  10, v1, v2, v3, v4, v5, v6, v7, v8, v9, v10

#define CMFmtSint(v) CMPI_sint32, ((long int)(v))
#define CMFmtUint(v) CMPI_uint32, ((unsigned long int)(v))
#define CMFmtSint64(v) CMPI_sint64, ((long long int)(v))
#define CMFmtUint64(v) CMPI_uint64, ((unsigned long long int)(v))
#define CMFmtReal(v) CMPI_real64, ((double)(v))
#define CMFmtBoolean(v) CMPI_boolean, ((int)(v))
#define CMFmtChars(v) CMPI_chars, ((char *)(v))
#define CMFmtString(v) CMPI_string, ((CMPIString *)(v))
#endif

/* ------------------------------------------------------------------ */
/* Instance                                                             */
/* ------------------------------------------------------------------ */

#define CMGetProperty(i, n, rc) ((i)->ft->getProperty((i), (n), (rc)))
#define CMGetPropertyAt(i, num, s, rc)                                        \
  ((i)->ft->getPropertyAt((i), (num), (s), (rc)))
#define CMSetProperty(i, n, v, t)                                             \
  ((i)->ft->setProperty((i), (n), (const CMPIValue *)(v), (t)))
#define CMGetPropertyCount(i, rc) ((i)->ft->getPropertyCount((i), (rc)))
#define CMGetObjectPath(i, rc) ((i)->ft->getObjectPath((i), (rc)))
#define CMSetObjectPath(i, op) ((i)->ft->setObjectPath((i), (op)))
#define CMSetPropertyFilter(i, pl, k)                                         \
  ((i)->ft->setPropertyFilter((i), (pl), (k)))
#ifdef CMPI_VER_200
#define CMSetPropertyWithOrigin(i, n, v, t, o)                                \
  ((i)->ft->setPropertyWithOrigin((i), (n), (const CMPIValue *)(v), (t), (o)))
#endif

/* ------------------------------------------------------------------ */
/* Object path                                                          */
/* ------------------------------------------------------------------ */

#define CMSetHostname(p, n) ((p)->ft->setHostname((p), (n)))
#define CMGetHostname(p, rc) ((p)->ft->getHostname((p), (rc)))
#define CMSetNameSpace(p, n) ((p)->ft->setNameSpace((p), (n)))
#define CMGetNameSpace(p, rc) ((p)->ft->getNameSpace((p), (rc)))
#define CMSetClassName(p, n) ((p)->ft->setClassName((p), (n)))
#define CMGetClassName(p, rc) ((p)->ft->getClassName((p), (rc)))
#define CMAddKey(p, n, v, t)                                                  \
  ((p)->ft->addKey((p), (n), (const CMPIValue *)(v), (t)))
#define CMGetKey(p, n, rc) ((p)->ft->getKey((p), (n), (rc)))
#define CMGetKeyAt(p, i, n, rc) ((p)->ft->getKeyAt((p), (i), (n), (rc)))
#define CMGetKeyCount(p, rc) ((p)->ft->getKeyCount((p), (rc)))
#define CMSetNameSpaceFromObjectPath(p, s)                                    \
  ((p)->ft->setNameSpaceFromObjectPath((p), (s)))
#define CMSetHostAndNameSpaceFromObjectPath(p, s)                             \
  ((p)->ft->setHostAndNameSpaceFromObjectPath((p), (s)))
#define CMObjectPathToString(p, rc) ((p)->ft->toString((p), (rc)))
#define CMGetClassQualifier(op, qName, rc)                                    \
  ((op)->ft->getClassQualifier((op), (qName), (rc)))
#define CMGetPropertyQualifier(op, pName, qName, rc)                          \
  ((op)->ft->getPropertyQualifier((op), (pName), (qName), (rc)))
#define CMGetMethodQualifier(op, methodName, qName, rc)                       \
  ((op)->ft->getMethodQualifier((op), (methodName), (qName), (rc)))
#define CMGetParameterQualifier(op, mName, pName, qName, rc)                  \
  ((op)->ft->getParameterQualifier((op), (mName), (pName), (qName), (rc)))

/* ------------------------------------------------------------------ */
/* Args, String, Array, Enumeration, Result, Context, DateTime          */
/* ------------------------------------------------------------------ */

#define CMAddArg(a, n, v, t)                                                  \
  ((a)->ft->addArg((a), (n), (const CMPIValue *)(v), (t)))
#define CMGetArg(a, n, rc) ((a)->ft->getArg((a), (n), (rc)))
#define CMGetArgAt(a, p, n, rc) ((a)->ft->getArgAt((a), (p), (n), (rc)))
#define CMGetArgCount(a, rc) ((a)->ft->getArgCount((a), (rc)))

/* Single evaluation of s, and NULL-safe: providers write
   CMGetCharPtr(CMGetClassName(op, NULL)) and the getter may fail. */
static inline char *cmpi_string_chars_(const CMPIString *s) {
  return (s && s->ft && s->ft->getCharPtr)
             ? (char *)s->ft->getCharPtr(s, NULL)
             : (char *)NULL;
}
#define CMGetCharPtr(s) cmpi_string_chars_(s)
#define CMGetCharsPtr(st, rc) ((st)->ft->getCharPtr((st), (rc)))

#define CMGetArrayCount(a, rc) ((a)->ft->getSize((a), (rc)))
#define CMGetArrayType(a, rc) ((a)->ft->getSimpleType((a), (rc)))
#define CMGetArrayElementAt(a, n, rc) ((a)->ft->getElementAt((a), (n), (rc)))
#define CMSetArrayElementAt(a, n, v, t)                                       \
  ((a)->ft->setElementAt((a), (n), (const CMPIValue *)(v), (t)))

#define CMGetNext(e, rc) ((e)->ft->getNext((e), (rc)))
#define CMHasNext(e, rc) ((e)->ft->hasNext((e), (rc)))
#define CMToArray(e, rc) ((e)->ft->toArray((e), (rc)))

#define CMReturnData(r, v, t)                                                 \
  ((r)->ft->returnData((r), (const CMPIValue *)(v), (t)))
#define CMReturnInstance(r, i) ((r)->ft->returnInstance((r), (i)))
#define CMReturnObjectPath(r, o) ((r)->ft->returnObjectPath((r), (o)))
#define CMReturnDone(r) ((r)->ft->returnDone((r)))
#ifdef CMPI_VER_200
#define CMReturnError(r, e) ((r)->ft->returnError((r), (e)))
#endif

#define CMGetContextEntry(c, n, rc) ((c)->ft->getEntry((c), (n), (rc)))
#define CMGetContextEntryAt(c, p, n, rc)                                      \
  ((c)->ft->getEntryAt((c), (p), (n), (rc)))
#define CMGetContextEntryCount(c, rc) ((c)->ft->getEntryCount((c), (rc)))
#define CMAddContextEntry(c, n, v, t)                                         \
  ((c)->ft->addEntry((c), (n), (const CMPIValue *)(v), (t)))

#define CMGetStringFormat(d, rc) ((d)->ft->getStringFormat((d), (rc)))
#define CMGetBinaryFormat(d, rc) ((d)->ft->getBinaryFormat((d), (rc)))
#define CMIsInterval(d, rc) ((d)->ft->isInterval((d), (rc)))

/* ------------------------------------------------------------------ */
/* Query: select expression, select condition, sub-condition, predicate */
/* ------------------------------------------------------------------ */

#define CMGetSelExpString(s, rc) ((s)->ft->getString((s), (rc)))
#define CMEvaluateSelExp(s, i, r) ((s)->ft->evaluate((s), (i), (r)))
#define CMEvaluateSelExpUsingAccessor(s, i, p, r)                             \
  ((s)->ft->evaluateUsingAccessor((s), (i), (p), (r)))
#define CMGetDoc(s, rc) ((s)->ft->getDOC((s), (rc)))
#define CMGetCod(s, rc) ((s)->ft->getCOD((s), (rc)))

#define CMGetSubCondCountAndType(c, t, rc)                                    \
  ((c)->ft->getCountAndType((c), (t), (rc)))
#define CMGetSubCondAt(c, p, rc) ((c)->ft->getSubCondAt((c), (p), (rc)))

#define CMGetPredicateCount(s, rc) ((s)->ft->getCount((s), (rc)))
#define CMGetPredicateAt(s, p, rc) ((s)->ft->getPredicateAt((s), (p), (rc)))
#define CMGetPredicate(s, n, rc) ((s)->ft->getPredicate((s), (n), (rc)))

#define CMGetPredicateData(p, t, o, n, v)                                     \
  ((p)->ft->getData((p), (t), (o), (n), (v)))
#define CMEvaluatePredicateUsingAccessor(p, a, parm, rc)                      \
  ((p)->ft->evaluateUsingAccessor((p), (a), (parm), (rc)))

/* ------------------------------------------------------------------ */
/* Extended error                                                       */
/* ------------------------------------------------------------------ */

#ifdef CMPI_VER_200
#define CMGetErrorType(e, rc) ((e)->ft->getErrorType((e), (rc)))
#define CMGetOtherErrorType(e, rc) ((e)->ft->getOtherErrorType((e), (rc)))
#define CMGetOwningEntity(e, rc) ((e)->ft->getOwningEntity((e), (rc)))
#define CMGetMessageID(e, rc) ((e)->ft->getMessageID((e), (rc)))
#define CMGetErrorMessage(e, rc) ((e)->ft->getMessage((e), (rc)))
#define CMGetPerceivedSeverity(e, rc)                                         \
  ((e)->ft->getPerceivedSeverity((e), (rc)))
#define CMGetProbableCause(e, rc) ((e)->ft->getProbableCause((e), (rc)))
#define CMGetProbableCauseDescription(e, rc)                                  \
  ((e)->ft->getProbableCauseDescription((e), (rc)))
#define CMGetRecommendedActions(e, rc)                                        \
  ((e)->ft->getRecommendedActions((e), (rc)))
#define CMGetErrorSource(e, rc) ((e)->ft->getErrorSource((e), (rc)))
#define CMGetErrorSourceFormat(e, rc)                                         \
  ((e)->ft->getErrorSourceFormat((e), (rc)))
#define CMGetOtherErrorSourceFormat(e, rc)                                    \
  ((e)->ft->getOtherErrorSourceFormat((e), (rc)))
#define CMGetCIMStatusCode(e, rc) ((e)->ft->getCIMStatusCode((e), (rc)))
#define CMGetCIMStatusCodeDescription(e, rc)                                  \
  ((e)->ft->getCIMStatusCodeDescription((e), (rc)))
#define CMGetMessageArguments(e, rc) ((e)->ft->getMessageArguments((e), (rc)))
#define CMSetErrorType(e, et) ((e)->ft->setErrorType((e), (et)))
#define CMSetOtherErrorType(e, ot) ((e)->ft->setOtherErrorType((e), (ot)))
#define CMSetProbableCauseDescription(e, pcd)                                 \
  ((e)->ft->setProbableCauseDescription((e), (pcd)))
#define CMSetRecommendedActions(e, ra)                                        \
  ((e)->ft->setRecommendedActions((e), (ra)))
#define CMSetErrorSource(e, es) ((e)->ft->setErrorSource((e), (es)))
#define CMSetErrorSourceFormat(e, esf)                                        \
  ((e)->ft->setErrorSourceFormat((e), (esf)))
#define CMSetOtherErrorSourceFormat(e, oesf)                                  \
  ((e)->ft->setOtherErrorSourceFormat((e), (oesf)))
#define CMSetCIMStatusCodeDescription(e, cd)                                  \
  ((e)->ft->setCIMStatusCodeDescription((e), (cd)))
#define CMSetMessageArguments(e, ma) ((e)->ft->setMessageArguments((e), (ma)))
#endif

/* ------------------------------------------------------------------ */
/* Broker up-calls (bft)                                                */
/* ------------------------------------------------------------------ */

#define CBGetBrokerCapabilities(b) ((b)->bft->brokerCapabilities)
#define CBGetClassification(b) ((b)->bft->brokerCapabilities)
#define CBBrokerVersion(b) ((b)->bft->brokerVersion)
#define CBBrokerName(b) ((b)->bft->brokerName)

#define CBPrepareAttachThread(b, c) ((b)->bft->prepareAttachThread((b), (c)))
#define CBAttachThread(b, c) ((b)->bft->attachThread((b), (c)))
#define CBDetachThread(b, c) ((b)->bft->detachThread((b), (c)))
#define CBDeliverIndication(b, c, n, i)                                       \
  ((b)->bft->deliverIndication((b), (c), (n), (i)))

#define CBEnumInstanceNames(b, c, p, rc)                                      \
  ((b)->bft->enumerateInstanceNames((b), (c), (p), (rc)))
#define CBEnumInstances(b, c, p, pr, rc)                                      \
  ((b)->bft->enumerateInstances((b), (c), (p), (pr), (rc)))
#define CBGetInstance(b, c, p, pr, rc)                                        \
  ((b)->bft->getInstance((b), (c), (p), (pr), (rc)))
#define CBCreateInstance(b, c, p, i, rc)                                      \
  ((b)->bft->createInstance((b), (c), (p), (i), (rc)))
#define CBModifyInstance(b, c, p, i, pr)                                      \
  ((b)->bft->modifyInstance((b), (c), (p), (i), (pr)))
#define CBDeleteInstance(b, c, p) ((b)->bft->deleteInstance((b), (c), (p)))
#define CBExecQuery(b, c, p, q, l, rc)                                        \
  ((b)->bft->execQuery((b), (c), (p), (q), (l), (rc)))
#define CBAssociators(b, c, p, acl, rcl, r, rr, pr, rc)                       \
  ((b)->bft->associators((b), (c), (p), (acl), (rcl), (r), (rr), (pr), (rc)))
#define CBAssociatorNames(b, c, p, acl, rcl, r, rr, rc)                       \
  ((b)->bft->associatorNames((b), (c), (p), (acl), (rcl), (r), (rr), (rc)))
#define CBReferences(b, c, p, acl, r, pr, rc)                                 \
  ((b)->bft->references((b), (c), (p), (acl), (r), (pr), (rc)))
#define CBReferenceNames(b, c, p, acl, r, rc)                                 \
  ((b)->bft->referenceNames((b), (c), (p), (acl), (r), (rc)))
#define CBInvokeMethod(b, c, p, m, ai, ao, rc)                                \
  ((b)->bft->invokeMethod((b), (c), (p), (m), (ai), (ao), (rc)))
#define CBSetProperty(b, c, p, n, v, t)                                       \
  ((b)->bft->setProperty((b), (c), (p), (n), (const CMPIValue *)(v), (t)))
#define CBGetProperty(b, c, p, n, rc)                                         \
  ((b)->bft->getProperty((b), (c), (p), (n), (rc)))

/* ------------------------------------------------------------------ */
/* C MI stubs                                                           */
/*                                                                      */
/* CMInstanceMIStub(pfx, pn, broker, hook) builds a static function     */
/* table from pfx##Cleanup, pfx##EnumInstanceNames, ... and defines     */
/* pn##_Create_InstanceMI, which stores the broker in the variable      */
/* named by `broker`, runs `hook` and returns a static MI record.       */
/* The hook may use the factory's parameters brkr, ctx and rc. *rc is  */
/* OK on entry to the hook (even when the broker passed NULL); a hook   */
/* fails the factory by setting a non-OK code there, and the factory    */
/* then returns NULL. In C++ an exception from the hook gives           */
/* CMPI_RC_ERR_FAILED.                                                  */
/* ------------------------------------------------------------------ */

#define CMNoHook

#ifdef CMPI_VER_200
#define CMPI_STUB_ORIGIN_SLOT_(fn) , fn
#else
#define CMPI_STUB_ORIGIN_SLOT_(fn)
#endif

#ifdef __cplusplus
/* The hook is provider code: in C++ it may throw. */
#define CMPI_STUB_RUN_HOOK_(hook, st)                                         \
  try {                                                                       \
    hook;                                                                     \
  } catch (...) {                                                             \
    (st)->rc = CMPI_RC_ERR_FAILED;                                            \
    (st)->msg = NULL;                                                         \
  }
#else
#define CMPI_STUB_RUN_HOOK_(hook, st) hook;
#endif

/* Shared body of every Stub factory. */
#define CMPI_STUB_BODY_(MIType, ftvar, broker, hook)                          \
  {                                                                           \
    static MIType mi = {NULL, &ftvar};                                        \
    CMPIStatus cmpi_local_rc_ = {CMPI_RC_OK, NULL};                           \
    (void)ctx;                                                                \
    if (rc == NULL)                                                           \
      rc = &cmpi_local_rc_;                                                   \
    rc->rc = CMPI_RC_OK;                                                      \
    rc->msg = NULL;                                                           \
    broker = brkr;                                                            \
    CMPI_STUB_RUN_HOOK_(hook, rc)                                             \
    return rc->rc == CMPI_RC_OK ? &mi : NULL;                                 \
  }

#define CMInstanceMIStub(pfx, pn, broker, hook)                               \
  static CMPIInstanceMIFT pn##_instMIFT__ = {                                 \
      CMPICurrentVersion, CMPICurrentVersion, "instance" #pn,                 \
      pfx##Cleanup,       pfx##EnumInstanceNames, pfx##EnumInstances,         \
      pfx##GetInstance,   pfx##CreateInstance,    pfx##ModifyInstance,        \
      pfx##DeleteInstance, pfx##ExecQuery};                                   \
  CMPI_EXTERN_C CMPIInstanceMI *pn##_Create_InstanceMI(                       \
      const CMPIBroker *brkr, const CMPIContext *ctx, CMPIStatus *rc)         \
      CMPI_STUB_BODY_(CMPIInstanceMI, pn##_instMIFT__, broker, hook)

#define CMAssociationMIStub(pfx, pn, broker, hook)                            \
  static CMPIAssociationMIFT pn##_assocMIFT__ = {                             \
      CMPICurrentVersion, CMPICurrentVersion, "association" #pn,              \
      pfx##AssociationCleanup, pfx##Associators, pfx##AssociatorNames,        \
      pfx##References,    pfx##ReferenceNames};                               \
  CMPI_EXTERN_C CMPIAssociationMI *pn##_Create_AssociationMI(                 \
      const CMPIBroker *brkr, const CMPIContext *ctx, CMPIStatus *rc)         \
      CMPI_STUB_BODY_(CMPIAssociationMI, pn##_assocMIFT__, broker, hook)

#define CMMethodMIStub(pfx, pn, broker, hook)                                 \
  static CMPIMethodMIFT pn##_methMIFT__ = {                                   \
      CMPICurrentVersion, CMPICurrentVersion, "method" #pn,                   \
      pfx##MethodCleanup, pfx##InvokeMethod};                                 \
  CMPI_EXTERN_C CMPIMethodMI *pn##_Create_MethodMI(                           \
      const CMPIBroker *brkr, const CMPIContext *ctx, CMPIStatus *rc)         \
      CMPI_STUB_BODY_(CMPIMethodMI, pn##_methMIFT__, broker, hook)

#define CMPropertyMIStub(pfx, pn, broker, hook)                               \
  static CMPIPropertyMIFT pn##_propMIFT__ = {                                 \
      CMPICurrentVersion, CMPICurrentVersion, "property" #pn,                 \
      pfx##PropertyCleanup, pfx##SetProperty,                                 \
      pfx##GetProperty CMPI_STUB_ORIGIN_SLOT_(NULL)};                         \
  CMPI_EXTERN_C CMPIPropertyMI *pn##_Create_PropertyMI(                       \
      const CMPIBroker *brkr, const CMPIContext *ctx, CMPIStatus *rc)         \
      CMPI_STUB_BODY_(CMPIPropertyMI, pn##_propMIFT__, broker, hook)

#ifdef CMPI_VER_86
#define CMPI_STUB_INDICATION_SWITCH_(pfx)                                     \
  pfx##EnableIndications, pfx##DisableIndications
#else
#define CMPI_STUB_INDICATION_SWITCH_(pfx) NULL, NULL
#endif

#define CMIndicationMIStub(pfx, pn, broker, hook)                             \
  static CMPIIndicationMIFT pn##_indMIFT__ = {                                \
      CMPICurrentVersion, CMPICurrentVersion, "Indication" #pn,               \
      pfx##IndicationCleanup, pfx##AuthorizeFilter, pfx##MustPoll,            \
      pfx##ActivateFilter, pfx##DeActivateFilter,                             \
      CMPI_STUB_INDICATION_SWITCH_(pfx)};                                     \
  CMPI_EXTERN_C CMPIIndicationMI *pn##_Create_IndicationMI(                   \
      const CMPIBroker *brkr, const CMPIContext *ctx, CMPIStatus *rc)         \
      CMPI_STUB_BODY_(CMPIIndicationMI, pn##_indMIFT__, broker, hook)

/* ------------------------------------------------------------------ */
/* C++ binding factories                                                */
/*                                                                      */
/* CMProviderBase(pn) defines the global CmpiProviderBase base##pn that */
/* all factories of provider pn share: the first factory call creates   */
/* and initialises one `cn` object, later calls only raise its use      */
/* count; cleanup() through each MI type lowers it again.               */
/*                                                                      */
/* The factory writes *rc (when not NULL) and never lets an exception   */
/* escape: a CmpiStatus thrown by the constructor or by initialize()    */
/* becomes *rc, anything else CMPI_RC_ERR_FAILED; the half-made object  */
/* is deleted and NULL is returned. initialize()'s returned status is   */
/* not consulted; a provider that cannot start throws.                  */
/* ------------------------------------------------------------------ */

#ifdef __cplusplus

#define CMProviderBase(pn) CmpiProviderBase base##pn;

/* Cast a driver to the exact slot type through void(*)(void), the
   function-pointer type gcc's -Wcast-function-type accepts. */
#define CMPI_DRIVER_CAST_(SlotPtr, fn)                                        \
  reinterpret_cast<SlotPtr>(reinterpret_cast<void (*)(void)>(&fn))

/* Body shared by the factories (it uses their parameters broker, ctxp and
   rc): leaves the one provider object in `provider`, creating it on first
   use, or returns NULL with *rc set. Any exception becomes a status. */
#define CMPI_FACTORY_PROVIDER_(cn, pn)                                        \
  CMPIStatus cmpi_local_rc_ = {CMPI_RC_OK, NULL};                             \
  if (rc == NULL)                                                             \
    rc = &cmpi_local_rc_;                                                     \
  rc->rc = CMPI_RC_OK;                                                        \
  rc->msg = NULL;                                                             \
  CmpiBaseMI *provider = base##pn.getBaseMI();                                \
  if (provider == 0) {                                                        \
    CmpiBaseMI *cmpi_made_ = 0;                                               \
    try {                                                                     \
      CmpiContext cmpi_ctx_((CMPIContext *)(ctxp));                           \
      cmpi_made_ = new cn(CmpiBroker((CMPIBroker *)(broker)), cmpi_ctx_);     \
      cmpi_made_->setProviderBase(&base##pn);                                 \
      cmpi_made_->initialize(cmpi_ctx_);                                      \
    } catch (const CmpiStatus &cmpi_e_) {                                     \
      const char *cmpi_m_ = NULL;                                             \
      try {                                                                   \
        cmpi_m_ = cmpi_e_.msg();                                              \
      } catch (...) {                                                         \
      }                                                                       \
      rc->rc = cmpi_e_.rc() == CMPI_RC_OK ? CMPI_RC_ERR_FAILED : cmpi_e_.rc(); \
      if (cmpi_m_ && broker && (broker)->eft && (broker)->eft->newString)     \
        rc->msg = (broker)->eft->newString((broker), cmpi_m_, NULL);          \
    } catch (...) {                                                           \
      rc->rc = CMPI_RC_ERR_FAILED;                                            \
    }                                                                         \
    if (rc->rc != CMPI_RC_OK) {                                               \
      delete cmpi_made_;                                                      \
      return NULL;                                                            \
    }                                                                         \
    provider = cmpi_made_;                                                    \
    base##pn.setBaseMI(provider);                                             \
  }                                                                           \
  base##pn.incUseCount();

#define CMInstanceMIFactory(cn, pn)                                           \
  CMPI_EXTERN_C CMPIInstanceMI *pn##_Create_InstanceMI(                       \
      const CMPIBroker *broker, const CMPIContext *ctxp, CMPIStatus *rc) {    \
    static CMPIInstanceMIFT instMIFT = {                                      \
        CMPICurrentVersion,                                                   \
        CMPICurrentVersion,                                                   \
        "instance" #pn,                                                       \
        CMPI_DRIVER_CAST_(CMPIStatus(*)(CMPIInstanceMI *,                     \
                                        const CMPIContext *, CMPIBoolean),    \
                          CmpiBaseMI::driveBaseCleanup),                      \
        CmpiInstanceMI::driveEnumInstanceNames,                               \
        CmpiInstanceMI::driveEnumInstances,                                   \
        CmpiInstanceMI::driveGetInstance,                                     \
        CmpiInstanceMI::driveCreateInstance,                                  \
        CmpiInstanceMI::driveSetInstance,                                     \
        CmpiInstanceMI::driveDeleteInstance,                                  \
        CmpiInstanceMI::driveExecQuery};                                      \
    static CMPIInstanceMI mi;                                                 \
    CMPI_FACTORY_PROVIDER_(cn, pn)                                            \
    mi.ft = &instMIFT;                                                        \
    mi.hdl = provider;                                                        \
    return &mi;                                                               \
  }

#define CMAssociationMIFactory(cn, pn)                                        \
  CMPI_EXTERN_C CMPIAssociationMI *pn##_Create_AssociationMI(                 \
      const CMPIBroker *broker, const CMPIContext *ctxp, CMPIStatus *rc) {    \
    static CMPIAssociationMIFT assocMIFT = {                                  \
        CMPICurrentVersion,                                                   \
        CMPICurrentVersion,                                                   \
        "association" #pn,                                                    \
        CMPI_DRIVER_CAST_(CMPIStatus(*)(CMPIAssociationMI *,                  \
                                        const CMPIContext *, CMPIBoolean),    \
                          CmpiBaseMI::driveBaseCleanup),                      \
        CmpiAssociationMI::driveAssociators,                                  \
        CmpiAssociationMI::driveAssociatorNames,                              \
        CmpiAssociationMI::driveReferences,                                   \
        CmpiAssociationMI::driveReferenceNames};                              \
    static CMPIAssociationMI mi;                                              \
    CMPI_FACTORY_PROVIDER_(cn, pn)                                            \
    mi.ft = &assocMIFT;                                                       \
    mi.hdl = provider;                                                        \
    return &mi;                                                               \
  }

#define CMMethodMIFactory(cn, pn)                                             \
  CMPI_EXTERN_C CMPIMethodMI *pn##_Create_MethodMI(                           \
      const CMPIBroker *broker, const CMPIContext *ctxp, CMPIStatus *rc) {    \
    static CMPIMethodMIFT methMIFT = {                                        \
        CMPICurrentVersion,                                                   \
        CMPICurrentVersion,                                                   \
        "method" #pn,                                                         \
        CMPI_DRIVER_CAST_(CMPIStatus(*)(CMPIMethodMI *, const CMPIContext *,  \
                                        CMPIBoolean),                         \
                          CmpiBaseMI::driveBaseCleanup),                      \
        CmpiMethodMI::driveInvokeMethod};                                     \
    static CMPIMethodMI mi;                                                   \
    CMPI_FACTORY_PROVIDER_(cn, pn)                                            \
    mi.ft = &methMIFT;                                                        \
    mi.hdl = provider;                                                        \
    return &mi;                                                               \
  }

#define CMPropertyMIFactory(cn, pn)                                           \
  CMPI_EXTERN_C CMPIPropertyMI *pn##_Create_PropertyMI(                       \
      const CMPIBroker *broker, const CMPIContext *ctxp, CMPIStatus *rc) {    \
    static CMPIPropertyMIFT propMIFT = {                                      \
        CMPICurrentVersion,                                                   \
        CMPICurrentVersion,                                                   \
        "property" #pn,                                                       \
        CMPI_DRIVER_CAST_(CMPIStatus(*)(CMPIPropertyMI *,                     \
                                        const CMPIContext *, CMPIBoolean),    \
                          CmpiBaseMI::driveBaseCleanup),                      \
        CmpiPropertyMI::driveSetProperty,                                     \
        CmpiPropertyMI::driveGetProperty CMPI_STUB_ORIGIN_SLOT_(NULL)};       \
    static CMPIPropertyMI mi;                                                 \
    CMPI_FACTORY_PROVIDER_(cn, pn)                                            \
    mi.ft = &propMIFT;                                                        \
    mi.hdl = provider;                                                        \
    return &mi;                                                               \
  }

#ifdef CMPI_VER_86
#define CMPI_FACTORY_INDICATION_SWITCH_                                       \
  CmpiIndicationMI::driveEnableIndications,                                   \
      CmpiIndicationMI::driveDisableIndications
#else
#define CMPI_FACTORY_INDICATION_SWITCH_ NULL, NULL
#endif

#define CMIndicationMIFactory(cn, pn)                                         \
  CMPI_EXTERN_C CMPIIndicationMI *pn##_Create_IndicationMI(                   \
      const CMPIBroker *broker, const CMPIContext *ctxp, CMPIStatus *rc) {    \
    static CMPIIndicationMIFT indMIFT = {                                     \
        CMPICurrentVersion,                                                   \
        CMPICurrentVersion,                                                   \
        "indication" #pn,                                                     \
        CMPI_DRIVER_CAST_(CMPIStatus(*)(CMPIIndicationMI *,                   \
                                        const CMPIContext *, CMPIBoolean),    \
                          CmpiBaseMI::driveBaseCleanup),                      \
        CmpiIndicationMI::driveAuthorizeFilter,                               \
        CmpiIndicationMI::driveMustPoll,                                      \
        CmpiIndicationMI::driveActivateFilter,                                \
        CmpiIndicationMI::driveDeActivateFilter,                              \
        CMPI_FACTORY_INDICATION_SWITCH_};                                     \
    static CMPIIndicationMI mi;                                               \
    CMPI_FACTORY_PROVIDER_(cn, pn)                                            \
    mi.ft = &indMIFT;                                                         \
    mi.hdl = provider;                                                        \
    return &mi;                                                               \
  }

#endif /* __cplusplus */

#endif /* _CMPIMACS_H_ */
