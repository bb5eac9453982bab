#include "JsonFuzzInput.h"

#include "UBXJson.h"

#include <QStringList>

QVariant gfRoundTripped(const QVariant& aValue)
{
    if (!aValue.isValid())
        return aValue;
    switch (aValue.metaType().id()) {
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        QVariantList lList;
        for (const QVariant& lElement : aValue.toList())
            lList.append(gfRoundTripped(lElement));
        return lList;
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        // Keys that become equal once written keep the value written last.
        QVariantMap lMap;
        const auto lAdd = [&lMap](const QString& aKey, const QVariant& aMember) {
            lMap.insert(QString::fromUtf8(aKey.toUtf8()), gfRoundTripped(aMember));
        };
        if (aValue.metaType().id() == QMetaType::QVariantMap) {
            const QVariantMap lSource = aValue.toMap();
            for (auto lIterator = lSource.cbegin(); lIterator != lSource.cend(); ++lIterator)
                lAdd(lIterator.key(), lIterator.value());
        } else {
            const QVariantHash lSource = aValue.toHash();
            for (auto lIterator = lSource.cbegin(); lIterator != lSource.cend(); ++lIterator)
                lAdd(lIterator.key(), lIterator.value());
        }
        return lMap;
    }
    case QMetaType::QString:
        return QString::fromUtf8(aValue.toString().toUtf8());
    case QMetaType::QByteArray:
        return QString::fromUtf8(aValue.toByteArray());
    case QMetaType::Double: {
        const double lValue = aValue.toDouble();
        if (gfSerializeJson(aValue).contains('.'))
            return lValue;
        return lValue < 0 ? QVariant(qlonglong(0)) : QVariant(qulonglong(0));
    }
    case QMetaType::Bool:
    case QMetaType::ULongLong:
        return aValue;
    default: {
        const qlonglong lValue = aValue.toLongLong();
        return lValue < 0 ? QVariant(lValue) : QVariant(qulonglong(lValue));
    }
    }
}

bool gfSameJsonTree(const QVariant& aLeft, const QVariant& aRight)
{
    if (aLeft.metaType() != aRight.metaType())
        return false;
    if (aLeft.metaType().id() == QMetaType::QVariantList) {
        const QVariantList lLeft = aLeft.toList();
        const QVariantList lRight = aRight.toList();
        if (lLeft.size() != lRight.size())
            return false;
        for (qsizetype lIndex = 0; lIndex < lLeft.size(); ++lIndex) {
            if (!gfSameJsonTree(lLeft[lIndex], lRight[lIndex]))
                return false;
        }
        return true;
    }
    if (aLeft.metaType().id() == QMetaType::QVariantMap) {
        const QVariantMap lLeft = aLeft.toMap();
        const QVariantMap lRight = aRight.toMap();
        if (lLeft.keys() != lRight.keys())
            return false;
        for (auto lIterator = lLeft.cbegin(); lIterator != lLeft.cend(); ++lIterator) {
            if (!gfSameJsonTree(lIterator.value(), lRight.value(lIterator.key())))
                return false;
        }
        return true;
    }
    return aLeft == aRight;
}

namespace {
bool gfCheckText(const QString& aText)
{
    bool lSuccess = false;
    const QVariant lTree = gfParseJson(aText, lSuccess);
    if (!lSuccess)
        return true;
    const QByteArray lJson = gfSerializeJson(lTree, lSuccess);
    if (!lSuccess)
        return false;
    const QVariant lBack = gfParseJson(QString::fromUtf8(lJson), lSuccess);
    return lSuccess && gfSameJsonTree(lBack, gfRoundTripped(lTree));
}
} // namespace

bool gfCheckJsonInput(const uint8_t* apData, size_t aSize)
{
    const QByteArrayView lBytes(apData, qsizetype(aSize));
    return gfCheckText(QString::fromUtf8(lBytes)) && gfCheckText(QString::fromLatin1(lBytes));
}
