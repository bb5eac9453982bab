#include "UBXChangedRegion.h"

#include "UBXCluster.h"
#include "UBXUtils.h"

#include <QVector>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace {
constexpr int gcTileSize = 32;
constexpr int gcGroupSize = 5;

// Line offsets in sampling order: every fourth line first, then the lines
// between them.
constexpr int gcSampledLines[gcTileSize] = {0,  4,  8,  12, 16, 20, 24, 28, 1,  5,  9,
                                            13, 17, 21, 25, 29, 2,  6,  10, 14, 18, 22,
                                            26, 30, 3,  7,  11, 15, 19, 23, 27, 31};

// Position in gcSampledLines of the next pass, shared by every caller. Atomic
// only so that concurrent calls are well defined; nothing orders them.
std::atomic<int> gvSampledLineIndex{0};

// Changed tiles of one group, in tiles relative to the group.
struct UBXTileBox
{
    int mvLeft;
    int mvRight;
    int mvTop;
    int mvBottom;
};
} // namespace

QRegion gfGetChangedRegion(int passes, const uchar* current, const uchar* previous, int width,
                           int height, int bytesPerPixel)
{
    if (current == nullptr || previous == nullptr || width < 1 || height < 1 || bytesPerPixel < 1)
        return QRegion();
    const int lTileColumns = (width + gcTileSize - 1) / gcTileSize;
    const int lTileRows = (height + gcTileSize - 1) / gcTileSize;
    const qsizetype lLineBytes = qsizetype(width) * bytesPerPixel;
    const qsizetype lStride = qsizetype(gfRoundUpToMultiple(quint32(lLineBytes), 4));
    const qsizetype lTileBytes = qsizetype(gcTileSize) * bytesPerPixel;
    QByteArray lTiles(qsizetype(lTileRows) * lTileColumns, 0);

    // A tile is changed when any of its sampled lines differs, whatever the
    // order of the comparisons: the lines of all passes are gathered first and
    // compared top to bottom, so that many passes read the pictures front to
    // back, as one comparison of the whole frame would.
    quint32 lOffsets = 0;
    if (passes > 0) {
        const int lIndex = gvSampledLineIndex.load(std::memory_order_relaxed);
        for (int lPass = 0; lPass < std::min(passes, gcTileSize); ++lPass)
            lOffsets |= 1u << gcSampledLines[(lIndex + lPass) % gcTileSize];
        gvSampledLineIndex.store((lIndex + passes % gcTileSize) % gcTileSize,
                                 std::memory_order_relaxed);
    }
    for (int lTileRow = 0; lTileRow < lTileRows; ++lTileRow) {
        const int lTop = lTileRow * gcTileSize;
        const int lLines = std::min(gcTileSize, height - lTop);
        quint32 lSampled = 0; // offset o samples line o mod lLines of a short tile row
        for (int lOffset = 0; lOffset < gcTileSize; ++lOffset) {
            if ((lOffsets >> lOffset & 1u) != 0)
                lSampled |= 1u << (lOffset % lLines);
        }
        char* lCell = lTiles.data() + qsizetype(lTileRow) * lTileColumns;
        for (int lLine = 0; lLine < lLines; ++lLine) {
            if ((lSampled >> lLine & 1u) == 0)
                continue;
            const uchar* lCurrent = current + (lTop + lLine) * lStride;
            const uchar* lPrevious = previous + (lTop + lLine) * lStride;
            // Most lines are unchanged: one comparison of the whole line
            // settles them before any tile is looked at.
            if (std::memcmp(lCurrent, lPrevious, size_t(lLineBytes)) == 0)
                continue;
            for (int lColumn = 0; lColumn < lTileColumns; ++lColumn) {
                const qsizetype lStart = lColumn * lTileBytes;
                if (lCell[lColumn] == 0 &&
                    std::memcmp(lCurrent + lStart, lPrevious + lStart,
                                size_t(std::min(lTileBytes, lLineBytes - lStart))) != 0)
                    lCell[lColumn] = 1;
            }
        }
    }

    const int lGroupColumns = (lTileColumns + gcGroupSize - 1) / gcGroupSize;
    const int lGroupRows = (lTileRows + gcGroupSize - 1) / gcGroupSize;
    QByteArray lGroups(qsizetype(lGroupRows) * lGroupColumns, 0);
    QVector<UBXTileBox> lBoxes(lGroups.size());
    for (int lGroupRow = 0; lGroupRow < lGroupRows; ++lGroupRow) {
        const int lRows = std::min(gcGroupSize, lTileRows - gcGroupSize * lGroupRow);
        for (int lGroupColumn = 0; lGroupColumn < lGroupColumns; ++lGroupColumn) {
            const int lColumns = std::min(gcGroupSize, lTileColumns - gcGroupSize * lGroupColumn);
            const qsizetype lGroup = qsizetype(lGroupRow) * lGroupColumns + lGroupColumn;
            UBXTileBox& lBox = lBoxes[lGroup];
            lBox = UBXTileBox{lColumns - 1, 0, lRows - 1, 0};
            for (int lRow = 0; lRow < lRows; ++lRow) {
                for (int lColumn = 0; lColumn < lColumns; ++lColumn) {
                    if (lTiles[(gcGroupSize * lGroupRow + lRow) * lTileColumns +
                               gcGroupSize * lGroupColumn + lColumn] == 0)
                        continue;
                    lBox.mvLeft = std::min(lBox.mvLeft, lColumn);
                    lBox.mvRight = std::max(lBox.mvRight, lColumn);
                    lBox.mvTop = std::min(lBox.mvTop, lRow);
                    lBox.mvBottom = std::max(lBox.mvBottom, lRow);
                }
            }
            // Kept as the rectangles have always been made: a group one tile
            // wide passes this test even without a changed tile.
            if (lBox.mvLeft <= lBox.mvRight)
                lGroups[lGroup] = 1;
        }
    }

    QList<UBXCluster> lClusters;
    gfFindClusters(lGroups.data(), lGroupRows, lGroupColumns, lClusters);
    QRegion lRegion;
    for (const UBXCluster& lCluster : lClusters) {
        auto lBox = [&](int aRow, int aColumn) -> const UBXTileBox& {
            return lBoxes[qsizetype(aRow) * lGroupColumns + aColumn];
        };
        const int lLastRow = lCluster.mvY + lCluster.mvHeight - 1;
        const int lLastColumn = lCluster.mvX + lCluster.mvWidth - 1;
        int lLeft = gcGroupSize, lRight = -1, lTop = gcGroupSize, lBottom = -1;
        for (int lRow = lCluster.mvY; lRow <= lLastRow; ++lRow) {
            lLeft = std::min(lLeft, lBox(lRow, lCluster.mvX).mvLeft);
            lRight = std::max(lRight, lBox(lRow, lLastColumn).mvRight);
        }
        for (int lColumn = lCluster.mvX; lColumn <= lLastColumn; ++lColumn) {
            lTop = std::min(lTop, lBox(lCluster.mvY, lColumn).mvTop);
            lBottom = std::max(lBottom, lBox(lLastRow, lColumn).mvBottom);
        }
        const int lX = (gcGroupSize * lCluster.mvX + lLeft) * gcTileSize;
        const int lWidth = std::min(
            (lRight + gcGroupSize * lCluster.mvWidth - gcGroupSize - lLeft + 1) * gcTileSize,
            width - lX);
        const int lY = (gcGroupSize * lCluster.mvY + lTop) * gcTileSize;
        const int lHeight = std::min(
            (lBottom + gcGroupSize * lCluster.mvHeight - gcGroupSize - lTop + 1) * gcTileSize,
            height - lY);
        if (lWidth >= 1 && lHeight >= 1)
            lRegion += QRect(lX, lY, lWidth, lHeight);
    }
    return lRegion;
}

void gpPrintRegion(const QRegion& aRegion)
{
    int lNumber = 0;
    for (const QRect& lRect : aRegion)
        std::printf("%3d: X %d H %d W %d H %d\n", ++lNumber, lRect.x(), lRect.y(), lRect.width(),
                    lRect.height());
}
