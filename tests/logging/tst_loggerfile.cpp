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

QByteArray gfRead(const QString& aPath)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : QByteArray();
}

// The file without its header line; empty when the header is missing or wrong.
QByteArray gfBody(const QString& aPath)
{
    const QByteArray lContent = gfRead(aPath);
    const QRegularExpressionMatch lMatch = sHeader.match(QString::fromUtf8(lContent));
    return lMatch.hasMatch() ? lContent.mid(lMatch.capturedLength()) : QByteArray();
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
    return gfItem(Info, QStringLiteral("item %1 ").arg(aNumber, 2, 10, QLatin1Char('0')) +
                            QString(3, QLatin1Char('x')));
}

QByteArray gfSizedLines(int aFirst, int aLast)
{
    QByteArray lLines;
    for (int i = aFirst; i <= aLast; ++i)
        lLines += "Info\t: Class 0\t: PID 77\t: PName Observer Thread for service\t: "
                  "15.11.2026 14:12:10.123\t: item " +
                  QByteArray::number(i).rightJustified(2, '0') + ' ' + QByteArray(3, 'x') + '\n';
    return lLines;
}

// Restores the environment variable after a test changed it.
class EnvironmentGuard
{
public:
    explicit EnvironmentGuard(const char* apName) : mvName(apName) {}
    ~EnvironmentGuard() { qunsetenv(mvName); }

private:
    const char* mvName;
};
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
    void rotationWithOneBackup();
    void rotationWithoutBackups();
    void sizeLimitWrapsAt32Bits();
    void appendKeepsExistingFile();
    void unopenableFileStaysSilent();
    void streamHandleNeverRotates();
    void finalisedLoggerWritesNothing();

private:
    std::unique_ptr<QTemporaryDir> mvDirectory;
    QString mfPath(const QString& aName) const { return mvDirectory->filePath(aName); }
};

void tst_LoggerFile::init()
{
    mvDirectory = std::make_unique<QTemporaryDir>();
    QVERIFY(mvDirectory->isValid());
}

void tst_LoggerFile::headerAndLongLine()
{
    const QString lPath = mfPath(QStringLiteral("service.log"));
    const QDateTime lBefore = QDateTime::currentDateTime().addMSecs(-1000);
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    const QDateTime lAfter = QDateTime::currentDateTime();
    QCOMPARE(lLogger.mfGetName(), QStringLiteral("Observer Thread for service"));

    lLogger.mpSlotLogEvent(gfItem(Info, QStringLiteral("Started"), 0));
    lLogger.mpSlotLogEvent(gfItem(Warn, QStringLiteral("tagged: a\tb"), 0xBEEF));
    lLogger.mpSlotLogEvent(ICLoggerItem(QString::fromUtf8("Grüße 東京"), sStamp, Error,
                                        18446744073709551615ULL, QString(), 1));
    lLogger.mpSlotLogEvent(gfItem(Info, QString()));
    // A broken surrogate pair is written as U+FFFD, not dropped or turned into '?'.
    lLogger.mpSlotLogEvent(
        ICLoggerItem(QStringLiteral("a") + QChar(0xd800) + QStringLiteral("b") + QChar(0xdc00),
                     sStamp, Info, 1, QString(), 0));

    const QByteArray lContent = gfRead(lPath);
    const QRegularExpressionMatch lMatch = sHeader.match(QString::fromUtf8(lContent));
    QVERIFY2(lMatch.hasMatch(), lContent.constData());
    const QDateTime lStarted =
        QDateTime::fromString(lMatch.captured(1), QStringLiteral("dd.MM.yyyy hh:mm:ss"));
    QVERIFY(lStarted >= lBefore);
    QVERIFY(lStarted <= lAfter);
    QCOMPARE(lContent.mid(lMatch.capturedLength()),
             QByteArray("Info\t: Class 0\t: PID 77\t: PName Observer Thread for service\t: "
                        "15.11.2026 14:12:10.123\t: Started\n"
                        "Warn\t: Class beef\t: PID 77\t: PName Observer Thread for service\t: "
                        "15.11.2026 14:12:10.123\t: tagged: a\tb\n"
                        "Error\t: Class 1\t: PID 18446744073709551615\t: PName Unknown\t: "
                        "15.11.2026 14:12:10.123\t: Gr\xc3\xbc\xc3\x9f"
                        "e \xe6\x9d\xb1\xe4\xba\xac\n"
                        "Info\t: Class 0\t: PID 77\t: PName Observer Thread for service\t: "
                        "15.11.2026 14:12:10.123\t: \n"
                        "Info\t: Class 0\t: PID 1\t: PName Unknown\t: "
                        "15.11.2026 14:12:10.123\t: a\xef\xbf\xbd"
                        "b\xef\xbf\xbd\n"));
}

