#include "UBXUtils.h"

#include "ICLoggerModel.h"
#include "UBXAssert.h"

#include <QColor>
#include <QPainter>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {
constexpr char gcSource[] = "shared/libraries/UBXCommon/UBXUtils";
}

bool gfHasNonEmptyAlphaChannel(QImage* apImage)
{
    UBX_ASSERT(apImage, gcSource);
    if (apImage->depth() != 32)
        return false;
    for (int lY = 0; lY < apImage->height(); ++lY) {
        const uchar* lPixel = apImage->constScanLine(lY);
        for (int lX = 0; lX < apImage->width(); ++lX) {
            if (lPixel[4 * lX + 3] != 0)
                return true;
        }
    }
    return false;
}

void gpSetAlphaChannel(QImage* apImage, qint32 aAlpha)
{
    UBX_ASSERT(apImage, gcSource);
    if (apImage->depth() != 32)
        return;
    for (int lY = 0; lY < apImage->height(); ++lY) {
        uchar* lPixel = apImage->scanLine(lY);
        for (int lX = 0; lX < apImage->width(); ++lX)
            lPixel[4 * lX + 3] = uchar(aAlpha);
    }
}

void gpApplyAlphaMask(QImage* apTarget, const QImage& aMask)
{
    UBX_ASSERT(apTarget, gcSource);
    if (apTarget->size() != aMask.size())
        return;
    *apTarget = apTarget->convertToFormat(QImage::Format_ARGB32);
    const QImage lMask = aMask.convertToFormat(QImage::Format_ARGB32);
    // 32-bit lines are never padded: the pixels form one run.
    uchar* lTarget = apTarget->bits();
    const uchar* lMaskPixel = lMask.constBits();
    const qsizetype lPixels = qsizetype(apTarget->width()) * apTarget->height();
    for (qsizetype lIndex = 0; lIndex < lPixels; ++lIndex)
        lTarget[4 * lIndex + 3] = lMaskPixel[4 * lIndex] < 255 ? 255 : 0;
}

void gfBlurImage(QImage* apImage, int radius)
{
    UBX_ASSERT(apImage != NULL, gcSource);
    const int lWidth = apImage->width();
    const int lHeight = apImage->height();
    const size_t lBytes = size_t(lWidth) * size_t(lHeight) * 4;
    if (radius < 0 || lBytes == 0 || size_t(apImage->sizeInBytes()) < lBytes)
        return;
    const int lSize = 2 * radius + 1;
    const float lCentre = 0.5f * float(lSize);
    const float lFactor = 1.0f / (2.0f * 3.1415f);
    std::vector<float> lKernel(size_t(lSize) * size_t(lSize));
    float lSum = 0.0f;
    for (int lJ = 0; lJ < lSize; ++lJ) {
        for (int lI = 0; lI < lSize; ++lI) {
            const float lDy = lCentre - float(lJ);
            const float lDx = lCentre - float(lI);
            const float lWeight = lFactor * std::pow(2.718f, -(lDx * lDx + lDy * lDy) / 2.0f);
            lKernel[size_t(lJ * lSize + lI)] = lWeight;
            lSum += lWeight;
        }
    }
    for (float& lWeight : lKernel)
        lWeight /= lSum;

    auto* lSource = static_cast<uchar*>(std::malloc(lBytes));
    if (lSource == nullptr)
        return;
    std::memcpy(lSource, apImage->constBits(), lBytes);
    uchar* lTarget = apImage->bits();
    for (int lY = 0; lY < lHeight; ++lY) {
        for (int lX = 0; lX < lWidth; ++lX) {
            // Kernel columns whose source lies in columns 1 .. width - 1; the
            // sums run over the cells in kernel order.
            const int lFirstI = std::max(0, radius - lX + 1);
            const int lEndI = std::min(lSize, lWidth - lX + radius);
            float lSums[4] = {0.0f, 0.0f, 0.0f, 0.0f};
            int lCount = 0;
            for (int lJ = 0; lJ < lSize; ++lJ) {
                const int lSourceY = lY - radius + lJ;
                if (lSourceY < 0 || lSourceY >= lHeight)
                    continue;
                const uchar* lRow = lSource + size_t(lSourceY) * size_t(lWidth) * 4;
                for (int lI = lFirstI; lI < lEndI; ++lI) {
                    const uchar* lPixel = lRow + size_t(lX - radius + lI) * 4;
                    const float lWeight = lKernel[size_t(lJ * lSize + lI)];
                    for (int lK = 0; lK < 4; ++lK)
                        lSums[lK] += float(lPixel[lK]) * lWeight;
                    ++lCount;
                }
            }
            if (lCount == 0)
                continue;
            uchar* lPixel = lTarget + (size_t(lY) * size_t(lWidth) + size_t(lX)) * 4;
            for (int lK = 0; lK < 4; ++lK)
                lPixel[lK] = uchar(int(lSums[lK]));
        }
    }
    std::free(lSource);
}

