#ifndef RLE_BLOCK_P_H
#define RLE_BLOCK_P_H

#include <QRgb>
#include <QtGlobal>

// Working record of one run-length block: a palette and (colour index, run
// length) spans over the block's pixels in row-major order. Blocks come from
// one process-wide pool and keep their arrays when given back, so steady
// coding allocates nothing for them.
struct RLE_Block
{
    static constexpr int gcMaxColors = 256;
    static constexpr int gcMaxSpans = 0xFFFF;

    ~RLE_Block();

    // From the pool, or a new empty block when the pool is empty.
    static RLE_Block* gfTake();
    static void gpGiveBack(RLE_Block* apBlock);

    // Doubles both capacities (up to the format's limits) keeping the
    // entries; false when the spans are already at their limit.
    bool mfExpand();
    // Grows until the counts fit; false when they never can.
    bool mfReserve(int aColors, int aSpans);

    qint16 mvWidth = 0;
    qint16 mvHeight = 0;
    qint16 mvX = 0;
    qint16 mvY = 0;
    quint16 mvColorCapacity = 0;
    quint16 mvSpanCapacity = 0;
    quint16 mvColorCount = 0;
    quint16 mvSpanCount = 0;
    QRgb* mvColors = nullptr;
    uchar* mvSpans = nullptr; // two bytes per span: colour index, run length
};

#endif
