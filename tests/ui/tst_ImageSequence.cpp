#include "ImageSequence.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QDir sCorpus(QStringLiteral(IMAGESEQUENCE_CORPUS));

// 2x1 frames told apart by the red of their pixels: 40 * index.
void gpAddFrames(ImageSequence& aSequence, int aCount)
{
    for (int lIndex = 0; lIndex < aCount; ++lIndex) {
        QImage lImage(2, 1, QImage::Format_RGB32);
        lImage.fill(QColor(40 * lIndex, 0, 0));
        aSequence.mpAddFrame(lImage);
    }
}
} // namespace

class tst_ImageSequence : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // A clock driven by hand, 10 frames per second; the trace holds the frame
    // at each sgFrameChanged() and "F" with it at sgSequenceFinished().
    void playing_data()
    {
        QTest::addColumn<bool>("loop");
        QTest::addColumn<bool>("reverse");
        QTest::addColumn<QList<int>>("times");
        QTest::addColumn<QString>("trace");
        QTest::newRow("forward once")
            << false << false << QList<int>{0, 100, 150, 200, 300} << "1 2 F0";
        QTest::newRow("forward loop")
            << true << false << QList<int>{100, 200, 300, 499} << "1 2 0 1";
        // f = 2 equals the frame that f = 1 selected, so that tick is silent.
        QTest::newRow("reverse once") << false << true << QList<int>{100, 200, 300} << "2 F0";
        QTest::newRow("reverse loop stays on 0")
            << true << true << QList<int>{100, 300, 400, 500} << "2 0 0 0";
    }
    void playing()
    {
        QFETCH(bool, loop);
        QFETCH(bool, reverse);
        QFETCH(QList<int>, times);
        ImageSequence lSequence;
        gpAddFrames(lSequence, 3);
        lSequence.mpSetFrameRate(10.0f);
        lSequence.mpSetLoop(loop);
        lSequence.mpSetReverse(reverse);
        QStringList lTrace;
        connect(&lSequence, &ImageSequence::sgFrameChanged,
                [&] { lTrace << QString::number(lSequence.mfGetCurrentFrame()); });
        connect(&lSequence, &ImageSequence::sgSequenceFinished,
                [&] { lTrace << QStringLiteral("F%1").arg(lSequence.mfGetCurrentFrame()); });
        for (int lTime : times)
            lSequence.mpAdvanceTo(lTime);
        QTEST(lTrace.join(QLatin1Char(' ')), "trace");
    }

    // The real tick timer ends a sequence; position, rate and duration.
    void timerAndPosition()
    {
        ImageSequence lSequence;
        gpAddFrames(lSequence, 4);
        lSequence.mpSetFrameRate(100.0f);
        lSequence.mpSetLoop(false);
        QSignalSpy lFinished(&lSequence, &ImageSequence::sgSequenceFinished);
        lSequence.mpStart();
        QVERIFY(lFinished.wait(10000));
        QCOMPARE(lSequence.mfGetProgress(), 25.0f);
        QSignalSpy lChanged(&lSequence, &ImageSequence::sgFrameChanged);
        lSequence.mpSetProgress(100.0f);
        lSequence.mpSetProgress(100.0f);
        QCOMPARE(lSequence.mfGetCurrentFrame(), 3);
        QCOMPARE(lChanged.count(), 1);
        lSequence.mpClear();
        gpAddFrames(lSequence, 10);
        QCOMPARE(lSequence.mfGetFrameInterval(), 33);
        QCOMPARE(lSequence.mfGetDuration(), 333);
    }

    // Field by field, as a reader of the same record written long ago would.
    void fileLayoutAndRoundTrip()
    {
        QTemporaryDir lDir;
        const QString lFile = lDir.filePath("s.seq");
        ImageSequence lSequence;
        QVERIFY(!lSequence.mfSaveToFile(lFile, "PNG"));
        QVERIFY(!QFile::exists(lFile));
        gpAddFrames(lSequence, 3);
        lSequence.mpSetFrameRate(12.5f);
        QVERIFY(lSequence.mfSaveToFile(lFile, "PNG"));

        QFile lIn(lFile);
        QVERIFY(lIn.open(QIODevice::ReadOnly));
        const QByteArray lRecord = qUncompress(lIn.readAll());
        // Marker 1, rate 12.5 as a double, count 3, "PNG" as 6 bytes of UTF-16,
        // then each frame's length and encoded image.
        QCOMPARE(lRecord.left(23).toHex(), "01402900000000000000000003000000060050004e0047");
        QCOMPARE(lRecord.mid(27, 4), "\x89PNG");

        ImageSequence lLoaded;
        QVERIFY(lLoaded.mfLoadFromFile(lFile));
        QCOMPARE(lLoaded.mfGetFrameRate(), 12.5f);
        QCOMPARE(lLoaded.mfGetFrame(2).pixelColor(0, 0), QColor(80, 0, 0));
    }

    // Hand-made hostile files of the fuzz corpus: the frames kept, -1 for a failed load.
    void hostileFiles()
    {
        const std::pair<const char*, int> lFiles[] = {
            {"count-int-max", 3},          {"undecodable-middle-frame", 2},
            {"claims-gigabytes", -1},      {"broken-zlib-stream", -1},
            {"truncated-zlib-stream", -1}, {"claims-less-than-inflates", -1}};
        for (const auto& [lName, lFrames] : lFiles) {
            QFile lFile(sCorpus.filePath(lName));
            QVERIFY(lFile.open(QIODevice::ReadOnly));
            ImageSequence lSequence;
            const bool lLoaded = lSequence.mfLoadFromCompressedData(lFile.readAll());
            QVERIFY2((lLoaded ? lSequence.mfGetFrameCount() : -1) == lFrames, lName);
        }
    }

    void directory()
    {
        QTemporaryDir lDir;
        ImageSequence lSequence;
        gpAddFrames(lSequence, 2);
        QVERIFY(lSequence.mfGetFrame(1).save(lDir.filePath("a.png")));
        QVERIFY(lSequence.mfGetFrame(0).save(lDir.filePath("b.bmp")));
        QVERIFY(QFile::copy(sCorpus.filePath("png-3-frames"), lDir.filePath("c.txt")));
        QVERIFY(lSequence.mfLoadFromDirectory(lDir.path(), 5.0f));
        QCOMPARE(lSequence.mfGetFrameCount(), 2);
        QCOMPARE(lSequence.mfGetFrame(0).pixelColor(0, 0), QColor(40, 0, 0));
        QVERIFY(!lSequence.mfLoadFromDirectory(lDir.filePath("none"), 5.0f));
    }
};

QTEST_GUILESS_MAIN(tst_ImageSequence)
#include "tst_ImageSequence.moc"
