/*
 * Compile-time pins of the CMPI 2.0 binary layout on x86_64 (LP64):
 * sizes and offsets of the value containers, handles, broker, MI records
 * and every member of every function table. A slip in cmpidt.h or
 * cmpift.h fails the build of any translation unit that includes this
 * file, in C (_Static_assert) as in C++ (static_assert).
 */
#ifndef CMPI_LAYOUT_CHECK_H
#define CMPI_LAYOUT_CHECK_H

#include <stddef.h>

#include "cmpidt.h"
#include "cmpift.h"

#ifdef __cplusplus
#define CMPI_LAYOUT_ASSERT(e, m) static_assert(e, m)
#else
#define CMPI_LAYOUT_ASSERT(e, m) _Static_assert(e, m)
#endif

#define CMPI_CHECK_SIZE(T, n)                                                 \
  CMPI_LAYOUT_ASSERT(sizeof(T) == (n), "sizeof(" #T ") != " #n)
#define CMPI_CHECK_ALIGN(T, n)                                                \
  CMPI_LAYOUT_ASSERT(_Alignof(T) == (n), "alignof(" #T ") != " #n)
#define CMPI_CHECK_OFF(T, m, n)                                               \
  CMPI_LAYOUT_ASSERT(offsetof(T, m) == (n), "offsetof(" #T ", " #m ") != " #n)
/* A handle or MI record: two pointers, hdl then ft. */
#define CMPI_CHECK_HANDLE(T)                                                  \
  CMPI_CHECK_SIZE(T, 16);                                                     \
  CMPI_CHECK_OFF(T, hdl, 0);                                                  \
  CMPI_CHECK_OFF(T, ft, 8)

#ifdef __cplusplus
#undef CMPI_CHECK_ALIGN
#define CMPI_CHECK_ALIGN(T, n)                                                \
  CMPI_LAYOUT_ASSERT(alignof(T) == (n), "alignof(" #T ") != " #n)
#endif

#if defined(__x86_64__) && defined(__LP64__) && defined(CMPI_VER_200)

/* Scalar types */
CMPI_CHECK_SIZE(CMPIBoolean, 1);
CMPI_CHECK_SIZE(CMPIChar16, 2);
CMPI_CHECK_SIZE(CMPIUint8, 1);
CMPI_CHECK_SIZE(CMPIUint16, 2);
CMPI_CHECK_SIZE(CMPIUint32, 4);
CMPI_CHECK_SIZE(CMPIUint64, 8);
CMPI_CHECK_SIZE(CMPISint8, 1);
CMPI_CHECK_SIZE(CMPISint16, 2);
CMPI_CHECK_SIZE(CMPISint32, 4);
CMPI_CHECK_SIZE(CMPISint64, 8);
CMPI_CHECK_SIZE(CMPIReal32, 4);
CMPI_CHECK_SIZE(CMPIReal64, 8);
CMPI_CHECK_SIZE(CMPICount, 4);
CMPI_CHECK_SIZE(CMPIType, 2);
CMPI_CHECK_SIZE(CMPIValueState, 2);
CMPI_CHECK_SIZE(CMPIFlags, 4);
CMPI_CHECK_SIZE(CMPIrc, 4);
CMPI_CHECK_SIZE(CMPIPredOp, 4);
CMPI_CHECK_SIZE(CMPISeverity, 4);
CMPI_CHECK_SIZE(CMPILevel, 4);
CMPI_CHECK_SIZE(CMPISelectCondType, 4);
CMPI_CHECK_SIZE(CMPIErrorType, 4);
CMPI_CHECK_SIZE(CMPIErrorSeverity, 4);
CMPI_CHECK_SIZE(CMPIErrorProbableCause, 4);
CMPI_CHECK_SIZE(CMPIErrorSrcFormat, 4);
CMPI_CHECK_SIZE(CMPIMsgFileHandle, 8);
CMPI_CHECK_SIZE(CMPI_THREAD_KEY_TYPE, 8);

/* Value containers */
CMPI_CHECK_SIZE(CMPIValuePtr, 16);
CMPI_CHECK_ALIGN(CMPIValuePtr, 8);
CMPI_CHECK_OFF(CMPIValuePtr, ptr, 0);
CMPI_CHECK_OFF(CMPIValuePtr, length, 8);

CMPI_CHECK_SIZE(CMPIValue, 16);
CMPI_CHECK_ALIGN(CMPIValue, 8);
CMPI_CHECK_OFF(CMPIValue, uint64, 0);
CMPI_CHECK_OFF(CMPIValue, uint8, 0);
CMPI_CHECK_OFF(CMPIValue, sint32, 0);
CMPI_CHECK_OFF(CMPIValue, real64, 0);
CMPI_CHECK_OFF(CMPIValue, boolean, 0);
CMPI_CHECK_OFF(CMPIValue, char16, 0);
CMPI_CHECK_OFF(CMPIValue, inst, 0);
CMPI_CHECK_OFF(CMPIValue, Enum, 0);
CMPI_CHECK_OFF(CMPIValue, chars, 0);
CMPI_CHECK_OFF(CMPIValue, dataPtr, 0);
CMPI_CHECK_OFF(CMPIValue, Long, 0);

CMPI_CHECK_SIZE(CMPIData, 24);
CMPI_CHECK_ALIGN(CMPIData, 8);
CMPI_CHECK_OFF(CMPIData, type, 0);
CMPI_CHECK_OFF(CMPIData, state, 2);
CMPI_CHECK_OFF(CMPIData, value, 8);

CMPI_CHECK_SIZE(CMPIStatus, 16);
CMPI_CHECK_ALIGN(CMPIStatus, 8);
CMPI_CHECK_OFF(CMPIStatus, rc, 0);
CMPI_CHECK_OFF(CMPIStatus, msg, 8);

/* Encapsulated-object handles */
CMPI_CHECK_HANDLE(CMPIContext);
CMPI_CHECK_HANDLE(CMPIResult);
CMPI_CHECK_HANDLE(CMPIString);
CMPI_CHECK_HANDLE(CMPIArray);
CMPI_CHECK_HANDLE(CMPIEnumeration);
CMPI_CHECK_HANDLE(CMPIInstance);
CMPI_CHECK_HANDLE(CMPIObjectPath);
CMPI_CHECK_HANDLE(CMPIArgs);
CMPI_CHECK_HANDLE(CMPIDateTime);
CMPI_CHECK_HANDLE(CMPISelectExp);
CMPI_CHECK_HANDLE(CMPISelectCond);
CMPI_CHECK_HANDLE(CMPISubCond);
CMPI_CHECK_HANDLE(CMPIPredicate);
CMPI_CHECK_HANDLE(CMPIError);

/* Broker */
CMPI_CHECK_SIZE(CMPIBroker, 40);
CMPI_CHECK_ALIGN(CMPIBroker, 8);
CMPI_CHECK_OFF(CMPIBroker, hdl, 0);
CMPI_CHECK_OFF(CMPIBroker, bft, 8);
CMPI_CHECK_OFF(CMPIBroker, eft, 16);
CMPI_CHECK_OFF(CMPIBroker, xft, 24);
CMPI_CHECK_OFF(CMPIBroker, mft, 32);

/* MI records */
CMPI_CHECK_HANDLE(CMPIInstanceMI);
CMPI_CHECK_HANDLE(CMPIAssociationMI);
CMPI_CHECK_HANDLE(CMPIMethodMI);
CMPI_CHECK_HANDLE(CMPIPropertyMI);
CMPI_CHECK_HANDLE(CMPIIndicationMI);

/* Function tables: every member, in binary order. */
CMPI_CHECK_SIZE(CMPIBrokerFT, 160);
CMPI_CHECK_OFF(CMPIBrokerFT, brokerCapabilities, 0);
CMPI_CHECK_OFF(CMPIBrokerFT, brokerVersion, 4);
CMPI_CHECK_OFF(CMPIBrokerFT, brokerName, 8);
CMPI_CHECK_OFF(CMPIBrokerFT, prepareAttachThread, 16);
CMPI_CHECK_OFF(CMPIBrokerFT, attachThread, 24);
CMPI_CHECK_OFF(CMPIBrokerFT, detachThread, 32);
CMPI_CHECK_OFF(CMPIBrokerFT, deliverIndication, 40);
CMPI_CHECK_OFF(CMPIBrokerFT, enumerateInstanceNames, 48);
CMPI_CHECK_OFF(CMPIBrokerFT, getInstance, 56);
CMPI_CHECK_OFF(CMPIBrokerFT, createInstance, 64);
CMPI_CHECK_OFF(CMPIBrokerFT, modifyInstance, 72);
CMPI_CHECK_OFF(CMPIBrokerFT, deleteInstance, 80);
CMPI_CHECK_OFF(CMPIBrokerFT, execQuery, 88);
CMPI_CHECK_OFF(CMPIBrokerFT, enumerateInstances, 96);
CMPI_CHECK_OFF(CMPIBrokerFT, associators, 104);
CMPI_CHECK_OFF(CMPIBrokerFT, associatorNames, 112);
CMPI_CHECK_OFF(CMPIBrokerFT, references, 120);
CMPI_CHECK_OFF(CMPIBrokerFT, referenceNames, 128);
CMPI_CHECK_OFF(CMPIBrokerFT, invokeMethod, 136);
CMPI_CHECK_OFF(CMPIBrokerFT, setProperty, 144);
CMPI_CHECK_OFF(CMPIBrokerFT, getProperty, 152);

CMPI_CHECK_SIZE(CMPIBrokerEncFT, 168);
CMPI_CHECK_OFF(CMPIBrokerEncFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newInstance, 8);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newObjectPath, 16);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newArgs, 24);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newString, 32);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newArray, 40);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newDateTime, 48);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newDateTimeFromBinary, 56);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newDateTimeFromChars, 64);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newSelectExp, 72);
CMPI_CHECK_OFF(CMPIBrokerEncFT, classPathIsA, 80);
CMPI_CHECK_OFF(CMPIBrokerEncFT, toString, 88);
CMPI_CHECK_OFF(CMPIBrokerEncFT, isOfType, 96);
CMPI_CHECK_OFF(CMPIBrokerEncFT, getType, 104);
CMPI_CHECK_OFF(CMPIBrokerEncFT, getMessage, 112);
CMPI_CHECK_OFF(CMPIBrokerEncFT, logMessage, 120);
CMPI_CHECK_OFF(CMPIBrokerEncFT, trace, 128);
CMPI_CHECK_OFF(CMPIBrokerEncFT, newCMPIError, 136);
CMPI_CHECK_OFF(CMPIBrokerEncFT, openMessageFile, 144);
CMPI_CHECK_OFF(CMPIBrokerEncFT, closeMessageFile, 152);
CMPI_CHECK_OFF(CMPIBrokerEncFT, getMessage2, 160);