quint16 gfRead16BE(const uchar* apData)
{
    return quint16(apData[0] << 8 | apData[1]);
}

quint32 gfRead32BE(const uchar* apData)
{
    return quint32(apData[0]) << 24 | quint32(apData[1]) << 16 | quint32(apData[2]) << 8 |
           quint32(apData[3]);
}

quint64 gfRead64BE(const uchar* apData)
{
    return quint64(gfRead32BE(apData)) << 32 | gfRead32BE(apData + 4);
}

void gpWrite16BE(uchar* apData, quint16 aValue)
{
    apData[0] = uchar(aValue >> 8);
    apData[1] = uchar(aValue);
}

void gpWrite32BE(uchar* apData, quint32 aValue)
{
    gpWrite16BE(apData, quint16(aValue >> 16));
    gpWrite16BE(apData + 2, quint16(aValue));
}

void gpWrite64BE(uchar* apData, quint64 aValue)
{
    gpWrite32BE(apData, quint32(aValue >> 32));
    gpWrite32BE(apData + 4, quint32(aValue));
}

quint32 gfRoundUpToMultiple(quint32 aValue, quint32 aMultiple)
{
    const quint32 lRest = aValue % aMultiple;
    return lRest == 0 ? aValue : aValue + aMultiple - lRest;
}

quint32 gfRoundDownToMultiple(quint32 aValue, quint32 aMultiple)
{
    return aValue - aValue % aMultiple;
}

QString gfCreateUniqueId()
{
    return QStringLiteral("{%1}").arg(qHash(QUuid::createUuid().toString()));
}

void gpLogImageChannelOrder(QImage::Format aFormat)
{
    const std::pair<const char*, QColor> lChannels[] = {{"red", QColor(255, 0, 0, 255)},
                                                        {"green", QColor(0, 255, 0, 255)},
                                                        {"blue", QColor(0, 0, 255, 255)},
                                                        {"alpha", QColor(0, 0, 0, 255)}};
    for (const auto& [lName, lColor] : lChannels) {
        QImage lImage(1, 1, aFormat);
        if (lImage.isNull())
            return; // no pixel to look at in an invalid format
        {
            QPainter lPainter(&lImage);
            lPainter.setRenderHint(QPainter::Antialiasing, false);
            lPainter.setPen(Qt::NoPen);
            lPainter.setBrush(QBrush(lColor, Qt::SolidPattern));
            lPainter.drawRect(0, 0, 1, 1);
        }
        const uchar* lBytes = lImage.constBits();
        ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("Channel[%1]: (%2, %3, %4, %5)")
                                                    .arg(QLatin1String(lName))
                                                    .arg(lBytes[0])
                                                    .arg(lBytes[1])
                                                    .arg(lBytes[2])
                                                    .arg(lBytes[3]));
    }
}