void tst_LoggerFile::levelWordsAndFilter()
{
    const QString lPath = mfPath(QStringLiteral("levels.log"));
    ICLoggerFile lLogger(lPath, Warn, 0, 0, false);
    for (qint32 lLevel = -2; lLevel <= 6; ++lLevel)
        lLogger.mpSlotLogEvent(gfItem(lLevel, QString()));
    // Below Warn only Status passes; -2 is below everything.
    QStringList lWords;
    for (const QByteArray& lLine : gfBody(lPath).split('\n'))
        if (!lLine.isEmpty())
            lWords << QString::fromLatin1(lLine.left(lLine.indexOf('\t')));
    QCOMPARE(lWords, QStringList({"Status", "Warn", "Error", "Fatal", "Unknown"}));

    lLogger.mpSetLevel(Debug);
    lLogger.mpSlotLogEvent(gfItem(Debug, QString()));
    lLogger.mpSlotLogEvent(gfItem(Diag, QString()));
    lLogger.mpSlotLogEvent(gfItem(Info, QString()));
    QVERIFY(gfBody(lPath).endsWith("Debug\t: Class 0\t: PID 77\t: PName Observer Thread for "
                                   "service\t: 15.11.2026 14:12:10.123\t: \n"
                                   "Diag\t: Class 0\t: PID 77\t: PName Observer Thread for "
                                   "service\t: 15.11.2026 14:12:10.123\t: \n"
                                   "Info\t: Class 0\t: PID 77\t: PName Observer Thread for "
                                   "service\t: 15.11.2026 14:12:10.123\t: \n"));
}

void tst_LoggerFile::liveItemThroughTheModel()
{
    const QString lPath = mfPath(QStringLiteral("live.trace.log"));
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("file live"));
    auto* lLogger = new ICLoggerFile(lPath, Info, 0, 0, false);
    QCOMPARE(lLogger->mfGetName(), QStringLiteral("Observer Thread for live"));
    lModel->mpAddObserver(lLogger, true);
    QCOMPARE(lLogger->thread()->objectName(), QStringLiteral("Observer Thread for live"));

    QThread::currentThread()->setObjectName(QStringLiteral("file test"));
    const QDateTime lBefore = QDateTime::currentDateTime();
    lModel->mpLog(Debug, QStringLiteral("below"), 1);
    lModel->mpLog(Info, QStringLiteral("live"), 0x1f);
    const QDateTime lAfter = QDateTime::currentDateTime();
    lModel->mpRemoveObserver(lLogger);

    const QList<QByteArray> lLines = gfBody(lPath).split('\n');
    QCOMPARE(lLines.size(), 2);
    const QRegularExpression lPattern(
        QStringLiteral("^Info\\t: Class 1f\\t: PID (\\d+)\\t: PName file test\\t: "
                       "(\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d\\.\\d{3})\\t: live$"));
    const QRegularExpressionMatch lMatch = lPattern.match(QString::fromUtf8(lLines[0]));
    QVERIFY2(lMatch.hasMatch(), lLines[0].constData());
    QCOMPARE(lMatch.captured(1).toULongLong(), gfCurrentThreadId());
    const QDateTime lLogged =
        QDateTime::fromString(lMatch.captured(2), QStringLiteral("dd.MM.yyyy hh:mm:ss.zzz"));
    QVERIFY(lLogged >= lBefore && lLogged <= lAfter);
}

