#include "MemoryBytes.h"

#include <cstring>

void MemoryBytes::mpAppend(const QByteArray& aData)
{
    mvPending.remove(0, mvReadPosition);
    mvReadPosition = 0;
    mvPending.append(aData);
}

qint64 MemoryBytes::mfTake(char* apData, qint64 aMaxSize)
{
    if (aMaxSize > mfAvailable())
        mvOverRead = true;
    const qint64 lCount = qMax<qint64>(0, qMin(aMaxSize, mfAvailable()));
    if (lCount > 0)
        std::memcpy(apData, mvPending.constData() + mvReadPosition, static_cast<size_t>(lCount));
    mvReadPosition += lCount;
    mvConsumed += lCount;
    return lCount;
}

QByteArray MemoryBytes::mfTake(qint64 aMaxSize)
{
    QByteArray lData(qMax<qint64>(0, qMin(aMaxSize, mfAvailable())), Qt::Uninitialized);
    mfTake(lData.data(), aMaxSize);
    return lData;
}
