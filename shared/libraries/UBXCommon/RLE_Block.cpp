#include "RLE_Block_p.h"

#include "ICLoggerModel.h"

#include <QMutex>
#include <QVector>

#include <cstdlib>
#include <cstring>

namespace {
// The pool owns the idle blocks and frees them when the process ends.
struct BlockPool
{
    ~BlockPool() { qDeleteAll(mvBlocks); }
    QMutex mvMutex;
    QVector<RLE_Block*> mvBlocks;
    int mvCreated = 0;
};

BlockPool& gfPool()
{
    static BlockPool sPool;
    return sPool;
}

template <typename T> T* gfGrow(T* apOld, int aOldCount, int aNewCount)
{
    T* lNew = static_cast<T*>(std::malloc(sizeof(T) * aNewCount));
    if (lNew && apOld)
        std::memcpy(lNew, apOld, sizeof(T) * aOldCount);
    return lNew;
}
} // namespace

RLE_Block::~RLE_Block()
{
    std::free(mvColors);
    std::free(mvSpans);
}

RLE_Block* RLE_Block::gfTake()
{
    BlockPool& lPool = gfPool();
    QMutexLocker lLocker(&lPool.mvMutex);
    if (!lPool.mvBlocks.isEmpty())
        return lPool.mvBlocks.takeLast();
    const int lCount = ++lPool.mvCreated;
    lLocker.unlock();
    ICLoggerModel::instance()->mpLog(
        Info, QStringLiteral("Created new RLE_Block. Total number: %1.").arg(lCount));
    return new RLE_Block;
}

void RLE_Block::gpGiveBack(RLE_Block* apBlock)
{
    BlockPool& lPool = gfPool();
    QMutexLocker lLocker(&lPool.mvMutex);
    lPool.mvBlocks.append(apBlock);
}

bool RLE_Block::mfExpand()
{
    if (mvSpanCapacity >= gcMaxSpans)
        return false;
    // Empty blocks start at sizes that hold a typical text tile.
    const int lColors = qMin(gcMaxColors, qMax(16, 2 * mvColorCapacity));
    const int lSpans = qMin(gcMaxSpans, qMax(256, 2 * mvSpanCapacity));
    ICLoggerModel* lLog = ICLoggerModel::instance();
    lLog->mpLog(Info, QStringLiteral("Expanding RLE block."));
    lLog->mpLog(Info, QStringLiteral(" --> Allocating %1 bytes for colors.").arg(lColors * 4));
    lLog->mpLog(Info, QStringLiteral(" --> Allocating %1 bytes for spans.").arg(lSpans * 2));
    QRgb* lNewColors = gfGrow(mvColors, mvColorCount, lColors);
    uchar* lNewSpans = gfGrow(mvSpans, 2 * mvSpanCount, 2 * lSpans);
    if (!lNewColors || !lNewSpans) {
        std::free(lNewColors);
        std::free(lNewSpans);
        return false;
    }
    std::free(mvColors);
    std::free(mvSpans);
    mvColors = lNewColors;
    mvSpans = lNewSpans;
    mvColorCapacity = quint16(lColors);
    mvSpanCapacity = quint16(lSpans);
    return true;
}

bool RLE_Block::mfReserve(int aColors, int aSpans)
{
    while (mvColorCapacity < aColors || mvSpanCapacity < aSpans) {
        if (!mfExpand())
            return false;
    }
    return true;
}