void tst_LoggerFile::timeFieldMatchesQtPattern()
{
    ICLoggerFile lLogger(mfPath(QStringLiteral("pattern.log")), Debug, 0, 0, false);
    const QString lPattern = QStringLiteral("\t: dd.MM.yyyy hh:mm:ss.zzz\t: ");
    QRandomGenerator lRandom(20261115);
    QList<QDateTime> lStamps = {QDateTime(QDate(1000, 1, 1), QTime(0, 0)),
                                QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999)),
                                QDateTime(QDate(2026, 3, 29), QTime(2, 30, 0, 5))};
    for (int i = 0; i < 2000; ++i)
        lStamps << QDateTime(
            QDate(lRandom.bounded(1000, 10000), lRandom.bounded(1, 13), lRandom.bounded(1, 29)),
            QTime::fromMSecsSinceStartOfDay(lRandom.bounded(86400000)));
    // A stamp never set prints no time field at all, as the pattern does.
    lStamps << QDateTime();
    const QString lHead = QStringLiteral("Info\t: Class 0\t: PID 1\t: PName Unknown");
    for (const QDateTime& lStamp : lStamps) {
        const ICLoggerItem lItem(QStringLiteral("x"), lStamp, Info, 1, QString(), 0);
        QCOMPARE(lLogger.mfFormat(lItem),
                 QString(lHead + lStamp.toString(lPattern) + QStringLiteral("x\n")).toUtf8());
    }
}

void tst_LoggerFile::shortFormFromEnvironment_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("simple");
    QTest::newRow("set to 1") << QByteArray("IC_SIMPLE_LOGGING") << QByteArray("1") << true;
    QTest::newRow("set to 0") << QByteArray("IC_SIMPLE_LOGGING") << QByteArray("0") << true;
    QTest::newRow("empty value") << QByteArray("IC_SIMPLE_LOGGING") << QByteArray() << true;
    QTest::newRow("lower case") << QByteArray("ic_simple_logging") << QByteArray("no") << true;
    QTest::newRow("longer name") << QByteArray("Ic_Simple_LoggingX") << QByteArray("x") << true;
    QTest::newRow("prefixed") << QByteArray("X_IC_SIMPLE_LOGGING") << QByteArray("1") << false;
    QTest::newRow("shorter") << QByteArray("IC_SIMPLE_LOGGIN") << QByteArray("1") << false;
}

void tst_LoggerFile::shortFormFromEnvironment()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, value);
    QFETCH(bool, simple);
    const QString lPath = mfPath(QStringLiteral("env.log"));
    const QString lHandlePath = mfPath(QStringLiteral("env-handle.log"));
    EnvironmentGuard lGuard(name.constData());
    QVERIFY(qputenv(name.constData(), value));
    {
        ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
        lLogger.mpSlotLogEvent(gfItem(Warn, QStringLiteral("Disk low"), 5));
        FILE* lHandle = std::fopen(QFile::encodeName(lHandlePath).constData(), "w");
        QVERIFY(lHandle);
        {
            ICLoggerFile lHandleLogger(lHandle, QStringLiteral("env"), Debug);
            lHandleLogger.mpSlotLogEvent(gfItem(Warn, QStringLiteral("Disk low"), 5));
        }
        std::fclose(lHandle);
    }
    const QByteArray lExpected =
        simple ? QByteArray("Warn\t: Disk low\n")
               : QByteArray("Warn\t: Class 5\t: PID 77\t: PName Observer Thread for service\t: "
                            "15.11.2026 14:12:10.123\t: Disk low\n");
    QCOMPARE(gfBody(lPath), lExpected);
    QCOMPARE(gfBody(lHandlePath), lExpected);
}

void tst_LoggerFile::classFilters()
{
    const QString lPath = mfPath(QStringLiteral("filter.log"));
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    QByteArray lWritten;
    auto lLogTags = [&lLogger, &lPath, &lWritten] {
        const qsizetype lStart = gfBody(lPath).size();
        for (quint64 lTag = 0; lTag <= 3; ++lTag)
            lLogger.mpSlotLogEvent(gfItem(Info, QString::number(lTag), lTag));
        lWritten.clear();
        for (const QByteArray& lLine : gfBody(lPath).mid(lStart).split('\n'))
            lWritten += lLine.right(1);
    };

    lLogTags();
    QCOMPARE(lWritten, QByteArray("0123"));
    lLogger.mpIncludeClass(1);
    lLogger.mpIncludeClass(2);
    lLogger.mpIncludeClass(2);
    lLogTags();
    QCOMPARE(lWritten, QByteArray("12"));
    // Exclusion wins over inclusion.
    lLogger.mpExcludeClass(2);
    lLogTags();
    QCOMPARE(lWritten, QByteArray("1"));
    lLogger.mpRemoveIncludedClass(1);
    lLogger.mpRemoveIncludedClass(2);
    lLogTags();
    QCOMPARE(lWritten, QByteArray("013"));
    lLogger.mpRemoveExcludedClass(2);
    lLogTags();
    QCOMPARE(lWritten, QByteArray("0123"));
    // Status items are filtered by tag like any other.
    lLogger.mpExcludeClass(0);
    const qsizetype lBefore = gfBody(lPath).size();
    lLogger.mpSlotLogEvent(gfItem(Status, QStringLiteral("banner"), 0));
    QCOMPARE(gfBody(lPath).size(), lBefore);
}

