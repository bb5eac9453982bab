#ifndef SHAREDDATA_H
#define SHAREDDATA_H

#include <QFileInfo>
#include <QImage>
#include <QTest>

#include <cmath>

// The real screens of the shared data folder (BEAMORA_DATA_DIR) live beside the source
// tree: a checkout without them skips what needs them instead of failing.
#define BEAMORA_SKIP_WITHOUT_SHARED_DATA(aPath)                                                    \
    do {                                                                                           \
        if (!QFileInfo::exists(aPath))                                                             \
            QSKIP(qPrintable(QStringLiteral("%1 not found: set BEAMORA_DATA_DIR (CMake or "        \
                                            "environment) to the shared data folder")              \
                                 .arg(aPath)));                                                    \
    } while (false)

// Peak signal-to-noise ratio of the red, green and blue channels of two
// images, in dB; 99 for identical pictures, 0 for pictures of other sizes.
inline double gfPsnr(const QImage& aFirst, const QImage& aSecond)
{
    const QImage lA = aFirst.convertToFormat(QImage::Format_RGB888);
    const QImage lB = aSecond.convertToFormat(QImage::Format_RGB888);
    if (lA.size() != lB.size())
        return 0;
    double lSum = 0;
    for (int lY = 0; lY < lA.height(); ++lY)
        for (int lX = 0; lX < 3 * lA.width(); ++lX)
            lSum += std::pow(lA.constScanLine(lY)[lX] - lB.constScanLine(lY)[lX], 2);
    const double lMse = lSum / (3.0 * lA.width() * lA.height());
    return lMse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / lMse);
}

#endif // SHAREDDATA_H
