#include "ICLoggerDateFormat_p.h"

#include <array>

namespace {
struct Field
{
    QLatin1String mvToken;
    int mvWidth;
};

void gpAppendPadded(QString& aText, int aValue, int aWidth)
{
    const QString lDigits = QString::number(aValue);
    for (int i = lDigits.size(); i < aWidth; ++i)
        aText += QLatin1Char('0');
    aText += lDigits;
}
} // namespace

QString gfFormatDateTime(const QDateTime& aDateTime, QLatin1String aPattern)
{
    if (!aDateTime.isValid())
        return QString();
    const QDate lDate = aDateTime.date();
    const QTime lTime = aDateTime.time();
    const std::array<Field, 7> lFields = {{{QLatin1String("yyyy"), 4},
                                           {QLatin1String("MM"), 2},
                                           {QLatin1String("dd"), 2},
                                           {QLatin1String("hh"), 2},
                                           {QLatin1String("mm"), 2},
                                           {QLatin1String("ss"), 2},
                                           {QLatin1String("zzz"), 3}}};
    const std::array<int, 7> lValues = {lDate.year(),   lDate.month(),  lDate.day(), lTime.hour(),
                                        lTime.minute(), lTime.second(), lTime.msec()};
    QString lText;
    lText.reserve(aPattern.size());
    qsizetype lAt = 0;
    while (lAt < aPattern.size()) {
        size_t lField = 0;
        while (lField < lFields.size() && !aPattern.mid(lAt).startsWith(lFields[lField].mvToken))
            ++lField;
        if (lField == lFields.size()) {
            lText += aPattern.at(lAt++);
            continue;
        }
        gpAppendPadded(lText, lValues[lField], lFields[lField].mvWidth);
        lAt += lFields[lField].mvToken.size();
    }
    return lText;
}
