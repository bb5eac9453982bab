#ifndef IMAGEPSNR_H
#define IMAGEPSNR_H

#include <QImage>

#include <cmath>

// Peak signal-to-noise ratio of the red, green and blue channels of two
// images of the same size, in dB; 99 for identical pictures.
inline double gfPsnr(const QImage& aFirst, const QImage& aSecond)
{
    const QImage lFirst = aFirst.convertToFormat(QImage::Format_RGB32);
    const QImage lSecond = aSecond.convertToFormat(QImage::Format_RGB32);
    double lSum = 0;
    for (int lY = 0; lY < lFirst.height(); ++lY) {
        const QRgb* lA = reinterpret_cast<const QRgb*>(lFirst.constScanLine(lY));
        const QRgb* lB = reinterpret_cast<const QRgb*>(lSecond.constScanLine(lY));
        for (int lX = 0; lX < lFirst.width(); ++lX) {
            for (int lShift : {0, 8, 16}) {
                const int lD = int((lA[lX] >> lShift) & 0xFF) - int((lB[lX] >> lShift) & 0xFF);
                lSum += lD * lD;
            }
        }
    }
    const double lMse = lSum / (3.0 * lFirst.width() * lFirst.height());
    return lMse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / lMse);
}

#endif