CMPI_CHECK_SIZE(CMPIBrokerExtFT, 168);
CMPI_CHECK_OFF(CMPIBrokerExtFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIBrokerExtFT, resolveFileName, 8);
CMPI_CHECK_OFF(CMPIBrokerExtFT, newThread, 16);
CMPI_CHECK_OFF(CMPIBrokerExtFT, joinThread, 24);
CMPI_CHECK_OFF(CMPIBrokerExtFT, exitThread, 32);
CMPI_CHECK_OFF(CMPIBrokerExtFT, cancelThread, 40);
CMPI_CHECK_OFF(CMPIBrokerExtFT, threadSleep, 48);
CMPI_CHECK_OFF(CMPIBrokerExtFT, threadOnce, 56);
CMPI_CHECK_OFF(CMPIBrokerExtFT, createThreadKey, 64);
CMPI_CHECK_OFF(CMPIBrokerExtFT, destroyThreadKey, 72);
CMPI_CHECK_OFF(CMPIBrokerExtFT, getThreadSpecific, 80);
CMPI_CHECK_OFF(CMPIBrokerExtFT, setThreadSpecific, 88);
CMPI_CHECK_OFF(CMPIBrokerExtFT, newMutex, 96);
CMPI_CHECK_OFF(CMPIBrokerExtFT, destroyMutex, 104);
CMPI_CHECK_OFF(CMPIBrokerExtFT, lockMutex, 112);
CMPI_CHECK_OFF(CMPIBrokerExtFT, unlockMutex, 120);
CMPI_CHECK_OFF(CMPIBrokerExtFT, newCondition, 128);
CMPI_CHECK_OFF(CMPIBrokerExtFT, destroyCondition, 136);
CMPI_CHECK_OFF(CMPIBrokerExtFT, condWait, 144);
CMPI_CHECK_OFF(CMPIBrokerExtFT, timedCondWait, 152);
CMPI_CHECK_OFF(CMPIBrokerExtFT, signalCondition, 160);

