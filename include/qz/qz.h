// The whole C++ interface of the qz telemetry library. Under Visual C++ and
// clang-cl, and wherever QZ_USE_FLAT_ABI is defined, the class headers give the
// same classes as inline code over the flat functions (qz/qz_inline.h).
#ifndef QZ_QZ_H
#define QZ_QZ_H

#include "qz/export.h"
#include "qz/version.h"
#include "qz/StringBuf.h"
#include "qz/Configuration.h"
#include "qz/ExtendedKeys.h"
#include "qz/BinaryInfo.h"
#include "qz/ExceptionInfo.h"
#include "qz/API.h"
#include "qz/FlowController.h"

#endif  // QZ_QZ_H
