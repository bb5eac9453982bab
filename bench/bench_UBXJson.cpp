// The JSON codec against Qt's JSON support on the three standard documents.
// Parse: from the file's UTF-8 bytes to a QVariant tree (ours includes the
// conversion to the QString it takes). Serialise: from one QVariant tree, the
// one our parser made, to UTF-8 text; Qt's is timed both with the conversion of
// the tree (QJsonDocument::fromVariant) and from a QJsonDocument built before
// the timing. Every rate counts the document's file size, so the ratio of two
// rates is the inverse ratio of their times.
#include "UBXJson.h"

#include <QFile>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

#include <functional>

namespace {
const char* const cDocuments[] = {"canada.json", "citm_catalog.json", "twitter.json"};

QByteArray gfReadDocument(const char* aName)
{
    QFile lFile(QStringLiteral(BEAMORA_DATA_DIR "/json/") + QLatin1String(aName));
    return lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : QByteArray();
}

// What every case starts from, made before the timing.
struct Document
{
    QByteArray mvBytes;
    QVariant mvTree;          // made by our parser
    QJsonDocument mvDocument; // made by Qt from mvTree
};
using Work = std::function<void(const Document&)>;

void gpRun(benchmark::State& aState, const char* aName, const Work& aWork)
{
    Document lDocument{gfReadDocument(aName), QVariant(), QJsonDocument()};
    bool lSuccess = false;
    lDocument.mvTree = gfParseJson(QString::fromUtf8(lDocument.mvBytes), lSuccess);
    if (lDocument.mvBytes.isEmpty() || !lSuccess) {
        aState.SkipWithError("document missing or not parsed; set BEAMORA_DATA_DIR");
        return;
    }
    lDocument.mvDocument = QJsonDocument::fromVariant(lDocument.mvTree);
    for (auto lDummy : aState)
        aWork(lDocument);
    aState.SetBytesProcessed(aState.iterations() * lDocument.mvBytes.size());
}

void gpRegister(const char* aName)
{
    const auto lAdd = [aName](const char* aCase, Work aWork) {
        benchmark::RegisterBenchmark(
            (std::string(aCase) + "/" + aName).c_str(),
            [aName, aWork](benchmark::State& aState) { gpRun(aState, aName, aWork); })
            ->Unit(benchmark::kMillisecond);
    };
    lAdd("Parse/UBXJson", [](const Document& aDocument) {
        bool lSuccess;
        benchmark::DoNotOptimize(gfParseJson(QString::fromUtf8(aDocument.mvBytes), lSuccess));
    });
    lAdd("Parse/Qt", [](const Document& aDocument) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(aDocument.mvBytes).toVariant());
    });
    lAdd("Serialize/UBXJson", [](const Document& aDocument) {
        bool lSuccess;
        benchmark::DoNotOptimize(gfSerializeJson(aDocument.mvTree, lSuccess));
    });
    lAdd("Serialize/QtFromVariant", [](const Document& aDocument) {
        benchmark::DoNotOptimize(
            QJsonDocument::fromVariant(aDocument.mvTree).toJson(QJsonDocument::Compact));
    });
    lAdd("Serialize/QtDocument", [](const Document& aDocument) {
        benchmark::DoNotOptimize(aDocument.mvDocument.toJson(QJsonDocument::Compact));
    });
}
} // namespace

int main(int aArgc, char** aArgv)
{
    for (const char* lName : cDocuments)
        gpRegister(lName);
    benchmark::Initialize(&aArgc, aArgv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