CMPI_CHECK_SIZE(CMPIBrokerMemFT, 120);
CMPI_CHECK_OFF(CMPIBrokerMemFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIBrokerMemFT, mark, 8);
CMPI_CHECK_OFF(CMPIBrokerMemFT, release, 16);
CMPI_CHECK_OFF(CMPIBrokerMemFT, cmpiMalloc, 24);
CMPI_CHECK_OFF(CMPIBrokerMemFT, cmpiCalloc, 32);
CMPI_CHECK_OFF(CMPIBrokerMemFT, cmpiRealloc, 40);
CMPI_CHECK_OFF(CMPIBrokerMemFT, cmpiStrDup, 48);
CMPI_CHECK_OFF(CMPIBrokerMemFT, cmpiFree, 56);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeInstance, 64);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeObjectPath, 72);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeArgs, 80);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeString, 88);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeArray, 96);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeDateTime, 104);
CMPI_CHECK_OFF(CMPIBrokerMemFT, freeSelectExp, 112);

CMPI_CHECK_SIZE(CMPIContextFT, 56);
CMPI_CHECK_OFF(CMPIContextFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIContextFT, release, 8);
CMPI_CHECK_OFF(CMPIContextFT, clone, 16);
CMPI_CHECK_OFF(CMPIContextFT, getEntry, 24);
CMPI_CHECK_OFF(CMPIContextFT, getEntryAt, 32);
CMPI_CHECK_OFF(CMPIContextFT, getEntryCount, 40);
CMPI_CHECK_OFF(CMPIContextFT, addEntry, 48);

