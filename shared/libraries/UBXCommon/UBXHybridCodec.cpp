#include "UBXHybridCodec.h"

#include "ICLoggerModel.h"
#include "RLE_Block_p.h"
#include "UBXCluster.h"
#include "UBXFrameUpdate.h"
#include "UBXFrameUpdateImage.h"
#include "UBXScreenGrabberImage.h"

#include <QBuffer>
#include <QDataStream>
#include <QImageReader>
#include <QPainter>
#include <QtConcurrent>

#include <turbojpeg.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {
const qint8 sRleBlock = 0;
const qint8 sJpegBlock = 1;
const qint8 sPngBlock = 2;
// Pending areas are re-sent once they stayed still this long.
const qint64 sRefreshDelayMs = 500;
// Time in JPEG state before the next hybrid probe frame.
const qint64 sProbeIntervalMs = 3000;

// Fixed-size open-addressing map from colour to palette index. Colours
// always carry alpha 0xFF, so 0 marks a free slot.
class PaletteIndex
{
public:
    PaletteIndex() { std::memset(mvKeys, 0, sizeof(mvKeys)); }
    // The index of aColor, or -1 after noting where it would go.
    int mfFind(QRgb aColor)
    {
        mvSlot = (aColor * 0x9E3779B1u) >> (32 - sBits);
        while (mvKeys[mvSlot] != 0) {
            if (mvKeys[mvSlot] == aColor)
                return mvValues[mvSlot];
            mvSlot = (mvSlot + 1) & (sSize - 1);
        }
        return -1;
    }
    // Stores aColor in the slot the last failed mfFind noted.
    void mpInsert(QRgb aColor, int aIndex)
    {
        mvKeys[mvSlot] = aColor;
        mvValues[mvSlot] = uchar(aIndex);
    }

private:
    static constexpr int sBits = 9;
    static constexpr quint32 sSize = 1u << sBits; // twice the largest palette
    QRgb mvKeys[sSize];
    uchar mvValues[sSize];
    quint32 mvSlot = 0;
};

inline QRgb gfPixel(const uchar* apPixel, quint32 aBytesPerPixel)
{
    if (aBytesPerPixel == 4) {
        quint32 lValue;
        std::memcpy(&lValue, apPixel, 4);
        return qFromLittleEndian(lValue) | 0xFF000000u;
    }
    return 0xFF000000u | (quint32(apPixel[0]) << 16) | (quint32(apPixel[1]) << 8) | apPixel[2];
}

// Run-length codes one tile into aBlock; false when the tile does not fit
// the palette or is clearly over its budget (only for tiles wider than 50
// and higher than 50 pixels, judged after more than half the rows).
bool gfCodeRle(const UBXScreenGrabberImage& aSource, const QRect& aTile, RLE_Block& aBlock)
{
    const int lWidth = aTile.width();
    const int lHeight = aTile.height();
    const qint64 lBudget = qint64(lWidth) * lHeight * 3 / 2;
    qint64 lEstimate = 1;
    const quint32 lBytesPerPixel = aSource.mfGetBytesPerPixel();
    aBlock.mvX = qint16(aTile.x());
    aBlock.mvY = qint16(aTile.y());
    aBlock.mvWidth = qint16(lWidth);
    aBlock.mvHeight = qint16(lHeight);
    aBlock.mvColorCount = 0;
    aBlock.mvSpanCount = 0;
    if (!aBlock.mfReserve(1, 1))
        return false;
    PaletteIndex lIndex;
    QRgb lPrevious = 0;
    uchar* lRun = nullptr; // the open span's length byte
    for (int lRow = 0; lRow < lHeight; ++lRow) {
        const uchar* lPixel = aSource.mfGetScanLine(aTile.y() + lRow) + aTile.x() * lBytesPerPixel;
        for (int lColumn = 0; lColumn < lWidth; ++lColumn, lPixel += lBytesPerPixel) {
            const QRgb lColor = gfPixel(lPixel, lBytesPerPixel);
            if (lRun && lColor == lPrevious && *lRun < 255) {
                ++*lRun;
                continue;
            }
            int lColorIndex = lIndex.mfFind(lColor);
            if (lColorIndex < 0) {
                if (aBlock.mvColorCount == RLE_Block::gcMaxColors)
                    return false;
                lColorIndex = aBlock.mvColorCount;
                lIndex.mpInsert(lColor, lColorIndex);
                lEstimate += lRun ? 6 : 4;
            } else {
                lEstimate += 2;
            }
            if ((aBlock.mvSpanCount == aBlock.mvSpanCapacity ||
                 aBlock.mvColorCount == aBlock.mvColorCapacity) &&
                !aBlock.mfExpand())
                return false;
            if (lColorIndex == aBlock.mvColorCount)
                aBlock.mvColors[aBlock.mvColorCount++] = lColor;
            uchar* lSpan = aBlock.mvSpans + 2 * aBlock.mvSpanCount++;
            lSpan[0] = uchar(lColorIndex);
            lSpan[1] = 1;
            lRun = lSpan + 1;
            lPrevious = lColor;
        }
        const int lRowsDone = lRow + 1;
        if (lRowsDone > 4 && lRowsDone % 3 == 0) {
            const float lFraction = float(lRowsDone) / float(lHeight);
            if (lFraction > 0.5f && float(lEstimate) / lFraction > float(lBudget) && lWidth >= 51 &&
                lHeight > 50)
                return false;
        }
    }
    return true;
}

