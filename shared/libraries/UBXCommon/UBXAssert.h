#ifndef UBXASSERT_H
#define UBXASSERT_H

#include "UBXCommonExport.h"

#include <QtGlobal>

// Checks an invariant of the calling function in debug builds (the same builds
// in which Q_ASSERT is active). A failure ends the process through qFatal with
// a message that names the expression, the signature of the function and
// aSource, the file as the library names it ("shared/libraries/UBXCommon/
// UBXCluster"). The expression text is taken after macro expansion and without
// blanks, so `apData != NULL` reads "apData!=__null". In other builds the
// expression is compiled but never evaluated.
#if !defined(QT_NO_DEBUG)
#define UBX_ASSERT(aExpression, aSource)                                                           \
    ((aExpression)                                                                                 \
         ? static_cast<void>(0)                                                                    \
         : gpAssertionFailed(UBX_ASSERT_TEXT(aExpression), Q_FUNC_INFO, aSource, __LINE__))
#else
#define UBX_ASSERT(aExpression, aSource)                                                           \
    static_cast<void>(sizeof(static_cast<bool>(aExpression)) + sizeof(aSource))
#endif

// Two steps, so that macros inside the expression are expanded before it
// becomes text.
#define UBX_ASSERT_TEXT(aExpression) UBX_ASSERT_STRINGIFY(aExpression)
#define UBX_ASSERT_STRINGIFY(aExpression) #aExpression

// Reports the failed assertion and ends the process; used by UBX_ASSERT only.
[[noreturn]] UBXCOMMON_EXPORT void
gpAssertionFailed(const char* aExpression, const char* aSignature, const char* aSource, int aLine);

#endif