void tst_LoggerFile::rotationWithThreeBackups()
{
    const QString lPath = mfPath(QStringLiteral("service.log"));
    ICLoggerFile lLogger(lPath, Debug, 1, 3, false);
    QCOMPARE(gfSizedLines(0, 0).size(), 100);

    // The size check comes before writing: the tenth line takes the file to
    // 1068 bytes and stays; the eleventh starts the rotation.
    for (int i = 0; i < 10; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    QCOMPARE(QFileInfo(lPath).size(), 1068);
    QVERIFY(!QFile::exists(mfPath(QStringLiteral("service_1.log"))));
    lLogger.mpSlotLogEvent(gfSizedItem(10));
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_1.log"))), gfSizedLines(0, 9) + sNotice1k);
    QCOMPARE(gfBody(lPath), gfSizedLines(10, 10));

    // Three more rotations: the oldest file (items 0..9) falls off the end.
    for (int i = 11; i < 45; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    QCOMPARE(gfBody(lPath), gfSizedLines(40, 44));
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_1.log"))), gfSizedLines(30, 39) + sNotice1k);
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_2.log"))), gfSizedLines(20, 29) + sNotice1k);
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_3.log"))), gfSizedLines(10, 19) + sNotice1k);
    QVERIFY(!QFile::exists(mfPath(QStringLiteral("service_4.log"))));
}

void tst_LoggerFile::rotationWithOneBackup()
{
    const QString lPath = mfPath(QStringLiteral("app.trace.txt"));
    ICLoggerFile lLogger(lPath, Debug, 1, 1, true);
    for (int i = 0; i < 25; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    // Base name up to the first dot, suffix everything after it.
    const QString lBackup = mfPath(QStringLiteral("app_1.trace.txt"));
    QCOMPARE(gfBody(lBackup), gfSizedLines(10, 19) + sNotice1k);
    QVERIFY(!QFile::exists(mfPath(QStringLiteral("app_2.trace.txt"))));
    // Opened for appending, the file still starts afresh after a rotation.
    QCOMPARE(gfBody(lPath), gfSizedLines(20, 24));
}

void tst_LoggerFile::rotationWithoutBackups()
{
    const QString lPath = mfPath(QStringLiteral("service.log"));
    ICLoggerFile lLogger(lPath, Debug, 1, 0, false);
    for (int i = 0; i < 23; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    QCOMPARE(gfBody(lPath), gfSizedLines(20, 22));
    QCOMPARE(QFileInfo(lPath).size(), 68 + 300);
    QCOMPARE(QDir(mvDirectory->path()).entryList(QDir::Files), QStringList({"service.log"}));

    // Setters change the behaviour of a running logger.
    lLogger.mpSetMaxBackupFiles(2);
    lLogger.mpSetMaxFileSize(0);
    for (int i = 23; i < 40; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    QCOMPARE(gfBody(lPath), gfSizedLines(20, 39));
    lLogger.mpSetMaxFileSize(1);
    lLogger.mpSlotLogEvent(gfSizedItem(40));
    QCOMPARE(gfBody(mfPath(QStringLiteral("service_1.log"))), gfSizedLines(20, 39) + sNotice1k);
    QCOMPARE(gfBody(lPath), gfSizedLines(40, 40));
}

void tst_LoggerFile::sizeLimitWrapsAt32Bits()
{
    const QString lPath = mfPath(QStringLiteral("wrap.log"));
    // 4194305 kB * 1024 wraps to 1024 bytes in 32 bits; 4194304 kB to 0, no limit.
    ICLoggerFile lLogger(lPath, Debug, 4194304, 1, false);
    for (int i = 0; i < 20; ++i)
        lLogger.mpSlotLogEvent(gfSizedItem(i));
    QVERIFY(!QFile::exists(mfPath(QStringLiteral("wrap_1.log"))));
    lLogger.mpSetMaxFileSize(4194305);
    lLogger.mpSlotLogEvent(gfSizedItem(20));
    QCOMPARE(gfBody(mfPath(QStringLiteral("wrap_1.log"))), gfSizedLines(0, 19) + sNotice1k);
}

void tst_LoggerFile::appendKeepsExistingFile()
{
    const QString lPath = mfPath(QStringLiteral("append.log"));
    {
        ICLoggerFile lFirst(lPath, Debug, 0, 0, true);
        lFirst.mpSlotLogEvent(gfSizedItem(0));
    }
    {
        ICLoggerFile lSecond(lPath, Debug, 0, 0, true);
        lSecond.mpSlotLogEvent(gfSizedItem(1));
    }
    QCOMPARE(gfBody(lPath), gfSizedLines(0, 1));

    // Without the flag the file is emptied and gets a new header.
    {
        ICLoggerFile lThird(lPath, Debug, 0, 0, false);
        lThird.mpSlotLogEvent(gfSizedItem(2));
    }
    QCOMPARE(gfBody(lPath), gfSizedLines(2, 2));

    // An existing empty file gets a header even when appending.
    const QString lEmpty = mfPath(QStringLiteral("empty.log"));
    QVERIFY(QFile(lEmpty).open(QIODevice::WriteOnly));
    {
        ICLoggerFile lFourth(lEmpty, Debug, 0, 0, true);
        lFourth.mpSlotLogEvent(gfSizedItem(3));
    }
    QCOMPARE(gfBody(lEmpty), gfSizedLines(3, 3));
}

void tst_LoggerFile::unopenableFileStaysSilent()
{
    const QString lMissingDirectory = mfPath(QStringLiteral("missing/service.log"));
    const QString lDirectory = mfPath(QStringLiteral("directory"));
    QVERIFY(QDir().mkpath(lDirectory));
    for (const QString& lPath : {lMissingDirectory, lDirectory}) {
        ICLoggerFile lLogger(lPath, Debug, 1, 2, false);
        for (int i = 0; i < 20; ++i)
            lLogger.mpSlotLogEvent(gfSizedItem(i));
        lLogger.mpSlotFinalize();
    }
    QVERIFY(!QFile::exists(lMissingDirectory));
    QCOMPARE(QDir(mvDirectory->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList({"directory"}));
    QVERIFY(QDir(lDirectory).isEmpty());
}

void tst_LoggerFile::streamHandleNeverRotates()
{
    const QString lPath = mfPath(QStringLiteral("handle.log"));
    FILE* lHandle = std::fopen(QFile::encodeName(lPath).constData(), "w");
    QVERIFY(lHandle);
    std::fputs("before\n", lHandle);
    std::fflush(lHandle);
    {
        ICLoggerFile lLogger(lHandle, QStringLiteral("stdout"), Debug);
        QCOMPARE(lLogger.mfGetName(), QStringLiteral("Observer Thread for stdout"));
        lLogger.mpSetMaxFileSize(1);
        lLogger.mpSetMaxBackupFiles(3);
        for (int i = 0; i < 30; ++i)
            lLogger.mpSlotLogEvent(gfSizedItem(i));
        lLogger.mpSlotFinalize();
        lLogger.mpSlotLogEvent(gfSizedItem(30));
    }
    // The handle is still ours: writing goes on after the logger is gone.
    QVERIFY(std::fputs("after\n", lHandle) >= 0);
    std::fclose(lHandle);
    QVERIFY(gfRead(lPath).startsWith("before\n"));
    QFile lBody(lPath);
    QVERIFY(lBody.open(QIODevice::ReadOnly));
    lBody.readLine();
    const QByteArray lRest = lBody.readAll();
    QVERIFY(sHeader.match(QString::fromUtf8(lRest)).hasMatch());
    QVERIFY(lRest.endsWith(QByteArray(gfSizedLines(0, 29) + "after\n")));
    QCOMPARE(lRest.count("====="), 2);
    QCOMPARE(QDir(mvDirectory->path()).entryList(QDir::Files), QStringList({"handle.log"}));
}

void tst_LoggerFile::finalisedLoggerWritesNothing()
{
    const QString lPath = mfPath(QStringLiteral("final.log"));
    ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
    lLogger.mpSlotLogEvent(gfSizedItem(0));
    lLogger.mpSlotFinalize();
    lLogger.mpSlotLogEvent(gfSizedItem(1));
    QCOMPARE(gfBody(lPath), gfSizedLines(0, 0));
}

QTEST_GUILESS_MAIN(tst_LoggerFile)
#include "tst_loggerfile.moc"