inline char* gfPut16(char* apOut, quint16 aValue)
{
    qToBigEndian(aValue, apOut);
    return apOut + 2;
}

inline char* gfPut32(char* apOut, quint32 aValue)
{
    qToBigEndian(aValue, apOut);
    return apOut + 4;
}

// The block in the stream layout, byte for byte what QDataStream writes.
QByteArray gfSerializeRle(const RLE_Block& aBlock)
{
    QByteArray lBytes(10 + 4 * aBlock.mvColorCount + 2 + 2 * aBlock.mvSpanCount, Qt::Uninitialized);
    char* lOut = lBytes.data();
    *lOut++ = char(sRleBlock);
    lOut = gfPut16(lOut, quint16(aBlock.mvX));
    lOut = gfPut16(lOut, quint16(aBlock.mvY));
    lOut = gfPut16(lOut, quint16(aBlock.mvWidth));
    lOut = gfPut16(lOut, quint16(aBlock.mvHeight));
    *lOut++ = char(aBlock.mvColorCount & 0xFF); // 256 colours are written as 0
    for (int lColor = 0; lColor < aBlock.mvColorCount; ++lColor)
        lOut = gfPut32(lOut, aBlock.mvColors[lColor]);
    lOut = gfPut16(lOut, aBlock.mvSpanCount);
    std::memcpy(lOut, aBlock.mvSpans, 2 * aBlock.mvSpanCount);
    return lBytes;
}

int gfJpegQuality(int aQuality)
{
    return aQuality < 0 ? 75 : qBound(1, aQuality, 100);
}

// A JPEG file of the tile, compressed straight from the grab's buffer.
QByteArray gfWriteJpeg(const UBXScreenGrabberImage& aSource, const QRect& aTile, int aQuality)
{
    QByteArray lFile;
    tjhandle lHandle = tjInitCompress();
    unsigned char* lJpeg = nullptr;
    unsigned long lSize = 0;
    const quint32 lBytesPerPixel = aSource.mfGetBytesPerPixel();
    const int lPixelFormat = lBytesPerPixel == 4 ? TJPF_BGRX : TJPF_RGB;
    const uchar* lFirst = aSource.mfGetScanLine(aTile.y()) + aTile.x() * lBytesPerPixel;
    if (lHandle && tjCompress2(lHandle, lFirst, aTile.width(), int(aSource.mfGetBytesPerLine()),
                               aTile.height(), lPixelFormat, &lJpeg, &lSize, TJSAMP_420,
                               gfJpegQuality(aQuality), 0) == 0)
        lFile = QByteArray(reinterpret_cast<const char*>(lJpeg), qsizetype(lSize));
    else
        std::printf("Could not convert image to jpeg\n");
    tjFree(lJpeg);
    if (lHandle)
        tjDestroy(lHandle);
    return lFile;
}

QByteArray gfWritePng(const UBXScreenGrabberImage& aSource, const QRect& aTile)
{
    const QImage lView(aSource.mfGetData(), aSource.mfGetSize().width(),
                       aSource.mfGetSize().height(), int(aSource.mfGetBytesPerLine()),
                       aSource.mfGetFormat());
    QByteArray lFile;
    QBuffer lBuffer(&lFile);
    lBuffer.open(QIODevice::WriteOnly);
    if (!lView.copy(aTile).save(&lBuffer, "PNG"))
        std::printf("Could not convert image to png\n");
    return lFile;
}

struct _RLEEncodingTask
{
    QRect mvTile;
    QByteArray mvBlock; // empty when the tile failed
};

struct _JPEGEncodingTask
{
    QRect mvTile;
    int mvQuality;
    QByteArray mvBlock;
};

using _PNGEncodingTask = _JPEGEncodingTask;

