#include "ICLoggerFile.h"
#include "ICLoggerModel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <cstdio>
#include <memory>

namespace {
const QDateTime sStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
const QRegularExpression
    sHeader(QStringLiteral("^===== Log format: 2\\.0 Log file started on "
                           "(\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d) =====\\n"));
const QByteArray sNotice1k = "Status:\t------------------------------------------------\n"
                             "Status:\tMaximum file size reached (1 kB).\n";
const QByteArray sLongHead = "\t: Class 0\t: PID 77\t: PName Observer Thread for service\t: "
                             "15.11.2026 14:12:10.123\t: ";

QByteArray gfRead(const QString& aPath)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : QByteArray();
}

// The file without its header line; "no header" when that is missing or wrong.
QByteArray gfBody(const QString& aPath)
{
    const QByteArray lContent = gfRead(aPath);
    const QRegularExpressionMatch lMatch = sHeader.match(QString::fromUtf8(lContent));
    return lMatch.hasMatch() ? lContent.mid(lMatch.capturedLength()) : "no header";
}

ICLoggerItem gfItem(qint32 aLevel, const QString& aText, quint64 aClassId = 0)
{
    return ICLoggerItem(aText, sStamp, aLevel, 77, QStringLiteral("Observer Thread for service"),
                        aClassId);
}

// Lines of exactly 100 bytes: with the 68-byte header, ten of them take a
// file past 1 kB.
ICLoggerItem gfSizedItem(int aNumber)
{
    return gfItem(Info, QStringLiteral("item %1 xxx").arg(aNumber, 2, 10, QLatin1Char('0')));
}

QByteArray gfSizedLines(int aFirst, int aLast)
{
    QByteArray lLines;
    for (int i = aFirst; i <= aLast; ++i)
        lLines +=
            "Info" + sLongHead + "item " + QByteArray::number(i).rightJustified(2, '0') + " xxx\n";
    return lLines;
}

void gpLogSized(ICLoggerFile& aLogger, int aFirst, int aLast)
{
    for (int i = aFirst; i <= aLast; ++i)
        aLogger.mpSlotLogEvent(gfSizedItem(i));
}
} // namespace

class tst_LoggerFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void headerAndLongLine();
    void levelWordsAndFilter();
    void liveItemThroughTheModel();
    void timeFieldMatchesQtPattern();
    void shortFormFromEnvironment_data();
    void shortFormFromEnvironment();
    void classFilters();
    void rotationWithThreeBackups();
    void rotationWithOneOrNoBackup();
    void sizeLimitWrapsAt32Bits();
    void appendKeepsExistingFile();
    void silentWhenNotWritable();
    void streamHandleNeverRotates();
    void defaultFileName();

private:
    std::unique_ptr<QTemporaryDir> mvDirectory;
    QString mfPath(const QString& aName) const { return mvDirectory->filePath(aName); }
    QStringList mfFiles() const { return QDir(mvDirectory->path()).entryList(QDir::Files); }
};

void tst_LoggerFile::init()
{
    mvDirectory = std::make_unique<QTemporaryDir>();
    QVERIFY(mvDirectory->isValid());
}

void tst_LoggerFile::headerAndLongLine()
{
    const QString lPath = mfPath(QStringLiteral("service.log"));
    const QDateTime lBefore = QDateTime::currentDateTime().addSecs(-1);
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    const QDateTime lAfter = QDateTime::currentDateTime();
    QCOMPARE(lLogger.mfGetName(), QStringLiteral("Observer Thread for service"));

    lLogger.mpSlotLogEvent(gfItem(Info, QStringLiteral("Started")));
    lLogger.mpSlotLogEvent(gfItem(Warn, QStringLiteral("a\tb"), 0xBEEF));
    lLogger.mpSlotLogEvent(gfItem(Info, QString()));
    lLogger.mpSlotLogEvent(ICLoggerItem(QString::fromUtf8("Grüße 東京"), sStamp, Error,
                                        18446744073709551615ULL, QString(), 1));
    // A broken surrogate pair is written as U+FFFD, not dropped or turned into '?'.
    lLogger.mpSlotLogEvent(
        ICLoggerItem(QStringLiteral("a") + QChar(0xd800), sStamp, Info, 1, QString(), 0));

    const QByteArray lContent = gfRead(lPath);
    const QRegularExpressionMatch lMatch = sHeader.match(QString::fromUtf8(lContent));
    QVERIFY2(lMatch.hasMatch(), lContent.constData());
    const QDateTime lStarted =
        QDateTime::fromString(lMatch.captured(1), QStringLiteral("dd.MM.yyyy hh:mm:ss"));
    QVERIFY(lStarted >= lBefore && lStarted <= lAfter);
    QCOMPARE(lContent.mid(lMatch.capturedLength()),
             "Info" + sLongHead + "Started\n" +
                 "Warn\t: Class beef\t: PID 77\t: PName Observer Thread for service\t: "
                 "15.11.2026 14:12:10.123\t: a\tb\n" +
                 "Info" + sLongHead + "\n" +
                 "Error\t: Class 1\t: PID 18446744073709551615\t: PName Unknown\t: "
                 "15.11.2026 14:12:10.123\t: Gr\xc3\xbc\xc3\x9f"
                 "e \xe6\x9d\xb1\xe4\xba\xac\n"
                 "Info\t: Class 0\t: PID 1\t: PName Unknown\t: 15.11.2026 14:12:10.123\t: "
                 "a\xef\xbf\xbd\n");
}

