// Costs of the logging framework on the calling thread and its sustained rate
// into a file, next to two yardsticks doing the same work: an asynchronous
// spdlog logger with a file sink, and a Qt message handler writing the file.
// Every contender writes the same line. The yardsticks flush after each line;
// our file sink flushes after each batch its thread is handed (after each line
// when items arrive one at a time), and the file holds every line once that
// batch is done. The sink's thread runs with the default (GLib) event
// dispatcher, or with Qt's own where the argument qt_dispatcher is 1; the
// ratios to the yardsticks close the run.

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
#include <map>
#include <string>
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

// A thread picks its event dispatcher when it starts: the sinks registered
// after this get the one asked for.
void gpChooseDispatcher(int64_t aQtOwn)
{
    if (aQtOwn)
        qputenv("QT_NO_GLIB", "1");
    else
        qunsetenv("QT_NO_GLIB");
}

// The yardstick's logger: one worker, a file sink flushed after every line,
// and a queue of aQueueSize items; a caller finding it full waits.
std::shared_ptr<spdlog::async_logger>
gfSpdlogLogger(size_t aQueueSize, std::shared_ptr<spdlog::details::thread_pool>& aPool)
{
    aPool = std::make_shared<spdlog::details::thread_pool>(aQueueSize, 1);
    auto lSink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
        gfFilePath("spdlog.log").toStdString(), true);
    auto lLogger = std::make_shared<spdlog::async_logger>("bench", std::move(lSink), aPool,
                                                          spdlog::async_overflow_policy::block);
    lLogger->set_pattern(
        "Info\t: Class 0\t: PID %t\t: PName Unknown\t: %d.%m.%Y %H:%M:%S.%e\t: %v");
    lLogger->flush_on(spdlog::level::trace);
    return lLogger;
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
    gpChooseDispatcher(aState.range(0));
    lModel->mpAddObserver(new ICLoggerFile(gfFilePath("emitted.log"), Info, 0, 0, false), true);
    for (auto _ : aState)
        lModel->mpLog(Info, sText, 0);
    // Not timed: the sink catches up with the queue.
    lModel->mpRemoveObserver();
}
BENCHMARK(BM_EmittedCall)
    ->ArgName("qt_dispatcher")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(sItemsPerRun)
    ->Repetitions(3);

// 2a. Yardstick: the same hand-over to spdlog's asynchronous logger. Its queue
// holds the whole run, as ours does, so that no call waits for the worker.
void BM_SpdlogEmittedCall(benchmark::State& aState)
{
    std::shared_ptr<spdlog::details::thread_pool> lPool;
    auto lLogger = gfSpdlogLogger(sItemsPerRun, lPool);
    for (auto _ : aState)
        lLogger->info(sTextUtf8);
    // Not timed: the worker catches up with the queue.
    lLogger.reset();
    lPool.reset();
}
BENCHMARK(BM_SpdlogEmittedCall)->Iterations(sItemsPerRun)->Repetitions(3);

// 3. From the first call until the last line is flushed and the sink's thread
// has ended.
void BM_SustainedRate(benchmark::State& aState)
{
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("bench sustained"));
    gpChooseDispatcher(aState.range(1));
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
    ->ArgNames({"threads", "qt_dispatcher"})
    ->ArgsProduct({{1, 2}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

// 4a. Yardstick: asynchronous spdlog logger, one worker, file sink, flush
// after every line; the pool's destruction waits for the last line.
void BM_SpdlogSustainedRate(benchmark::State& aState)
{
    for (auto _ : aState) {
        std::shared_ptr<spdlog::details::thread_pool> lPool;
        auto lLogger = gfSpdlogLogger(8192, lPool);
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

// The console output, then the ratios: our caller cost in multiples of
// spdlog's (below 1 we are cheaper), and our sustained rate in multiples of
// each yardstick's (above 1 we are faster). Repeated benchmarks count with
// their median.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& aRuns) override
    {
        benchmark::ConsoleReporter::ReportRuns(aRuns);
        for (const Run& lRun : aRuns) {
            const std::string lName = lRun.run_name.function_name + "/" + lRun.run_name.args;
            const bool lMedian =
                lRun.run_type == Run::RT_Aggregate && lRun.aggregate_name == "median";
            if (lMedian || (lRun.run_type == Run::RT_Iteration && !mvFromMedian[lName]))
                mvTimes[lName] = lRun.GetAdjustedRealTime();
            mvFromMedian[lName] = mvFromMedian[lName] || lMedian;
        }
    }

    void mpPrintRatios()
    {
        const char* lDispatchers[] = {"GLib", "Qt"};
        std::printf("\nCaller cost, ours / spdlog's:\n");
        for (int d = 0; d < 2; ++d)
            mpPrintRatio("one call", lDispatchers[d], "spdlog", "BM_SpdlogEmittedCall/",
                         "BM_EmittedCall/qt_dispatcher:" + std::to_string(d));
        std::printf("Sustained rate, ours / theirs:\n");
        for (int t = 1; t <= 2; ++t) {
            for (int d = 0; d < 2; ++d) {
                const std::string lOurs = "BM_SustainedRate/threads:" + std::to_string(t) +
                                          "/qt_dispatcher:" + std::to_string(d);
                const std::string lWhat = std::to_string(t) + " logging thread(s)";
                const std::string lArgs = "SustainedRate/threads:" + std::to_string(t);
                mpPrintRatio(lWhat, lDispatchers[d], "spdlog", lOurs, "BM_Spdlog" + lArgs);
                mpPrintRatio(lWhat, lDispatchers[d], "Qt handler", lOurs, "BM_QtHandler" + lArgs);
            }
        }
    }

private:
    // Prints aNumerator's time per item divided by aDenominator's.
    void mpPrintRatio(const std::string& aWhat, const char* apDispatcher, const char* apTheirs,
                      const std::string& aDenominator, const std::string& aNumerator)
    {
        if (mvTimes.count(aNumerator) && mvTimes.count(aDenominator))
            std::printf("  %-22s %-5s vs %-11s %6.2fx\n", aWhat.c_str(), apDispatcher, apTheirs,
                        mvTimes[aNumerator] / mvTimes[aDenominator]);
    }

    std::map<std::string, double> mvTimes;
    std::map<std::string, bool> mvFromMedian;
};
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication lApplication(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter lReporter;
    benchmark::RunSpecifiedBenchmarks(&lReporter);
    lReporter.mpPrintRatios();
    benchmark::Shutdown();
    return 0;
}
