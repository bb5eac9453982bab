#ifndef UBXHYBRIDCODEC_H
#define UBXHYBRIDCODEC_H

#include "UBXCodec.h"

#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QPair>
#include <QVector>

// The hybrid screen codec. Each changed rectangle is cut into tiles; in
// hybrid mode a tile of at most 256 colours within its size budget goes out
// as an exact run-length block, the rest are grouped into rectangles and go
// out as JPEG tiles (or PNG tiles in the lossless mode). When recent frames
// are mostly large JPEG changes the codec stops trying run-length coding,
// probing about every three seconds whether it pays again. JPEG areas are
// remembered and re-sent in refresh quality once they stayed still.
//
// Stream of one frame (QDataStream version 7, big-endian), optionally
// qCompress'ed as a whole: qint32 header value, qint16 width, qint16 height,
// then blocks, each starting with a qint8 type:
//   0: qint16 x, y, width, height; qint8 colour count (256 as 0); the
//      colours as qint32 QRgb; qint16 span count; spans of (qint8 colour
//      index, qint8 run length) in row-major order over the block.
//   1 (JPEG), 2 (PNG): qint32 length L, qint16 x, y, L bytes of the file.
//   Other types are single bytes that are skipped.
// The decoder takes any bytes: whatever cannot be trusted is dropped from the
// point where it goes wrong and the rest of the frame is still painted.
class UBXCOMMON_EXPORT UBXHybridCodec : public UBXCodec
{
public:
    enum TileMode
    {
        HybridTiles = 0,
        JpegTiles = 1,
        PngTiles = 2
    };
    // Canvas sides beyond this are refused by the decoder.
    static constexpr int gcMaxCanvasSide = 16384;

    UBXHybridCodec();
    ~UBXHybridCodec() override;

    void mpBeginFrame(int aWidth, int aHeight) override;
    void mpEndFrame() override;
    void mpEncodeRegion(UBXScreenGrabberImage* apSource, const QRegion& aChanged) override;
    bool mfUpdateQuality(int aTimeLimit, UBXScreenGrabberImage* apSource) override;
    void mpDecode(const QByteArray& aInput, UBXFrameUpdate* apTarget, QRegion* apDirty,
                  QRegion aClip) override;

    // The bytes of the current frame. A caller-supplied array is not owned;
    // null makes the codec use an array of its own again.
    QByteArray* mfGetOutput() const { return mvOutput; }
    void mpSetOutput(QByteArray* apOutput);

    void mpSetTileSize(int aSize) { mvTileSize = aSize; }
    int mfGetTileSize() const { return mvTileSize; }
    void mpSetRefreshQuality(int aQuality) { mvRefreshQuality = aQuality; }
    int mfGetRefreshQuality() const { return mvRefreshQuality; }
    void mpSetNewQuality(int aQuality) { mvNewQuality = aQuality; }
    int mfGetNewQuality() const { return mvNewQuality; }
    void mpSetTileMode(TileMode aMode) { mvTileMode = aMode; }
    TileMode mfGetTileMode() const { return mvTileMode; }
    bool mfIsJpegState() const { return mvJpegState; }

    // Pixels of the current frame: all, and those sent each way.
    quint32 mfGetTotalPixels() const { return mvTotalPixels; }
    quint32 mfGetRlePixels() const { return mvRlePixels; }
    quint32 mfGetJpegPixels() const { return mvJpegPixels; }
    quint32 mfGetPngPixels() const { return mvPngPixels; }
    int mfGetPendingRefreshCount() const { return mvRefreshList.size(); }

    // The decoded screen (null before the first decoded frame).
    const QImage* mfGetCanvas() const { return mvCanvas; }
    // Where the last decoded frame went wrong: the offset into its
    // (uncompressed) bytes, or -1 when every byte was understood.
    qint64 mfGetDecodeErrorOffset() const { return mvDecodeErrorOffset; }

private:
    struct PendingArea
    {
        QRegion mvArea;
        QElapsedTimer mvTimer;
    };

    void mpEncode(UBXScreenGrabberImage* apSource, const QRegion& aChanged, bool aNewChange);
    void mpEncodeRectangle(UBXScreenGrabberImage* apSource, const QRect& aRect, bool aNewChange);
    // Codes the rectangles as image tiles of that kind and appends them in order.
    void mpEncodeImageTiles(UBXScreenGrabberImage* apSource, const QVector<QRect>& aRects,
                            qint8 aType, int aQuality);
    bool mfRefreshOldestArea(UBXScreenGrabberImage* apSource);
    void mpSwitchMode();
    bool mfDecodeBlocks(const QByteArray& aData, QRegion* apDirty, const QRegion& aClip);

    QImage* mvCanvas = nullptr;
    QByteArray* mvOutput;
    bool mvOwnsOutput = true;
    qint32 mvTileSize = 128;
    qint32 mvRefreshQuality = 75;
    qint32 mvNewQuality = 50;
    TileMode mvTileMode = HybridTiles;
    bool mvJpegState = false;
    quint32 mvTotalPixels = 0;
    quint32 mvRlePixels = 0;
    quint32 mvJpegPixels = 0;
    quint32 mvPngPixels = 0;
    QVector<QPair<float, float>> mvHistory;
    QElapsedTimer mvModeTimer;
    QList<PendingArea> mvRefreshList;
    qint64 mvDecodeErrorOffset = -1;
};

#endif