CMPI_CHECK_SIZE(CMPIResultFT, 64);
CMPI_CHECK_OFF(CMPIResultFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIResultFT, release, 8);
CMPI_CHECK_OFF(CMPIResultFT, clone, 16);
CMPI_CHECK_OFF(CMPIResultFT, returnData, 24);
CMPI_CHECK_OFF(CMPIResultFT, returnInstance, 32);
CMPI_CHECK_OFF(CMPIResultFT, returnObjectPath, 40);
CMPI_CHECK_OFF(CMPIResultFT, returnDone, 48);
CMPI_CHECK_OFF(CMPIResultFT, returnError, 56);

CMPI_CHECK_SIZE(CMPIStringFT, 32);
CMPI_CHECK_OFF(CMPIStringFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIStringFT, release, 8);
CMPI_CHECK_OFF(CMPIStringFT, clone, 16);
CMPI_CHECK_OFF(CMPIStringFT, getCharPtr, 24);

CMPI_CHECK_SIZE(CMPIArrayFT, 56);
CMPI_CHECK_OFF(CMPIArrayFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIArrayFT, release, 8);
CMPI_CHECK_OFF(CMPIArrayFT, clone, 16);
CMPI_CHECK_OFF(CMPIArrayFT, getSize, 24);
CMPI_CHECK_OFF(CMPIArrayFT, getSimpleType, 32);
CMPI_CHECK_OFF(CMPIArrayFT, getElementAt, 40);
CMPI_CHECK_OFF(CMPIArrayFT, setElementAt, 48);

CMPI_CHECK_SIZE(CMPIEnumerationFT, 48);
CMPI_CHECK_OFF(CMPIEnumerationFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIEnumerationFT, release, 8);
CMPI_CHECK_OFF(CMPIEnumerationFT, clone, 16);
CMPI_CHECK_OFF(CMPIEnumerationFT, getNext, 24);
CMPI_CHECK_OFF(CMPIEnumerationFT, hasNext, 32);
CMPI_CHECK_OFF(CMPIEnumerationFT, toArray, 40);

