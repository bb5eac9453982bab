#ifndef UBXCLUSTER_H
#define UBXCLUSTER_H

#include "UBXCommonExport.h"

#include <QList>

// Covers the set cells of a change grid with rectangles. The grid is a
// caller-owned row-major array of bytes, one per tile: cell (row r, column c)
// is apData[r * aNrOfColumns + c] and is set when non-zero. The functions keep
// no state; a grid must not be shared between threads during a call.
// Preconditions are checked by UBX_ASSERT in debug builds. The rectangle
// functions do not check that the rectangle stays inside the grid: callers
// keep it inside.

// A rectangle of grid cells: first column, first row, columns, rows.
struct UBXCluster
{
    qint32 mvX = 0;
    qint32 mvY = 0;
    qint32 mvWidth = 0;
    qint32 mvHeight = 0;

    bool operator==(const UBXCluster& aOther) const
    {
        return mvX == aOther.mvX && mvY == aOther.mvY && mvWidth == aOther.mvWidth &&
               mvHeight == aOther.mvHeight;
    }
    bool operator!=(const UBXCluster& aOther) const { return !(*this == aOther); }
};

// True when every cell of the rectangle with top-left (aFromRow, aFromColumn)
// is set. A height below 1 is true without reading the grid; a width below 1
// accepts every row without reading it.
UBXCOMMON_EXPORT bool gfIsCluster(const char* apData, int aNrOfColumns, int aFromRow,
                                  int aFromColumn, int aWidth, int aHeight);

// Writes the low byte of aValue into every cell of the rectangle; nothing for
// a width or height below 1.
UBXCOMMON_EXPORT void gpSetCluster(char* apData, int aNrOfColumns, int aFromRow, int aFromColumn,
                                   int aWidth, int aHeight, int aValue);
UBXCOMMON_EXPORT void gpSetCluster(char* apData, int aNrOfColumns, const UBXCluster& cluster,
                                   int aValue);

// The largest rectangle of set cells whose top-left cell is (aFromRow,
// aFromColumn). Of rectangles with equal area the lower one wins (1 row
// before 1 column). All zero when the corner cell is clear.
UBXCOMMON_EXPORT void gfGetBestCluster(const char* apData, int aNrOfRows, int aNrOfColumns,
                                       int aFromRow, int aFromColumn, UBXCluster& result);

// Appends rectangles that cover every set cell exactly once to clusters and
// clears the grid. Greedy, largest first: the best rectangle of every set cell
// is a candidate; candidates are taken by decreasing area (equal areas in
// row-major order of their corners) as long as none of their cells was taken
// before; the cells that remain are covered by the next round the same way.
UBXCOMMON_EXPORT void gfFindClusters(char* apData, int aNrOfRows, int aNrOfColumns,
                                     QList<UBXCluster>& clusters);

// Debugging dump to standard output: one line per row, each cell as "%3d ".
UBXCOMMON_EXPORT void gfPrintGrid(const char* apData, int aNrOfRows, int aNrOfColumns);

#endif
