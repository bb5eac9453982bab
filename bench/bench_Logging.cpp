// Costs of the logging framework on the calling thread and its sustained rate
// into a file, next to two yardsticks doing the same work: an asynchronous
// spdlog logger with a file sink, and a Qt message handler writing the file.
// Every contender writes the same line and flushes after each one.

#include "ICLoggerFile.h"
#include "ICLoggerModel.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QMutex>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace {
const QString sText = QStringLiteral("Button inserted, starting the presentation client");
const std::string sTextUtf8 = sText.toStdString();
const int sItemsPerRun = 200000;

QString gfFilePath(const char* apName)
{
    static QTemporaryDir sDirectory;
    return sDirectory.filePath(QString::fromLatin1(apName));
}

// Runs aLog(count) on aThreads threads that share sItemsPerRun items.
template <typename Log> void gpLogOnThreads(int aThreads, Log aLog)
{
    std::vector<std::thread> lThreads;
    for (int t = 0; t < aThreads; ++t)
        lThreads.emplace_back(aLog, sItemsPerRun / aThreads);
    for (std::thread& lThread : lThreads)
        lThread.join();
}

double gfSecondsSince(std::chrono::steady_clock::time_point aStart)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - aStart).count();
}

void gpSetRate(benchmark::State& aState)
{
    aState.SetItemsProcessed(aState.iterations() * sItemsPerRun);
}

// 1. An item below the threshold: dropped on the calling thread.
void BM_FilteredOutCall(benchmark::State& aState)
{
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("bench filtered"));
    lModel->mpAddObserver(new ICLoggerFile(gfFilePath("filtered.log"), Error, 0, 0, false), true);
    for (auto _ : aState)
        lModel->mpLog(Debug, sText, 0);
    lModel->mpRemoveObserver();
}
BENCHMARK(BM_FilteredOutCall);

// 2. An item that passes, emitted to one file sink in its own thread: the
// cost seen by the logging thread only.
void BM_EmittedCall(benchmark::State& aState)
{
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("bench emitted"));
    lModel->mpAddObserver(new ICLoggerFile(gfFilePath("emitted.log"), Info, 0, 0, false), true);
    for (auto _ : aState)
        lModel->mpLog(Info, sText, 0);
    // Not timed: the sink catches up with the queue.
    lModel->mpRemoveObserver();
}
BENCHMARK(BM_EmittedCall)->Iterations(sItemsPerRun)->Repetitions(3);

// 3. From the first call until the last line is flushed and the sink's thread
// has ended.
void BM_SustainedRate(benchmark::State& aState)
{
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("bench sustained"));
    for (auto _ : aState) {
        lModel->mpAddObserver(new ICLoggerFile(gfFilePath("sustained.log"), Info, 0, 0, false),
                              true);
        const auto lStart = std::chrono::steady_clock::now();
        gpLogOnThreads(static_cast<int>(aState.range(0)), [lModel](int aCount) {
            for (int i = 0; i < aCount; ++i)
                lModel->mpLog(Info, sText, 0);
        });
        lModel->mpRemoveObserver();
        aState.SetIterationTime(gfSecondsSince(lStart));
    }
    gpSetRate(aState);
}
BENCHMARK(BM_SustainedRate)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

// 4a. Yardstick: asynchronous spdlog logger, one worker, file sink, flush
// after every line; the pool's destruction waits for the last line.
void BM_SpdlogSustainedRate(benchmark::State& aState)
{
    for (auto _ : aState) {
        auto lPool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
        auto lSink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
            gfFilePath("spdlog.log").toStdString(), true);
        auto lLogger = std::make_shared<spdlog::async_logger>("bench", std::move(lSink), lPool,
                                                              spdlog::async_overflow_policy::block);
        lLogger->set_pattern(
            "Info\t: Class 0\t: PID %t\t: PName Unknown\t: %d.%m.%Y %H:%M:%S.%e\t: %v");
        lLogger->flush_on(spdlog::level::trace);
        const auto lStart = std::chrono::steady_clock::now();
        gpLogOnThreads(static_cast<int>(aState.range(0)), [&lLogger](int aCount) {
            for (int i = 0; i < aCount; ++i)
                lLogger->info(sTextUtf8);
        });
        lLogger.reset();
        lPool.reset();
        aState.SetIterationTime(gfSecondsSince(lStart));
    }
    gpSetRate(aState);
}
BENCHMARK(BM_SpdlogSustainedRate)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

// 4b. Yardstick: a Qt message handler that formats the same line on the
// calling thread and writes it, flushed, under a mutex.
FILE* sQtFile = nullptr;
QMutex sQtMutex;

void gpQtHandler(QtMsgType, const QMessageLogContext&, const QString& aMessage)
{
    const QString lThreadName = QThread::currentThread()->objectName();
    const QString lLine =
        QStringLiteral("Info\t: Class 0\t: PID ") + QString::number(gfCurrentThreadId()) +
        QStringLiteral("\t: PName ") +
        (lThreadName.isEmpty() ? QStringLiteral("Unknown") : lThreadName) +
        QDateTime::currentDateTime().toString(QStringLiteral("\t: dd.MM.yyyy hh:mm:ss.zzz\t: ")) +
        aMessage + QLatin1Char('\n');
    const QByteArray lBytes = lLine.toUtf8();
    QMutexLocker lLocker(&sQtMutex);
    std::fwrite(lBytes.constData(), 1, static_cast<size_t>(lBytes.size()), sQtFile);
    std::fflush(sQtFile);
}

void BM_QtHandlerSustainedRate(benchmark::State& aState)
{
    for (auto _ : aState) {
        sQtFile = std::fopen(qPrintable(gfFilePath("qthandler.log")), "w");
        const QtMessageHandler lPrevious = qInstallMessageHandler(gpQtHandler);
        const auto lStart = std::chrono::steady_clock::now();
        gpLogOnThreads(static_cast<int>(aState.range(0)), [](int aCount) {
            for (int i = 0; i < aCount; ++i)
                qInfo().noquote() << sText;
        });
        qInstallMessageHandler(lPrevious);
        std::fclose(sQtFile);
        aState.SetIterationTime(gfSecondsSince(lStart));
    }
    gpSetRate(aState);
}
BENCHMARK(BM_QtHandlerSustainedRate)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication lApplication(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