QByteArray gfImageBlock(qint8 aType, const QRect& aTile, const QByteArray& aFile)
{
    QByteArray lBlock(9, Qt::Uninitialized);
    char* lOut = lBlock.data();
    *lOut++ = char(aType);
    lOut = gfPut32(lOut, quint32(aFile.size()));
    lOut = gfPut16(lOut, quint16(aTile.x()));
    gfPut16(lOut, quint16(aTile.y()));
    return lBlock + aFile;
}

// Decompresses qCompress output. The length in front is only a hint from
// the sender: the output grows as data really comes out, up to eight bytes
// per pixel of the canvas the frame's own header announces (a real frame is
// far smaller), so a small hostile input cannot claim much memory.
QByteArray gfUncompress(const QByteArray& aInput)
{
    if (aInput.size() < 5)
        return QByteArray();
    const qsizetype lHint = qFromBigEndian<quint32>(aInput.constData());
    const qsizetype lHeaderSize = 8;
    qsizetype lLimit = lHeaderSize;
    QByteArray lOutput(qBound<qsizetype>(lHeaderSize, lHint, 1 << 20), Qt::Uninitialized);
    z_stream lStream{};
    if (inflateInit(&lStream) != Z_OK)
        return QByteArray();
    lStream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(aInput.constData() + 4));
    lStream.avail_in = uInt(aInput.size() - 4);
    int lResult = Z_OK;
    while (lResult == Z_OK) {
        const qsizetype lProduced = qsizetype(lStream.total_out);
        if (lProduced == lOutput.size()) {
            if (lLimit == lHeaderSize) {
                const int lWidth = qFromBigEndian<qint16>(lOutput.constData() + 4);
                const int lHeight = qFromBigEndian<qint16>(lOutput.constData() + 6);
                lLimit = qsizetype(8) * qBound(0, lWidth, UBXHybridCodec::gcMaxCanvasSide) *
                             qBound(0, lHeight, UBXHybridCodec::gcMaxCanvasSide) +
                         (qsizetype(1) << 16);
            }
            if (lProduced >= lLimit)
                break;
            lOutput.resize(qMin(lLimit, 2 * lOutput.size()));
        }
        lStream.next_out = reinterpret_cast<Bytef*>(lOutput.data() + lProduced);
        lStream.avail_out = uInt(lOutput.size() - lProduced);
        lResult = inflate(&lStream, Z_NO_FLUSH);
    }
    const qsizetype lProduced = qsizetype(lStream.total_out);
    inflateEnd(&lStream);
    if (lResult != Z_STREAM_END)
        return QByteArray();
    lOutput.truncate(lProduced);
    return lOutput;
}

// Bounded big-endian reading over one frame's bytes.
class FrameReader
{
public:
    explicit FrameReader(const QByteArray& aData)
        : mvData(reinterpret_cast<const uchar*>(aData.constData())), mvSize(aData.size())
    {}
    bool mfAtEnd() const { return mvPos >= mvSize; }
    qsizetype mfPos() const { return mvPos; }
    qsizetype mfLeft() const { return mvSize - mvPos; }
    bool mfRead8(quint8& aValue) { return mfTake(1) && (aValue = mvData[mvPos - 1], true); }
    bool mfRead16(qint16& aValue)
    {
        return mfTake(2) && (aValue = qFromBigEndian<qint16>(mvData + mvPos - 2), true);
    }
    bool mfRead32(qint32& aValue)
    {
        return mfTake(4) && (aValue = qFromBigEndian<qint32>(mvData + mvPos - 4), true);
    }
    const uchar* mfTakeBytes(qsizetype aCount)
    {
        return mfTake(aCount) ? mvData + mvPos - aCount : nullptr;
    }

private:
    bool mfTake(qsizetype aCount)
    {
        if (aCount < 0 || aCount > mvSize - mvPos)
            return false;
        mvPos += aCount;
        return true;
    }

    const uchar* mvData;
    qsizetype mvSize;
    qsizetype mvPos = 0;
};

struct UBXImageDecodingTask
{
    QByteArray mvFile; // shares the frame's bytes
    const char* mvFormat;
    QRect mvRect;
    QImage mvImage; // null when decoding failed
};

// The size a tile file announces, read from its header only; invalid when
// the header cannot be read.
QSize gfTileSize(const QByteArray& aFile, const char* aFormat)
{
    if (qstrcmp(aFormat, "PNG") != 0) {
        tjhandle lHandle = tjInitDecompress();
        int lWidth = 0, lHeight = 0, lSubsampling = 0, lColorspace = 0;
        const bool lOk =
            lHandle && tjDecompressHeader3(lHandle, reinterpret_cast<const uchar*>(aFile.data()),
                                           (unsigned long)aFile.size(), &lWidth, &lHeight,
                                           &lSubsampling, &lColorspace) == 0;
        if (lHandle)
            tjDestroy(lHandle);
        return lOk ? QSize(lWidth, lHeight) : QSize();
    }
    QByteArray lFile = aFile;
    QBuffer lBuffer(&lFile);
    lBuffer.open(QIODevice::ReadOnly);
    QImageReader lReader(&lBuffer, "PNG");
    return lReader.size();
}

