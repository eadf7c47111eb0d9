/* Flat interface: plain exported functions for hosts that cannot use the C++ classes.
   Compiles as C99 and as C++. */
#ifndef QZ_FLAT_H
#define QZ_FLAT_H

#include "qz/export.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* QZ_FLAT_H */
