/*
 * CMPI 2.0 operating-system abstraction (Linux, gcc/clang).
 *
 * Thread, mutex and condition handles are opaque pointers; the broker's
 * extended function table (CMPIBrokerExtFT) works on them.
 */
#ifndef _CMPIOS_H_
#define _CMPIOS_H_

#include <stddef.h> /* size_t for the memory function table */
#include <stdlib.h>

#define CMPI_THREAD_RETURN void *
#define CMPI_THREAD_TYPE void *
#define CMPI_MUTEX_TYPE void *
#define CMPI_COND_TYPE void *

/* Empty on Linux in C and C++ alike: a calling-convention keyword here
   would not compile with g++. */
#define CMPI_THREAD_CDECL

/* The 2.0 width (8 bytes). A broker that writes only a 4-byte key still
   works on x86_64 as long as the caller zeroes the variable first. */
#define CMPI_THREAD_KEY_TYPE unsigned long int

#if defined(__GNUC__) && __GNUC__ >= 4
#define CMPI_EXPORT __attribute__((visibility("default")))
#define CMPI_IMPORT __attribute__((visibility("default")))
#else
#define CMPI_EXPORT
#define CMPI_IMPORT
#endif

/* Factory functions are looked up by name with dlsym, so they need C
   linkage and default visibility even in a -fvisibility=hidden build. */
#ifdef __cplusplus
#define CMPI_EXTERN_C extern "C" CMPI_EXPORT
#else
#define CMPI_EXTERN_C CMPI_EXPORT
#endif

#endif /* _CMPIOS_H_ */