// Decodes a tile whose announced size was checked against the canvas.
void gpDecodeTile(UBXImageDecodingTask& aTask)
{
    if (qstrcmp(aTask.mvFormat, "PNG") == 0) {
        aTask.mvImage.loadFromData(aTask.mvFile, "PNG");
        if (aTask.mvImage.size() != aTask.mvRect.size())
            aTask.mvImage = QImage();
        return;
    }
    QImage lImage(aTask.mvRect.size(), QImage::Format_ARGB32);
    tjhandle lHandle = tjInitDecompress();
    const int lPixelFormat = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? TJPF_BGRA : TJPF_ARGB;
    // Damaged data fails here (warnings included): a half-decoded tile is
    // not painted. The scan limit bounds the time of hostile progressive files.
    if (lHandle && !lImage.isNull() &&
        tjDecompress2(lHandle, reinterpret_cast<const uchar*>(aTask.mvFile.constData()),
                      (unsigned long)aTask.mvFile.size(), lImage.bits(), lImage.width(),
                      int(lImage.bytesPerLine()), lImage.height(), lPixelFormat,
                      TJFLAG_LIMITSCANS) == 0)
        aTask.mvImage = lImage;
    if (lHandle)
        tjDestroy(lHandle);
}

// Tiles replace what they cover; the transparent gaps of a partly painted
// run-length block (aBlend) leave the canvas as it was.
void gpDrawImage(QImage& aCanvas, const QImage& aImage, const QPoint& aPos, const QRegion& aClip,
                 bool aBlend = false)
{
    QPainter lPainter(&aCanvas);
    if (!aBlend)
        lPainter.setCompositionMode(QPainter::CompositionMode_Source);
    if (!aClip.isEmpty())
        lPainter.setClipRegion(QRegion(aCanvas.rect()) - aClip);
    lPainter.drawImage(aPos, aImage);
}

// Paints the runs of a block that lies inside the canvas. Runs past the
// block's end and colour indices beyond the palette end the painting and
// make the result false.
bool gfPaintRuns(QImage& aCanvas, const RLE_Block& aBlock, const QRegion& aClip)
{
    const int lWidth = aBlock.mvWidth;
    const int lHeight = aBlock.mvHeight;
    QImage lTemporary;
    if (!aClip.isEmpty()) {
        lTemporary = QImage(lWidth, lHeight, QImage::Format_ARGB32);
        if (lTemporary.isNull())
            return false;
        lTemporary.fill(Qt::transparent);
    }
    // Straight into the canvas each pixel keeps its fourth byte; the
    // temporary image gets opaque pixels where runs land.
    const bool lDirect = lTemporary.isNull();
    const quint32 lKeep = lDirect ? 0xFF000000u : 0u;
    const auto lLineAt = [&](int aRow) {
        return reinterpret_cast<QRgb*>(lDirect
                                           ? aCanvas.scanLine(aBlock.mvY + aRow) + 4 * aBlock.mvX
                                           : lTemporary.scanLine(aRow));
    };
    int lColumn = 0;
    int lRow = 0;
    bool lValid = true;
    QRgb* lLine = lLineAt(0);
    for (int lSpan = 0; lSpan < aBlock.mvSpanCount && lValid; ++lSpan) {
        const uchar lIndex = aBlock.mvSpans[2 * lSpan];
        lValid = lIndex < aBlock.mvColorCount;
        if (!lValid)
            break;
        const QRgb lBits =
            lDirect ? aBlock.mvColors[lIndex] & 0x00FFFFFFu : aBlock.mvColors[lIndex] | 0xFF000000u;
        for (int lLeft = aBlock.mvSpans[2 * lSpan + 1]; lLeft > 0;) {
            if (lRow == lHeight) {
                lValid = false;
                break;
            }
            const int lCount = qMin(lLeft, lWidth - lColumn);
            QRgb* lPixel = lLine + lColumn;
            for (int lDone = 0; lDone < lCount; ++lDone)
                lPixel[lDone] = (lPixel[lDone] & lKeep) | lBits;
            lColumn += lCount;
            lLeft -= lCount;
            if (lColumn == lWidth) {
                lColumn = 0;
                if (++lRow < lHeight)
                    lLine = lLineAt(lRow);
            }
        }
    }
    if (!lTemporary.isNull())
        gpDrawImage(aCanvas, lTemporary, QPoint(aBlock.mvX, aBlock.mvY), aClip, true);
    return lValid;
}
} // namespace

