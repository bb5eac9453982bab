#ifndef UBXUTILS_H
#define UBXUTILS_H

#include "UBXCommonExport.h"

#include <QImage>
#include <QString>

// Stateless helpers shared by the codec, the overlays and diagnostics. The
// image functions work on 32-bit images as four bytes per pixel in memory
// order; on this little-endian target byte 3 is alpha and byte 0 blue for
// QImage::Format_ARGB32. Null image pointers are caught by UBX_ASSERT in debug
// builds.

// True when some pixel's byte 3 is not 0; false for images of another depth
// than 32, without scanning them.
UBXCOMMON_EXPORT bool gfHasNonEmptyAlphaChannel(QImage* apImage);

// Writes the low 8 bits of aAlpha into byte 3 of every pixel; images of
// another depth than 32 are left alone.
UBXCOMMON_EXPORT void gpSetAlphaChannel(QImage* apImage, qint32 aAlpha);

// Converts apTarget to QImage::Format_ARGB32 and makes each pixel transparent
// where the mask's pixel has byte 0 at 255 (white) and opaque elsewhere.
// Nothing happens when the two differ in size.
UBXCOMMON_EXPORT void gpApplyAlphaMask(QImage* apTarget, const QImage& aMask);

// Blurs in place with a (2 radius + 1)-cell square Gaussian kernel of fixed
// spread (one cell), whatever the radius; a larger radius only widens the
// window. The kernel's centre lies half a cell right of and below its middle
// cell. Kernel cells that fall outside the image, and every cell in column 0,
// are skipped without renormalising, so pixels near the edges come out darker
// and more transparent; pixels of column 0 that gather no cell at all (all of
// them for radius 0) keep their value. The pixels are taken as width x height
// tightly packed 4-byte pixels whatever the format; an image whose buffer is
// smaller than that, and a negative radius, leave it unchanged.
UBXCOMMON_EXPORT void gfBlurImage(QImage* apImage, int radius);

// Big-endian packing: the most significant byte first.
UBXCOMMON_EXPORT quint16 gfRead16BE(const uchar* apData);
UBXCOMMON_EXPORT quint32 gfRead32BE(const uchar* apData);
UBXCOMMON_EXPORT quint64 gfRead64BE(const uchar* apData);
UBXCOMMON_EXPORT void gpWrite16BE(uchar* apData, quint16 aValue);
UBXCOMMON_EXPORT void gpWrite32BE(uchar* apData, quint32 aValue);
UBXCOMMON_EXPORT void gpWrite64BE(uchar* apData, quint64 aValue);

// aValue rounded to a multiple of aMultiple, which must not be 0.
UBXCOMMON_EXPORT quint32 gfRoundUpToMultiple(quint32 aValue, quint32 aMultiple);
UBXCOMMON_EXPORT quint32 gfRoundDownToMultiple(quint32 aValue, quint32 aMultiple);

// "{" + the decimal hash of a fresh UUID's text + "}".
UBXCOMMON_EXPORT QString gfCreateUniqueId();

// Logs at debug level, for red, green, blue and opaque black painted into a
// pixel of aFormat, which memory byte holds what: "Channel[red]: (b0, b1, b2,
// b3)" and so on.
UBXCOMMON_EXPORT void gpLogImageChannelOrder(QImage::Format aFormat);

#endif