CMPI_CHECK_SIZE(CMPIInstanceFT, 88);
CMPI_CHECK_OFF(CMPIInstanceFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIInstanceFT, release, 8);
CMPI_CHECK_OFF(CMPIInstanceFT, clone, 16);
CMPI_CHECK_OFF(CMPIInstanceFT, getProperty, 24);
CMPI_CHECK_OFF(CMPIInstanceFT, getPropertyAt, 32);
CMPI_CHECK_OFF(CMPIInstanceFT, getPropertyCount, 40);
CMPI_CHECK_OFF(CMPIInstanceFT, setProperty, 48);
CMPI_CHECK_OFF(CMPIInstanceFT, getObjectPath, 56);
CMPI_CHECK_OFF(CMPIInstanceFT, setPropertyFilter, 64);
CMPI_CHECK_OFF(CMPIInstanceFT, setObjectPath, 72);
CMPI_CHECK_OFF(CMPIInstanceFT, setPropertyWithOrigin, 80);

CMPI_CHECK_SIZE(CMPIObjectPathFT, 160);
CMPI_CHECK_OFF(CMPIObjectPathFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIObjectPathFT, release, 8);
CMPI_CHECK_OFF(CMPIObjectPathFT, clone, 16);
CMPI_CHECK_OFF(CMPIObjectPathFT, setNameSpace, 24);
CMPI_CHECK_OFF(CMPIObjectPathFT, getNameSpace, 32);
CMPI_CHECK_OFF(CMPIObjectPathFT, setHostname, 40);
CMPI_CHECK_OFF(CMPIObjectPathFT, getHostname, 48);
CMPI_CHECK_OFF(CMPIObjectPathFT, setClassName, 56);
CMPI_CHECK_OFF(CMPIObjectPathFT, getClassName, 64);
CMPI_CHECK_OFF(CMPIObjectPathFT, addKey, 72);
CMPI_CHECK_OFF(CMPIObjectPathFT, getKey, 80);
CMPI_CHECK_OFF(CMPIObjectPathFT, getKeyAt, 88);
CMPI_CHECK_OFF(CMPIObjectPathFT, getKeyCount, 96);
CMPI_CHECK_OFF(CMPIObjectPathFT, setNameSpaceFromObjectPath, 104);
CMPI_CHECK_OFF(CMPIObjectPathFT, setHostAndNameSpaceFromObjectPath, 112);
CMPI_CHECK_OFF(CMPIObjectPathFT, getClassQualifier, 120);
CMPI_CHECK_OFF(CMPIObjectPathFT, getPropertyQualifier, 128);
CMPI_CHECK_OFF(CMPIObjectPathFT, getMethodQualifier, 136);
CMPI_CHECK_OFF(CMPIObjectPathFT, getParameterQualifier, 144);
CMPI_CHECK_OFF(CMPIObjectPathFT, toString, 152);

CMPI_CHECK_SIZE(CMPIArgsFT, 56);
CMPI_CHECK_OFF(CMPIArgsFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIArgsFT, release, 8);
CMPI_CHECK_OFF(CMPIArgsFT, clone, 16);
CMPI_CHECK_OFF(CMPIArgsFT, addArg, 24);
CMPI_CHECK_OFF(CMPIArgsFT, getArg, 32);
CMPI_CHECK_OFF(CMPIArgsFT, getArgAt, 40);
CMPI_CHECK_OFF(CMPIArgsFT, getArgCount, 48);

CMPI_CHECK_SIZE(CMPIDateTimeFT, 48);
CMPI_CHECK_OFF(CMPIDateTimeFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIDateTimeFT, release, 8);
CMPI_CHECK_OFF(CMPIDateTimeFT, clone, 16);
CMPI_CHECK_OFF(CMPIDateTimeFT, getBinaryFormat, 24);
CMPI_CHECK_OFF(CMPIDateTimeFT, getStringFormat, 32);
CMPI_CHECK_OFF(CMPIDateTimeFT, isInterval, 40);