UBXHybridCodec::UBXHybridCodec() : UBXCodec(QStringLiteral("HYBRID")), mvOutput(new QByteArray) {}

UBXHybridCodec::~UBXHybridCodec()
{
    delete mvCanvas;
    if (mvOwnsOutput)
        delete mvOutput;
}

void UBXHybridCodec::mpSetOutput(QByteArray* apOutput)
{
    if (mvOwnsOutput)
        delete mvOutput;
    mvOwnsOutput = apOutput == nullptr;
    mvOutput = apOutput ? apOutput : new QByteArray;
}

void UBXHybridCodec::mpBeginFrame(int aWidth, int aHeight)
{
    UBXCodec::mpBeginFrame(aWidth, aHeight);
    mvOutput->clear();
    QDataStream lStream(mvOutput, QIODevice::WriteOnly);
    lStream.setVersion(QDataStream::Qt_4_1);
    lStream << mvHeaderValue << mvWidth << mvHeight;
    mvTotalPixels = quint32(aWidth) * quint32(aHeight);
    mvRlePixels = 0;
    mvJpegPixels = 0;
    mvPngPixels = 0;
}

void UBXHybridCodec::mpEncodeRegion(UBXScreenGrabberImage* apSource, const QRegion& aChanged)
{
    mpEncode(apSource, aChanged, true);
}

void UBXHybridCodec::mpEncode(UBXScreenGrabberImage* apSource, const QRegion& aChanged,
                              bool aNewChange)
{
    if (!apSource || !apSource->mfGetData() || mvTileSize < 1)
        return;
    const QRect lBounds(QPoint(0, 0), apSource->mfGetSize());
    for (const QRect& lRect : aChanged) {
        if (lRect.left() > lRect.right() || lRect.top() > lRect.bottom() || lRect.isNull())
            continue;
        const QRect lInside = lRect & lBounds;
        if (!lInside.isEmpty())
            mpEncodeRectangle(apSource, lInside, aNewChange);
    }
}

void UBXHybridCodec::mpEncodeRectangle(UBXScreenGrabberImage* apSource, const QRect& aRect,
                                       bool aNewChange)
{
    const int lRows = (aRect.height() + mvTileSize - 1) / mvTileSize;
    const int lColumns = (aRect.width() + mvTileSize - 1) / mvTileSize;
    std::vector<char> lGrid(size_t(lRows) * size_t(lColumns), 0);
    const auto lTile = [&](int aRow, int aColumn) {
        return QRect(aRect.x() + aColumn * mvTileSize, aRect.y() + aRow * mvTileSize,
                     qMin(mvTileSize, aRect.width() - aColumn * mvTileSize),
                     qMin(mvTileSize, aRect.height() - aRow * mvTileSize));
    };
    int lJpegTiles = 0;
    int lPngTiles = 0;
    if (mvTileMode == HybridTiles) {
        QVector<_RLEEncodingTask> lTasks;
        lTasks.reserve(lRows * lColumns);
        for (int lRow = 0; lRow < lRows; ++lRow) {
            for (int lColumn = 0; lColumn < lColumns; ++lColumn)
                lTasks.append({lTile(lRow, lColumn), QByteArray()});
        }
        const auto lCode = [apSource](_RLEEncodingTask& aTask) {
            RLE_Block* lBlock = RLE_Block::gfTake();
            if (gfCodeRle(*apSource, aTask.mvTile, *lBlock))
                aTask.mvBlock = gfSerializeRle(*lBlock);
            RLE_Block::gpGiveBack(lBlock);
        };
        if (mvParallel)
            QtConcurrent::blockingMap(lTasks, lCode);
        else
            std::for_each(lTasks.begin(), lTasks.end(), lCode);
        QRegion lExact;
        for (int lIndex = 0; lIndex < lTasks.size(); ++lIndex) {
            const _RLEEncodingTask& lTask = lTasks.at(lIndex);
            if (lTask.mvBlock.isEmpty()) {
                lGrid[lIndex] = 1;
                ++lJpegTiles;
                continue;
            }
            mvOutput->append(lTask.mvBlock);
            mvRlePixels += quint32(lTask.mvTile.width() * lTask.mvTile.height());
            lExact += lTask.mvTile;
        }
        if (!lExact.isEmpty()) {
            for (PendingArea& lPending : mvRefreshList)
                lPending.mvArea -= lExact;
        }
    } else {
        std::fill(lGrid.begin(), lGrid.end(), 1);
        (mvTileMode == JpegTiles ? lJpegTiles : lPngTiles) = lRows * lColumns;
    }
    if (lJpegTiles == 0 && lPngTiles == 0)
        return;

    QList<UBXCluster> lClusters;
    gfFindClusters(lGrid.data(), lRows, lColumns, lClusters);
    QVector<QRect> lRects;
    QRegion lCoded;
    for (const UBXCluster& lCluster : lClusters) {
        const int lX = lCluster.mvX * mvTileSize + aRect.left();
        const int lY = lCluster.mvY * mvTileSize + aRect.top();
        const QRect lPixels(lX, lY, qMin(lCluster.mvWidth * mvTileSize, aRect.right() + 1 - lX),
                            qMin(lCluster.mvHeight * mvTileSize, aRect.bottom() + 1 - lY));
        lRects.append(lPixels);
        lCoded += lPixels;
        const quint32 lCount = quint32(lPixels.width() * lPixels.height());
        (lJpegTiles ? mvJpegPixels : mvPngPixels) += lCount;
    }
    if (lPngTiles) {
        mpEncodeImageTiles(apSource, lRects, sPngBlock, 0);
        return;
    }
    mpEncodeImageTiles(apSource, lRects, sJpegBlock, aNewChange ? mvNewQuality : mvRefreshQuality);
    if (aNewChange) {
        for (PendingArea& lPending : mvRefreshList)
            lPending.mvArea -= lCoded;
        mvRefreshList.append(PendingArea{lCoded, QElapsedTimer()});
        mvRefreshList.last().mvTimer.start();
    }
}

