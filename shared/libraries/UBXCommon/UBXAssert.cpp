#include "UBXAssert.h"

#include <QByteArray>

void gpAssertionFailed(const char* aExpression, const char* aSignature, const char* aSource,
                       int aLine)
{
    // The preprocessor spaces the tokens of the expression as they were
    // written; the message shows it compact, as one term.
    QByteArray lExpression(aExpression);
    lExpression.replace(' ', QByteArray());
    qt_assert_x(aSignature, lExpression.constData(), aSource, aLine);
}
