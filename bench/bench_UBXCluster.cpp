// Covering a change grid of a fully changed 4K screen in 128-pixel tiles
// (30 x 17 cells), fully set and half set at random. The grid is consumed, so
// each run starts from a fresh copy.
#include "UBXCluster.h"

#include <QByteArray>
#include <QRandomGenerator>

#include <benchmark/benchmark.h>

namespace {
constexpr int gcRows = 17;
constexpr int gcColumns = 30;

void gpFindClusters(benchmark::State& aState, const QByteArray& aGrid)
{
    int64_t lClusters = 0;
    for (auto lUnused : aState) {
        QByteArray lGrid = aGrid;
        QList<UBXCluster> lResult;
        gfFindClusters(lGrid.data(), gcRows, gcColumns, lResult);
        lClusters += lResult.size();
    }
    aState.counters["clusters"] =
        benchmark::Counter(double(lClusters) / double(aState.iterations()));
}

void BM_FindClustersFull(benchmark::State& aState)
{
    gpFindClusters(aState, QByteArray(gcRows * gcColumns, 1));
}
BENCHMARK(BM_FindClustersFull);

void BM_FindClustersHalfSet(benchmark::State& aState)
{
    QRandomGenerator lRandom(7);
    QByteArray lGrid(gcRows * gcColumns, 0);
    for (char& lCell : lGrid)
        lCell = char(lRandom.bounded(2));
    gpFindClusters(aState, lGrid);
}
BENCHMARK(BM_FindClustersHalfSet);
} // namespace

BENCHMARK_MAIN();