void UBXHybridCodec::mpEncodeImageTiles(UBXScreenGrabberImage* apSource,
                                        const QVector<QRect>& aRects, qint8 aType, int aQuality)
{
    QVector<_JPEGEncodingTask> lTasks;
    lTasks.reserve(aRects.size());
    for (const QRect& lRect : aRects)
        lTasks.append({lRect, aQuality, QByteArray()});
    const auto lCode = [apSource, aType](_JPEGEncodingTask& aTask) {
        const QByteArray lFile = aType == sJpegBlock
                                     ? gfWriteJpeg(*apSource, aTask.mvTile, aTask.mvQuality)
                                     : gfWritePng(*apSource, aTask.mvTile);
        aTask.mvBlock = gfImageBlock(aType, aTask.mvTile, lFile);
    };
    // Tiles are coded in any order but always appended in task order.
    if (mvParallel && lTasks.size() > 1)
        QtConcurrent::blockingMap(lTasks, lCode);
    else
        std::for_each(lTasks.begin(), lTasks.end(), lCode);
    for (const _JPEGEncodingTask& lTask : lTasks)
        mvOutput->append(lTask.mvBlock);
}

bool UBXHybridCodec::mfUpdateQuality(int aTimeLimit, UBXScreenGrabberImage* apSource)
{
    if (mvRefreshList.isEmpty())
        return false;
    QElapsedTimer lTimer;
    lTimer.start();
    bool lAny = false;
    while (!mvRefreshList.isEmpty() && lTimer.elapsed() < aTimeLimit) {
        if (!mfRefreshOldestArea(apSource))
            break;
        lAny = true;
        if (lTimer.elapsed() >= aTimeLimit)
            ICLoggerModel::instance()->mpLog(
                Debug, QStringLiteral("Stopping updating quality due to time: %1 vs %2.")
                           .arg(lTimer.elapsed())
                           .arg(aTimeLimit));
    }
    return lAny;
}

bool UBXHybridCodec::mfRefreshOldestArea(UBXScreenGrabberImage* apSource)
{
    PendingArea& lOldest = mvRefreshList.first();
    if (lOldest.mvTimer.elapsed() < sRefreshDelayMs)
        return false;
    if (!lOldest.mvArea.isEmpty()) {
        if (!apSource || !apSource->mfGetData())
            return false;
        const QRect lBounds(QPoint(0, 0), apSource->mfGetSize());
        QVector<QRect> lRects;
        for (const QRect& lRect : lOldest.mvArea) {
            const QRect lInside = lRect & lBounds;
            if (lInside.isEmpty())
                continue;
            lRects.append(lInside);
            mvJpegPixels += quint32(lInside.width() * lInside.height());
        }
        mpEncodeImageTiles(apSource, lRects, sJpegBlock, mvRefreshQuality);
    }
    mvRefreshList.removeFirst();
    return true;
}

void UBXHybridCodec::mpEndFrame()
{
    if (mvCompress)
        *mvOutput = qCompress(*mvOutput);
    mpSwitchMode();
}

