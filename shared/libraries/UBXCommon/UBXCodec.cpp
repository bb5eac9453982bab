#include "UBXCodec.h"

#include "UBXHybridCodec.h"

#include <QThread>

UBXCodec::UBXCodec(const QString& aName)
    : mvParallel(QThread::idealThreadCount() > 1), mvName(aName)
{}

UBXCodec::~UBXCodec() = default;

UBXCodec* UBXCodec::gfCreateCodec(const QString& aName)
{
    if (aName == QLatin1String("HYBRID"))
        return new UBXHybridCodec;
    return nullptr;
}

void UBXCodec::mpBeginFrame(int aWidth, int aHeight)
{
    mpSetSize(qint16(aWidth), qint16(aHeight));
}

void UBXCodec::mpSetSize(qint16 aWidth, qint16 aHeight)
{
    mvWidth = aWidth;
    mvHeight = aHeight;
}
