#include "UBXCluster.h"

#include "UBXAssert.h"

#include <QVarLengthArray>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

namespace {
constexpr char gcSource[] = "shared/libraries/UBXCommon/UBXCluster";

// The largest rectangle at the corner (aFromRow, aFromColumn) from the
// lengths of the runs of set cells that start in the corner's column:
// apRuns[k * aStride] for row aFromRow + k, aNrOfRows rows in all. The widest
// rectangle of each height is the shortest run of its rows, so every height
// is weighed once instead of every width of it; heights ascend and only a
// strictly larger area replaces the best, so the lower of two equal ones wins.
UBXCluster gfGetBestClusterFromRuns(const int* apRuns, qsizetype aStride, int aNrOfRows,
                                    int aFromRow, int aFromColumn)
{
    UBXCluster lBest;
    int lBestArea = 0;
    int lWidth = INT_MAX;
    for (int lHeight = 1; lHeight <= aNrOfRows; ++lHeight) {
        lWidth = std::min(lWidth, apRuns[(lHeight - 1) * aStride]);
        if (lWidth == 0)
            break; // no taller rectangle keeps even the corner's column
        if (lHeight * lWidth > lBestArea) {
            lBestArea = lHeight * lWidth;
            lBest = UBXCluster{aFromColumn, aFromRow, lWidth, lHeight};
        }
    }
    return lBest;
}
} // namespace

bool gfIsCluster(const char* apData, int aNrOfColumns, int aFromRow, int aFromColumn, int aWidth,
                 int aHeight)
{
    UBX_ASSERT((apData != 0) && (aNrOfColumns != 0), gcSource);
    UBX_ASSERT(aNrOfColumns > aFromColumn, gcSource);
    for (int lRow = aFromRow; lRow < aFromRow + aHeight; ++lRow) {
        const char* lCell = apData + qsizetype(lRow) * aNrOfColumns + aFromColumn;
        for (int lColumn = 0; lColumn < aWidth; ++lColumn) {
            if (lCell[lColumn] == 0)
                return false;
        }
    }
    return true;
}

void gpSetCluster(char* apData, int aNrOfColumns, int aFromRow, int aFromColumn, int aWidth,
                  int aHeight, int aValue)
{
    UBX_ASSERT((apData != 0) && (aNrOfColumns != 0), gcSource);
    UBX_ASSERT(aNrOfColumns > aFromColumn, gcSource);
    if (aWidth < 1)
        return;
    for (int lRow = aFromRow; lRow < aFromRow + aHeight; ++lRow)
        std::fill_n(apData + qsizetype(lRow) * aNrOfColumns + aFromColumn, aWidth,
                    static_cast<char>(aValue));
}

void gpSetCluster(char* apData, int aNrOfColumns, const UBXCluster& cluster, int aValue)
{
    UBX_ASSERT((apData != 0) && (aNrOfColumns != 0), gcSource);
    gpSetCluster(apData, aNrOfColumns, cluster.mvY, cluster.mvX, cluster.mvWidth, cluster.mvHeight,
                 aValue);
}

void gfGetBestCluster(const char* apData, int aNrOfRows, int aNrOfColumns, int aFromRow,
                      int aFromColumn, UBXCluster& result)
{
    UBX_ASSERT((apData != 0) && (aNrOfRows != 0) && (aNrOfColumns != 0), gcSource);
    UBX_ASSERT((aNrOfRows > aFromRow) && (aNrOfColumns > aFromColumn), gcSource);
    // Each row's run is read only as far as the rows above it reach: cells
    // beyond cannot widen any rectangle at this corner.
    QVarLengthArray<int, 64> lRuns;
    int lLimit = aNrOfColumns - aFromColumn;
    for (int lRow = aFromRow; lRow < aNrOfRows && lLimit > 0; ++lRow) {
        const char* lCell = apData + qsizetype(lRow) * aNrOfColumns + aFromColumn;
        int lRun = 0;
        while (lRun < lLimit && lCell[lRun] != 0)
            ++lRun;
        lRuns.append(lRun);
        lLimit = lRun;
    }
    result =
        gfGetBestClusterFromRuns(lRuns.constData(), 1, int(lRuns.size()), aFromRow, aFromColumn);
}

void gfFindClusters(char* apData, int aNrOfRows, int aNrOfColumns, QList<UBXCluster>& clusters)
{
    UBX_ASSERT((apData != 0) && (aNrOfRows != 0) && (aNrOfColumns != 0), gcSource);
    if (aNrOfRows < 1 || aNrOfColumns < 1)
        return;
    // Per cell, the number of set cells from it rightward: one table per
    // round makes every corner's best rectangle a walk down one column.
    std::vector<int> lRuns(size_t(aNrOfRows) * size_t(aNrOfColumns));
    std::vector<UBXCluster> lCandidates;
    bool lRejected = true;
    while (lRejected) {
        lCandidates.clear();
        for (int lRow = 0; lRow < aNrOfRows; ++lRow) {
            const qsizetype lFirst = qsizetype(lRow) * aNrOfColumns;
            int lRun = 0;
            for (int lColumn = aNrOfColumns - 1; lColumn >= 0; --lColumn) {
                lRun = apData[lFirst + lColumn] != 0 ? lRun + 1 : 0;
                lRuns[size_t(lFirst + lColumn)] = lRun;
            }
        }
        for (int lRow = 0; lRow < aNrOfRows; ++lRow) {
            for (int lColumn = 0; lColumn < aNrOfColumns; ++lColumn) {
                const qsizetype lCell = qsizetype(lRow) * aNrOfColumns + lColumn;
                if (apData[lCell] != 0)
                    lCandidates.push_back(gfGetBestClusterFromRuns(
                        &lRuns[size_t(lCell)], aNrOfColumns, aNrOfRows - lRow, lRow, lColumn));
            }
        }
        if (lCandidates.empty())
            return;
        std::stable_sort(lCandidates.begin(), lCandidates.end(),
                         [](const UBXCluster& aLeft, const UBXCluster& aRight) {
                             return aLeft.mvWidth * aLeft.mvHeight >
                                    aRight.mvWidth * aRight.mvHeight;
                         });
        // A candidate that lost a cell to a larger one is found again, cut to
        // what remains, in the next round.
        lRejected = false;
        for (const UBXCluster& lCandidate : lCandidates) {
            if (gfIsCluster(apData, aNrOfColumns, lCandidate.mvY, lCandidate.mvX,
                            lCandidate.mvWidth, lCandidate.mvHeight)) {
                clusters.append(lCandidate);
                gpSetCluster(apData, aNrOfColumns, lCandidate, 0);
            } else {
                lRejected = true;
            }
        }
    }
}

void gfPrintGrid(const char* apData, int aNrOfRows, int aNrOfColumns)
{
    UBX_ASSERT((apData != 0) && (aNrOfRows != 0) && (aNrOfColumns != 0), gcSource);
    for (int lRow = 0; lRow < aNrOfRows; ++lRow) {
        for (int lColumn = 0; lColumn < aNrOfColumns; ++lColumn)
            std::printf("%3d ", int(static_cast<signed char>(
                                    apData[qsizetype(lRow) * aNrOfColumns + lColumn])));
        std::printf("\n");
    }
}