void UBXHybridCodec::mpSwitchMode()
{
    const quint32 lSent = mvRlePixels + mvJpegPixels + mvPngPixels;
    if (lSent == 0 || mvTotalPixels == 0)
        return;
    const QPair<float, float> lSample(float(mvJpegPixels) / float(lSent),
                                      float(lSent) / float(mvTotalPixels));
    const auto lScore = [this] {
        float lChanged = 0;
        float lProducts = 0;
        for (const QPair<float, float>& lEntry : mvHistory) {
            lChanged += lEntry.second;
            lProducts += lEntry.first * lEntry.second;
        }
        return double(lChanged) * double(lProducts);
    };
    ICLoggerModel* lLog = ICLoggerModel::instance();
    if (!mvJpegState) {
        if (mvTileMode != HybridTiles)
            return;
        mvHistory.append(lSample);
        if (mvHistory.size() <= 10)
            return;
        mvHistory.removeFirst();
        if (lScore() / 10 > 0.8) {
            mvTileMode = JpegTiles;
            mvJpegState = true;
            lLog->mpLog(Debug, QStringLiteral("Video encoding switches to JPEG mode."));
            mvHistory.clear();
            mvModeTimer.start();
        }
    } else if (mvTileMode == JpegTiles) {
        if (mvModeTimer.elapsed() > sProbeIntervalMs) {
            mvTileMode = HybridTiles;
            mvModeTimer.restart();
        }
    } else if (mvTileMode == HybridTiles) {
        mvTileMode = JpegTiles;
        mvHistory.append(lSample);
        if (mvHistory.size() <= 5)
            return;
        mvHistory.removeFirst();
        if (mvHistory.size() != 5)
            qDebug("Alerte!!");
        if (0.5 > lScore() / 5) {
            mvJpegState = false;
            mvTileMode = HybridTiles;
            lLog->mpLog(Debug, QStringLiteral("Video encoding switches to hybrid mode."));
            mvHistory.clear();
        }
    }
}

void UBXHybridCodec::mpDecode(const QByteArray& aInput, UBXFrameUpdate* apTarget, QRegion* apDirty,
                              QRegion aClip)
{
    mvDecodeErrorOffset = -1;
    if (!mvCanvas)
        mvCanvas = new QImage(apTarget ? apTarget->mfGetImage()->mfToQImage() : QImage());
    QByteArray lData = aInput;
    if (mvCompress) {
        lData = gfUncompress(aInput);
        if (lData.isEmpty()) {
            std::printf("Could not uncompress data block\n");
            mvDecodeErrorOffset = 0;
            return;
        }
    }
    if (!mfDecodeBlocks(lData, apDirty, aClip) && mvDecodeErrorOffset < 0)
        mvDecodeErrorOffset = lData.size();
}