CMPI_CHECK_SIZE(CMPISelectExpFT, 64);
CMPI_CHECK_OFF(CMPISelectExpFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPISelectExpFT, release, 8);
CMPI_CHECK_OFF(CMPISelectExpFT, clone, 16);
CMPI_CHECK_OFF(CMPISelectExpFT, evaluate, 24);
CMPI_CHECK_OFF(CMPISelectExpFT, getString, 32);
CMPI_CHECK_OFF(CMPISelectExpFT, getDOC, 40);
CMPI_CHECK_OFF(CMPISelectExpFT, getCOD, 48);
CMPI_CHECK_OFF(CMPISelectExpFT, evaluateUsingAccessor, 56);

CMPI_CHECK_SIZE(CMPISelectCondFT, 40);
CMPI_CHECK_OFF(CMPISelectCondFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPISelectCondFT, release, 8);
CMPI_CHECK_OFF(CMPISelectCondFT, clone, 16);
CMPI_CHECK_OFF(CMPISelectCondFT, getCountAndType, 24);
CMPI_CHECK_OFF(CMPISelectCondFT, getSubCondAt, 32);

CMPI_CHECK_SIZE(CMPISubCondFT, 48);
CMPI_CHECK_OFF(CMPISubCondFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPISubCondFT, release, 8);
CMPI_CHECK_OFF(CMPISubCondFT, clone, 16);
CMPI_CHECK_OFF(CMPISubCondFT, getCount, 24);
CMPI_CHECK_OFF(CMPISubCondFT, getPredicateAt, 32);
CMPI_CHECK_OFF(CMPISubCondFT, getPredicate, 40);

CMPI_CHECK_SIZE(CMPIPredicateFT, 40);
CMPI_CHECK_OFF(CMPIPredicateFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIPredicateFT, release, 8);
CMPI_CHECK_OFF(CMPIPredicateFT, clone, 16);
CMPI_CHECK_OFF(CMPIPredicateFT, getData, 24);
CMPI_CHECK_OFF(CMPIPredicateFT, evaluateUsingAccessor, 32);

CMPI_CHECK_SIZE(CMPIErrorFT, 216);
CMPI_CHECK_OFF(CMPIErrorFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIErrorFT, release, 8);
CMPI_CHECK_OFF(CMPIErrorFT, clone, 16);
CMPI_CHECK_OFF(CMPIErrorFT, getErrorType, 24);
CMPI_CHECK_OFF(CMPIErrorFT, getOtherErrorType, 32);
CMPI_CHECK_OFF(CMPIErrorFT, getOwningEntity, 40);
CMPI_CHECK_OFF(CMPIErrorFT, getMessageID, 48);
CMPI_CHECK_OFF(CMPIErrorFT, getMessage, 56);
CMPI_CHECK_OFF(CMPIErrorFT, getPerceivedSeverity, 64);
CMPI_CHECK_OFF(CMPIErrorFT, getProbableCause, 72);
CMPI_CHECK_OFF(CMPIErrorFT, getProbableCauseDescription, 80);
CMPI_CHECK_OFF(CMPIErrorFT, getRecommendedActions, 88);
CMPI_CHECK_OFF(CMPIErrorFT, getErrorSource, 96);
CMPI_CHECK_OFF(CMPIErrorFT, getErrorSourceFormat, 104);
CMPI_CHECK_OFF(CMPIErrorFT, getOtherErrorSourceFormat, 112);
CMPI_CHECK_OFF(CMPIErrorFT, getCIMStatusCode, 120);
CMPI_CHECK_OFF(CMPIErrorFT, getCIMStatusCodeDescription, 128);
CMPI_CHECK_OFF(CMPIErrorFT, getMessageArguments, 136);
CMPI_CHECK_OFF(CMPIErrorFT, setErrorType, 144);
CMPI_CHECK_OFF(CMPIErrorFT, setOtherErrorType, 152);
CMPI_CHECK_OFF(CMPIErrorFT, setProbableCauseDescription, 160);
CMPI_CHECK_OFF(CMPIErrorFT, setRecommendedActions, 168);
CMPI_CHECK_OFF(CMPIErrorFT, setErrorSource, 176);
CMPI_CHECK_OFF(CMPIErrorFT, setErrorSourceFormat, 184);
CMPI_CHECK_OFF(CMPIErrorFT, setOtherErrorSourceFormat, 192);
CMPI_CHECK_OFF(CMPIErrorFT, setCIMStatusCodeDescription, 200);
CMPI_CHECK_OFF(CMPIErrorFT, setMessageArguments, 208);

