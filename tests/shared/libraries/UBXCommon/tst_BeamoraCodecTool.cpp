#include "SharedData.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const QString sFrames = QStringLiteral(BEAMORA_DATA_DIR "/screens/sequence-typing/frame-%1.png");

int gfRun(const QStringList& aArgs, QByteArray* apErrors = nullptr)
{
    QProcess lTool;
    lTool.start(QStringLiteral(BEAMORA_CODEC_TOOL), aArgs);
    if (!lTool.waitForFinished(120000))
        return -1;
    if (apErrors)
        *apErrors = lTool.readAllStandardError();
    return lTool.exitStatus() == QProcess::NormalExit ? lTool.exitCode() : -1;
}
} // namespace

class tst_BeamoraCodecTool : public QObject
{
    Q_OBJECT

private slots:
    // The real tool end to end: frames go through a stream file and come back exact (image
    // tiles as PNG, read only by the parallel decoder). A record cut short fails, naming
    // the frame, once the frames before it are written.
    void roundTripKeepsWhatDecoded()
    {
        BEAMORA_SKIP_WITHOUT_SHARED_DATA(sFrames.arg("0001"));
        QTemporaryDir lDir;
        const QString lStream = lDir.filePath("typing.stream");
        const QStringList lFrames{sFrames.arg("0001"), sFrames.arg("0002"), sFrames.arg("0003")};
        QCOMPARE(gfRun(QStringList{"encode", "--mode", "png", "--tile", "256", "--compress",
                                   "--sequential", "-o", lStream} +
                       lFrames),
                 0);
        QFile lFile(lStream);
        QVERIFY(lFile.open(QIODevice::Append));
        lFile.write("\0\0\0\x20\0\0\0\0\0\x10\0\x10\x05", 13);
        lFile.close();
        QByteArray lErrors;
        QCOMPARE(gfRun({"decode", "--all", "--compress", "-o", lDir.path(), lStream}, &lErrors), 1);
        QVERIFY2(lErrors.contains("frame 4 at byte"), lErrors);
        for (const QString& lFrame : lFrames)
            QCOMPARE(gfPsnr(QImage(lDir.filePath(QFileInfo(lFrame).fileName())), QImage(lFrame)),
                     99.0);
        QCOMPARE(gfRun({"decode", "--mode", "png", "-o", "x", lStream}), 2);
    }
};

QTEST_GUILESS_MAIN(tst_BeamoraCodecTool)
#include "tst_BeamoraCodecTool.moc"