void tst_LoggerFile::levelWordsAndFilter()
{
    const QString lPath = mfPath(QStringLiteral("levels.log"));
    ICLoggerFile lLogger(lPath, Warn, 0, 0, false);
    for (qint32 lLevel = -2; lLevel <= 6; ++lLevel)
        lLogger.mpSlotLogEvent(gfItem(lLevel, QString()));
    lLogger.mpSetLevel(Diag);
    lLogger.mpSlotLogEvent(gfItem(Debug, QString()));
    lLogger.mpSlotLogEvent(gfItem(Diag, QString()));
    QByteArray lWords;
    for (const QByteArray& lLine : gfBody(lPath).split('\n'))
        lWords += lLine.left(lLine.indexOf('\t')) + ' ';
    QCOMPARE(lWords, QByteArray("Status Warn Error Fatal Unknown Diag  "));
}

void tst_LoggerFile::liveItemThroughTheModel()
{
    const QString lPath = mfPath(QStringLiteral("live.trace.log"));
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("file live"));
    auto* lLogger = new ICLoggerFile(lPath, Info, 0, 0, false);
    lModel->mpAddObserver(lLogger, true);
    QCOMPARE(lLogger->thread()->objectName(), QStringLiteral("Observer Thread for live"));

    QThread::currentThread()->setObjectName(QStringLiteral("file test"));
    const QDateTime lBefore = QDateTime::currentDateTime();
    lModel->mpLog(Debug, QStringLiteral("below"), 1);
    lModel->mpLog(Info, QStringLiteral("live"), 0x1f);
    const QDateTime lAfter = QDateTime::currentDateTime();
    QTRY_VERIFY(gfBody(lPath).endsWith("\t: live\n")); // written while the sink still runs
    lModel->mpRemoveObserver(lLogger);

    const QRegularExpression lPattern(
        QStringLiteral("^Info\\t: Class 1f\\t: PID (\\d+)\\t: PName file test\\t: "
                       "(\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d\\.\\d{3})\\t: live\\n$"));
    const QByteArray lBody = gfBody(lPath);
    const QRegularExpressionMatch lMatch = lPattern.match(QString::fromUtf8(lBody));
    QVERIFY2(lMatch.hasMatch(), lBody.constData());
    QCOMPARE(lMatch.captured(1).toULongLong(), gfCurrentThreadId());
    const QDateTime lLogged =
        QDateTime::fromString(lMatch.captured(2), QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz"));
    QVERIFY(lLogged >= lBefore && lLogged <= lAfter);
}

void tst_LoggerFile::timeFieldMatchesQtPattern()
{
    ICLoggerFile lLogger(mfPath(QStringLiteral("pattern.log")), Debug, 0, 0, false);
    QRandomGenerator lRandom(20261115);
    QList<QDateTime> lStamps = {QDateTime(QDate(1000, 1, 1), QTime(0, 0)),
                                QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999)),
                                QDateTime()}; // never set: no time field at all
    for (int i = 0; i < 2000; ++i)
        lStamps << QDateTime(
            QDate(lRandom.bounded(1000, 10000), lRandom.bounded(1, 13), lRandom.bounded(1, 29)),
            QTime::fromMSecsSinceStartOfDay(lRandom.bounded(86400000)));
    for (const QDateTime& lStamp : lStamps) {
        const ICLoggerItem lItem(QStringLiteral("x"), lStamp, Info, 1, QString(), 0);
        QCOMPARE(lLogger.mfFormat(lItem),
                 "Info\t: Class 0\t: PID 1\t: PName Unknown" +
                     lStamp.toString(QStringLiteral("\t: dd.MM.yyyy hh:mm:ss.zzz\t: ")).toUtf8() +
                     "x\n");
    }
}

void tst_LoggerFile::shortFormFromEnvironment_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("simple");
    QTest::newRow("set to 1") << QByteArray("IC_SIMPLE_LOGGING") << QByteArray("1") << true;
    QTest::newRow("set to 0") << QByteArray("IC_SIMPLE_LOGGING") << QByteArray("0") << true;
    QTest::newRow("longer, any case") << QByteArray("ic_Simple_LoggingX") << QByteArray() << true;
    QTest::newRow("prefixed") << QByteArray("X_IC_SIMPLE_LOGGING") << QByteArray("1") << false;
}