CMPI_CHECK_SIZE(CMPIInstanceMIFT, 80);
CMPI_CHECK_OFF(CMPIInstanceMIFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIInstanceMIFT, miVersion, 4);
CMPI_CHECK_OFF(CMPIInstanceMIFT, miName, 8);
CMPI_CHECK_OFF(CMPIInstanceMIFT, cleanup, 16);
CMPI_CHECK_OFF(CMPIInstanceMIFT, enumerateInstanceNames, 24);
CMPI_CHECK_OFF(CMPIInstanceMIFT, enumerateInstances, 32);
CMPI_CHECK_OFF(CMPIInstanceMIFT, getInstance, 40);
CMPI_CHECK_OFF(CMPIInstanceMIFT, createInstance, 48);
CMPI_CHECK_OFF(CMPIInstanceMIFT, modifyInstance, 56);
CMPI_CHECK_OFF(CMPIInstanceMIFT, deleteInstance, 64);
CMPI_CHECK_OFF(CMPIInstanceMIFT, execQuery, 72);

CMPI_CHECK_SIZE(CMPIAssociationMIFT, 56);
CMPI_CHECK_OFF(CMPIAssociationMIFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIAssociationMIFT, miVersion, 4);
CMPI_CHECK_OFF(CMPIAssociationMIFT, miName, 8);
CMPI_CHECK_OFF(CMPIAssociationMIFT, cleanup, 16);
CMPI_CHECK_OFF(CMPIAssociationMIFT, associators, 24);
CMPI_CHECK_OFF(CMPIAssociationMIFT, associatorNames, 32);
CMPI_CHECK_OFF(CMPIAssociationMIFT, references, 40);
CMPI_CHECK_OFF(CMPIAssociationMIFT, referenceNames, 48);

CMPI_CHECK_SIZE(CMPIMethodMIFT, 32);
CMPI_CHECK_OFF(CMPIMethodMIFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIMethodMIFT, miVersion, 4);
CMPI_CHECK_OFF(CMPIMethodMIFT, miName, 8);
CMPI_CHECK_OFF(CMPIMethodMIFT, cleanup, 16);
CMPI_CHECK_OFF(CMPIMethodMIFT, invokeMethod, 24);

CMPI_CHECK_SIZE(CMPIPropertyMIFT, 48);
CMPI_CHECK_OFF(CMPIPropertyMIFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIPropertyMIFT, miVersion, 4);
CMPI_CHECK_OFF(CMPIPropertyMIFT, miName, 8);
CMPI_CHECK_OFF(CMPIPropertyMIFT, cleanup, 16);
CMPI_CHECK_OFF(CMPIPropertyMIFT, setProperty, 24);
CMPI_CHECK_OFF(CMPIPropertyMIFT, getProperty, 32);
CMPI_CHECK_OFF(CMPIPropertyMIFT, setPropertyWithOrigin, 40);

CMPI_CHECK_SIZE(CMPIIndicationMIFT, 72);
CMPI_CHECK_OFF(CMPIIndicationMIFT, ftVersion, 0);
CMPI_CHECK_OFF(CMPIIndicationMIFT, miVersion, 4);
CMPI_CHECK_OFF(CMPIIndicationMIFT, miName, 8);
CMPI_CHECK_OFF(CMPIIndicationMIFT, cleanup, 16);
CMPI_CHECK_OFF(CMPIIndicationMIFT, authorizeFilter, 24);
CMPI_CHECK_OFF(CMPIIndicationMIFT, mustPoll, 32);
CMPI_CHECK_OFF(CMPIIndicationMIFT, activateFilter, 40);
CMPI_CHECK_OFF(CMPIIndicationMIFT, deActivateFilter, 48);
CMPI_CHECK_OFF(CMPIIndicationMIFT, enableIndications, 56);
CMPI_CHECK_OFF(CMPIIndicationMIFT, disableIndications, 64);

#endif /* x86_64 LP64, 2.0 build */

#endif /* CMPI_LAYOUT_CHECK_H */