bool UBXHybridCodec::mfDecodeBlocks(const QByteArray& aData, QRegion* apDirty, const QRegion& aClip)
{
    FrameReader lReader(aData);
    qint32 lHeaderValue = 0;
    qint16 lWidth = 0;
    qint16 lHeight = 0;
    if (!lReader.mfRead32(lHeaderValue) || !lReader.mfRead16(lWidth) || !lReader.mfRead16(lHeight))
        return false;
    if (lWidth < 0 || lHeight < 0 || lWidth > gcMaxCanvasSide || lHeight > gcMaxCanvasSide) {
        mvDecodeErrorOffset = 4;
        return false;
    }
    mvHeaderValue = lHeaderValue;
    mpSetSize(lWidth, lHeight);
    if (mvCanvas->size() != QSize(lWidth, lHeight)) {
        *mvCanvas = QImage(lWidth, lHeight, QImage::Format_ARGB32);
        mvCanvas->fill(Qt::black);
    }
    const QRect lCanvasRect = mvCanvas->rect();
    const auto lNoteError = [this](qsizetype aOffset) {
        if (mvDecodeErrorOffset < 0)
            mvDecodeErrorOffset = aOffset;
    };
    const auto lAddDirty = [apDirty](const QRect& aRect) {
        if (apDirty)
            *apDirty += aRect;
    };

    // Image tiles of the parallel path wait here. Their announced sizes are
    // checked against the canvas and the batch is decoded whenever the next
    // tile would take it beyond one canvas of pixels.
    QVector<UBXImageDecodingTask> lTasks;
    qint64 lPendingPixels = 0;
    const auto lFlush = [&] {
        QtConcurrent::blockingMap(lTasks, gpDecodeTile);
        for (const UBXImageDecodingTask& lTask : lTasks) {
            if (lTask.mvImage.isNull())
                continue;
            gpDrawImage(*mvCanvas, lTask.mvImage, lTask.mvRect.topLeft(), aClip);
            lAddDirty(lTask.mvRect);
        }
        lTasks.clear();
        lPendingPixels = 0;
    };

    bool lComplete = true;
    while (!lReader.mfAtEnd()) {
        const qsizetype lBlockStart = lReader.mfPos();
        quint8 lType = 0;
        lReader.mfRead8(lType);
        if (lType == sRleBlock) {
            qint16 lX, lY, lW, lH;
            quint8 lColorCount;
            if (!lReader.mfRead16(lX) || !lReader.mfRead16(lY) || !lReader.mfRead16(lW) ||
                !lReader.mfRead16(lH) || !lReader.mfRead8(lColorCount)) {
                lComplete = false;
                break;
            }
            const int lColors = lColorCount == 0 ? 256 : lColorCount;
            const uchar* lPalette = lReader.mfTakeBytes(4 * lColors);
            qint16 lSpanField = 0;
            if (!lPalette || !lReader.mfRead16(lSpanField)) {
                lComplete = false;
                break;
            }
            const int lSpans = quint16(lSpanField);
            const int lPresent = int(qMin<qsizetype>(lSpans, lReader.mfLeft() / 2));
            const uchar* lSpanBytes = lReader.mfTakeBytes(2 * lPresent);
            const QRect lRect(lX, lY, lW, lH);
            if (!lRect.isEmpty() && lCanvasRect.contains(lRect)) {
                if (!(QRegion(lRect) - aClip).isEmpty()) {
                    RLE_Block* lBlock = RLE_Block::gfTake();
                    if (lBlock->mfReserve(lColors, lPresent)) {
                        lBlock->mvX = lX;
                        lBlock->mvY = lY;
                        lBlock->mvWidth = lW;
                        lBlock->mvHeight = lH;
                        lBlock->mvColorCount = quint16(lColors);
                        lBlock->mvSpanCount = quint16(lPresent);
                        for (int lColor = 0; lColor < lColors; ++lColor)
                            lBlock->mvColors[lColor] =
                                qFromBigEndian<quint32>(lPalette + 4 * lColor);
                        std::memcpy(lBlock->mvSpans, lSpanBytes, 2 * lPresent);
                        lAddDirty(lRect);
                        if (!gfPaintRuns(*mvCanvas, *lBlock, aClip))
                            lNoteError(lBlockStart);
                    }
                    RLE_Block::gpGiveBack(lBlock);
                }
            } else {
                lNoteError(lBlockStart);
            }
            if (lPresent < lSpans) {
                lComplete = false;
                break;
            }
        } else if (lType == sJpegBlock || (lType == sPngBlock && mvParallel)) {
            qint32 lLength = 0;
            qint16 lX = 0, lY = 0;
            if (!lReader.mfRead32(lLength) || !lReader.mfRead16(lX) || !lReader.mfRead16(lY)) {
                lComplete = false;
                break;
            }
            const uchar* lBytes = lReader.mfTakeBytes(lLength);
            if (!lBytes) {
                lComplete = false;
                break;
            }
            UBXImageDecodingTask lTask{
                QByteArray::fromRawData(reinterpret_cast<const char*>(lBytes), lLength),
                lType == sJpegBlock ? "JPG" : "PNG", QRect(), QImage()};
            lTask.mvRect = QRect(QPoint(lX, lY), gfTileSize(lTask.mvFile, lTask.mvFormat));
            if (lTask.mvRect.isEmpty() || !lCanvasRect.contains(lTask.mvRect)) {
                lNoteError(lBlockStart);
                continue;
            }
            if (!mvParallel) {
                if ((QRegion(lTask.mvRect) - aClip).isEmpty())
                    continue;
                gpDecodeTile(lTask);
                if (lTask.mvImage.isNull()) {
                    lNoteError(lBlockStart);
                    continue;
                }
                lAddDirty(lTask.mvRect);
                gpDrawImage(*mvCanvas, lTask.mvImage, lTask.mvRect.topLeft(), aClip);
                continue;
            }
            const qint64 lPixels = qint64(lTask.mvRect.width()) * lTask.mvRect.height();
            if (lPendingPixels + lPixels > qint64(lCanvasRect.width()) * lCanvasRect.height())
                lFlush();
            lPendingPixels += lPixels;
            lTasks.append(lTask);
        }
        // Any other type byte is skipped on its own; so is a PNG tile's type
        // byte in the one-by-one path, whose data is then read as blocks.
    }
    lFlush();
    if (!lComplete)
        lNoteError(lReader.mfPos());
    return lComplete;
}