void tst_LoggerFile::shortFormFromEnvironment()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    QFETCH(bool, simple);
    const QString lPath = mfPath(QStringLiteral("env.log"));
    QVERIFY(qputenv(name.constData(), value));
    {
        ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
        qunsetenv(name.constData());
        lLogger.mpSlotLogEvent(gfItem(Warn, QStringLiteral("Disk low"), 0));
    }
    QCOMPARE(gfBody(lPath),
             simple ? QByteArray("Warn\t: Disk low\n") : "Warn" + sLongHead + "Disk low\n");
}

void tst_LoggerFile::classFilters()
{
    const QString lPath = mfPath(QStringLiteral("filter.log"));
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    // Logs tags 0..3 (Status among them) and returns the tags written.
    auto lWritten = [&lLogger, &lPath] {
        const qsizetype lStart = gfBody(lPath).size();
        for (quint64 lTag = 0; lTag <= 3; ++lTag)
            lLogger.mpSlotLogEvent(gfItem(lTag == 3 ? Status : Info, QString::number(lTag), lTag));
        QByteArray lTags;
        for (const QByteArray& lLine : gfBody(lPath).mid(lStart).split('\n'))
            lTags += lLine.right(1);
        return lTags;
    };
    QCOMPARE(lWritten(), QByteArray("0123"));
    lLogger.mpIncludeClass(1);
    lLogger.mpIncludeClass(3);
    QCOMPARE(lWritten(), QByteArray("13"));
    lLogger.mpExcludeClass(3); // exclusion wins
    QCOMPARE(lWritten(), QByteArray("1"));
    lLogger.mpRemoveIncludedClass(1);
    lLogger.mpRemoveIncludedClass(3);
    QCOMPARE(lWritten(), QByteArray("012"));
    lLogger.mpRemoveExcludedClass(3);
    QCOMPARE(lWritten(), QByteArray("0123"));
}

void tst_LoggerFile::rotationWithThreeBackups()
{
    const QString lPath = mfPath(QStringLiteral("service.log"));
    ICLoggerFile lLogger(lPath, Debug, 1, 3, false);
    QCOMPARE(gfSizedLines(0, 0).size(), 100);
    // The size check comes before writing: the tenth line takes the file to
    // 1068 bytes and stays; the eleventh starts the rotation.
    gpLogSized(lLogger, 0, 9);
    QCOMPARE(QFileInfo(lPath).size(), 1068);
    QCOMPARE(mfFiles(), QStringList({"service.log"}));
    gpLogSized(lLogger, 10, 10);
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_1.log"))), gfSizedLines(0, 9) + sNotice1k);
    QCOMPARE(gfBody(lPath), gfSizedLines(10, 10));

    // Three more rotations: the oldest file (items 0..9) falls off the end.
    gpLogSized(lLogger, 11, 44);
    QCOMPARE(gfBody(lPath), gfSizedLines(40, 44));
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_1.log"))), gfSizedLines(30, 39) + sNotice1k);
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_2.log"))), gfSizedLines(20, 29) + sNotice1k);
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_3.log"))), gfSizedLines(10, 19) + sNotice1k);
    QCOMPARE(mfFiles().size(), 4);
}

void tst_LoggerFile::rotationWithOneOrNoBackup()
{
    // Base name up to the first dot, suffix everything after it. Opened for
    // appending, the file still starts afresh after a rotation.
    const QString lPath = mfPath(QStringLiteral("app.trace.txt"));
    {
        ICLoggerFile lLogger(lPath, Debug, 1, 1, true);
        gpLogSized(lLogger, 0, 24);
    }
    QCOMPARE(gfBody(mfPath(QStringLiteral("app_1.trace.txt"))), gfSizedLines(10, 19) + sNotice1k);
    QCOMPARE(gfBody(lPath), gfSizedLines(20, 24));
    QCOMPARE(mfFiles().size(), 2);

    // Without backups the file is emptied and restarted, without a notice.
    const QString lSingle = mfPath(QStringLiteral("single.log"));
    ICLoggerFile lLogger(lSingle, Debug, 1, 0, false);
    gpLogSized(lLogger, 0, 22);
    QCOMPARE(gfBody(lSingle), gfSizedLines(20, 22));
    QCOMPARE(QFileInfo(lSingle).size(), 68 + 300);
    QCOMPARE(mfFiles().size(), 3);

    // The setters act on a running logger.
    lLogger.mpSetMaxBackupFiles(2);
    lLogger.mpSetMaxFileSize(0);
    gpLogSized(lLogger, 23, 39);
    lLogger.mpSetMaxFileSize(1);
    gpLogSized(lLogger, 40, 40);
    QCOMPARE(gfBody(mfPath(QStringLiteral("single_1.log"))), gfSizedLines(20, 39) + sNotice1k);
    QCOMPARE(gfBody(lSingle), gfSizedLines(40, 40));
}

void tst_LoggerFile::sizeLimitWrapsAt32Bits()
{
    // 4194304 kB * 1024 wraps to 0 in 32 bits (no limit); 4194305 kB to 1024 bytes.
    const QString lPath = mfPath(QStringLiteral("wrap.log"));
    ICLoggerFile lLogger(lPath, Debug, 4194304, 1, false);
    gpLogSized(lLogger, 0, 19);
    QCOMPARE(mfFiles().size(), 1);
    lLogger.mpSetMaxFileSize(4194305);
    gpLogSized(lLogger, 20, 20);
    QCOMPARE(gfBody(mfPath(QStringLiteral("wrap_1.log"))), gfSizedLines(0, 19) + sNotice1k);
}

void tst_LoggerFile::appendKeepsExistingFile()
{
    const QString lPath = mfPath(QStringLiteral("append.log"));
    for (int i = 0; i < 2; ++i) {
        ICLoggerFile lLogger(lPath, Debug, 0, 0, true);
        gpLogSized(lLogger, i, i);
    }
    QCOMPARE(gfBody(lPath), gfSizedLines(0, 1));
    {
        ICLoggerFile lTruncating(lPath, Debug, 0, 0, false);
        gpLogSized(lTruncating, 2, 2);
    }
    QCOMPARE(gfBody(lPath), gfSizedLines(2, 2));
    // An existing empty file gets a header even when appending.
    const QString lEmpty = mfPath(QStringLiteral("empty.log"));
    QVERIFY(QFile(lEmpty).open(QIODevice::WriteOnly));
    ICLoggerFile lLogger(lEmpty, Debug, 0, 0, true);
    gpLogSized(lLogger, 3, 3);
    QCOMPARE(gfBody(lEmpty), gfSizedLines(3, 3));
}

void tst_LoggerFile::silentWhenNotWritable()
{
    const QString lInMissingDirectory = mfPath(QStringLiteral("missing/service.log"));
    const QString lDirectory = mfPath(QStringLiteral("directory"));
    QVERIFY(QDir().mkpath(lDirectory));
    for (const QString& lPath : {lInMissingDirectory, lDirectory}) {
        ICLoggerFile lLogger(lPath, Debug, 1, 2, false);
        gpLogSized(lLogger, 0, 19);
    }
    QVERIFY(mfFiles().isEmpty());
    QVERIFY(QDir(lDirectory).isEmpty());

    // After finalisation nothing more is written either.
    const QString lPath = mfPath(QStringLiteral("final.log"));
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    gpLogSized(lLogger, 0, 0);
    lLogger.mpSlotFinalize();
    gpLogSized(lLogger, 1, 1);
    QCOMPARE(gfBody(lPath), gfSizedLines(0, 0));
}

void tst_LoggerFile::streamHandleNeverRotates()
{
    const QString lPath = mfPath(QStringLiteral("handle.log"));
    FILE* lHandle = std::fopen(QFile::encodeName(lPath).constData(), "w");
    QVERIFY(lHandle);
    {
        ICLoggerFile lLogger(lHandle, QStringLiteral("stdout"), Debug);
        QCOMPARE(lLogger.mfGetName(), QStringLiteral("Observer Thread for stdout"));
        lLogger.mpSetMaxFileSize(1);
        lLogger.mpSetMaxBackupFiles(3);
        gpLogSized(lLogger, 0, 29);
    }
    // The handle is still open and ours.
    QVERIFY(std::fputs("after\n", lHandle) >= 0);
    std::fclose(lHandle);
    QCOMPARE(gfBody(lPath), gfSizedLines(0, 29) + "after\n");
    QCOMPARE(mfFiles(), QStringList({"handle.log"}));
}

void tst_LoggerFile::defaultFileName()
{
    const QString lPrevious = QDir::currentPath();
    QVERIFY(QDir::setCurrent(mvDirectory->path()));
    {
        ICLoggerFile lLogger(QString(), Debug, 0, 0, false);
        QVERIFY(lLogger.mfGetName().startsWith(QStringLiteral("Observer Thread for iclogger")));
    }
    QDir::setCurrent(lPrevious);
    QCOMPARE(mfFiles().size(), 1);
    QVERIFY2(QRegularExpression(QStringLiteral("^iclogger\\d\\d_\\d\\d_\\d\\d\\.log$"))
                 .match(mfFiles().constFirst())
                 .hasMatch(),
             qPrintable(mfFiles().constFirst()));
}

QTEST_GUILESS_MAIN(tst_LoggerFile)
#include "tst_loggerfile.moc"
