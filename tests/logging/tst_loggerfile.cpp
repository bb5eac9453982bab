#include "ICLoggerFile.h"
#include "ICLoggerModel.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
// Per file: first and last item, and whether the size notice closes it.
using Files = QMap<QString, QList<int>>;
const QDateTime sStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
const QRegularExpression
    sHeader(QStringLiteral("^===== Log format: 2\\.0 Log file started on "
                           "\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d =====\\n"));
const QByteArray sNotice = "Status:\t------------------------------------------------\n"
                           "Status:\tMaximum file size reached (1 kB).\n";

// The file without its header line; "no header" when that is missing or wrong.
QByteArray gfBody(const QString& aPath)
{
    QFile lFile(aPath);
    const QByteArray lContent = lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : QByteArray();
    const QRegularExpressionMatch lMatch = sHeader.match(QString::fromUtf8(lContent));
    return lMatch.hasMatch() ? lContent.mid(lMatch.capturedLength()) : "no header";
}

ICLoggerItem gfItem(qint32 aLevel, const QString& aText, quint64 aClassId = 0)
{
    return ICLoggerItem(aText, sStamp, aLevel, 77, QStringLiteral("main"), aClassId);
}

// Lines of exactly 100 bytes: with the 68-byte header, ten of them take a file past 1 kB.
QByteArray gfLines(int aFirst, int aLast)
{
    QByteArray lLines;
    for (int i = aFirst; i <= aLast; ++i)
        lLines += "Info\t: Class 0\t: PID 77\t: PName main\t: 15.11.2026 14:12:10.123\t: item " +
                  QByteArray::number(i).rightJustified(2, '0') + QByteArray(27, 'x') + '\n';
    return lLines;
}

void gpLog(ICLoggerFile& aLogger, int aFirst, int aLast)
{
    for (int i = aFirst; i <= aLast; ++i)
        aLogger.mpSlotLogEvent(
            gfItem(Info, QStringLiteral("item %1").arg(i, 2, 10, QLatin1Char('0')) +
                             QString(27, QLatin1Char('x'))));
}
} // namespace

class tst_LoggerFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { QVERIFY((mvDir = std::make_unique<QTemporaryDir>())->isValid()); }
    void lineFormat_data()
    {
        QTest::addColumn<ICLoggerItem>("item");
        QTest::addColumn<QByteArray>("line");
        const QByteArray lTail = "\t: PID 77\t: PName main\t: 15.11.2026 14:12:10.123\t: ";
        QTest::newRow("info") << gfItem(Info, "Started") << "Info\t: Class 0" + lTail + "Started\n";
        QTest::newRow("hex class, tab kept")
            << gfItem(Warn, "a\tb", 0xBEEF) << "Warn\t: Class beef" + lTail + "a\tb\n";
        QTest::newRow("status, empty") << gfItem(Status, "") << "Status\t: Class 0" + lTail + "\n";
        QTest::newRow("out of range") << gfItem(6, "x") << "Unknown\t: Class 0" + lTail + "x\n";
        QTest::newRow("no thread name, 64-bit id, UTF-8")
            << ICLoggerItem(QString::fromUtf8("Grüße 東京"), sStamp, Error, 18446744073709551615ULL,
                            QString(), 1)
            << QByteArray("Error\t: Class 1\t: PID 18446744073709551615\t: PName Unknown\t: "
                          "15.11.2026 14:12:10.123\t: Gr\xc3\xbc\xc3\x9f"
                          "e \xe6\x9d\xb1\xe4\xba\xac\n");
        // The time field is built by hand: every field keeps its leading zeros.
        QTest::newRow("padded time")
            << ICLoggerItem("x", QDateTime(QDate(987, 3, 5), QTime(9, 4, 7, 8)), Info, 1, "t", 0)
            << QByteArray("Info\t: Class 0\t: PID 1\t: PName t\t: 05.03.0987 09:04:07.008\t: x\n");
        QTest::newRow("broken surrogate, no date")
            << ICLoggerItem(QStringLiteral("a") + QChar(0xd800), QDateTime(), Fatal, 1, "t", 0)
            << QByteArray("Fatal\t: Class 0\t: PID 1\t: PName ta\xef\xbf\xbd\n");
    }
    void lineFormat()
    {
        QFETCH(ICLoggerItem, item);
        QFETCH(QByteArray, line);
        const QString lPath = mfPath(QStringLiteral("service.log"));
        ICLoggerFile(lPath, Debug, 0, 0, false).mpSlotLogEvent(item);
        QCOMPARE(gfBody(lPath), line);
    }
    void levelAndClassFilters()
    {
        const QString lPath = mfPath(QStringLiteral("filter.log"));
        ICLoggerFile lLogger(lPath, Warn, 0, 0, false);
        // Logs tags 0..3 at levels Diag, Warn, Error, Status and returns the tags written.
        auto lWritten = [&lLogger, &lPath] {
            const qsizetype lStart = gfBody(lPath).size();
            for (quint64 lTag = 0; lTag <= 3; ++lTag)
                lLogger.mpSlotLogEvent(gfItem(QList<qint32>{Diag, Warn, Error, Status}[lTag],
                                              QString::number(lTag), lTag));
            QByteArray lTags;
            for (const QByteArray& lLine : gfBody(lPath).mid(lStart).split('\n'))
                lTags += lLine.right(1);
            return lTags;
        };
        QCOMPARE(lWritten(), QByteArray("123"));
        lLogger.mpSetLevel(Diag);
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
    void shortFormFromEnvironment_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("simple");
        QTest::newRow("set") << QByteArray("IC_SIMPLE_LOGGING") << true;
        QTest::newRow("longer, any case") << QByteArray("ic_Simple_LoggingX") << true;
        QTest::newRow("prefixed") << QByteArray("X_IC_SIMPLE_LOGGING") << false;
    }
    void shortFormFromEnvironment()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, simple);
        const QString lPath = mfPath(QStringLiteral("env.log"));
        QVERIFY(qputenv(name.constData(), "0"));
        {
            ICLoggerFile lLogger(lPath, Debug, 0, 0, false);
            qunsetenv(name.constData());
            gpLog(lLogger, 1, 1);
        }
        QCOMPARE(gfBody(lPath), simple ? gfLines(1, 1).remove(4, 58) : gfLines(1, 1));
    }
    void rotation_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QList<int>>("setup"); // kB, backups, append, via setters, last item
        QTest::addColumn<Files>("files");
        QTest::newRow("three backups, oldest dropped")
            << "service.log" << QList<int>{1, 3, 0, 0, 44}
            << Files{{"service.log", {40, 44, 0}},
                     {"service_1.log", {30, 39, 1}},
                     {"service_2.log", {20, 29, 1}},
                     {"service_3.log", {10, 19, 1}}};
        QTest::newRow("dotted name, appending, one backup")
            << "app.trace.txt" << QList<int>{1, 1, 1, 1, 24}
            << Files{{"app.trace.txt", {20, 24, 0}}, {"app_1.trace.txt", {10, 19, 1}}};
        QTest::newRow("missing directory: nothing written, no backup")
            << "missing/service.log" << QList<int>{1, 1, 0, 0, 20} << Files{};
        QTest::newRow("no backup: emptied, no notice")
            << "single.log" << QList<int>{1, 0, 0, 1, 22} << Files{{"single.log", {20, 22, 0}}};
        // kB * 1024 in 32 bits: 4194304 kB wraps to no limit, 4194305 kB to 1 kB.
        QTest::newRow("4194304 kB")
            << "wrap.log" << QList<int>{4194304, 1, 0, 1, 20} << Files{{"wrap.log", {0, 20, 0}}};
        QTest::newRow("4194305 kB") << "wrap.log" << QList<int>{4194305, 1, 0, 0, 10}
                                    << Files{{"wrap.log", {10, 10, 0}}, {"wrap_1.log", {0, 9, 1}}};
    }
    void rotation()
    {
        QFETCH(QString, name);
        QFETCH(QList<int>, setup);
        QFETCH(Files, files);
        {
            const bool lSetters = setup[3];
            ICLoggerFile lLogger(mfPath(name), Debug, lSetters ? 0 : setup[0],
                                 lSetters ? 0 : setup[1], setup[2]);
            if (lSetters) {
                lLogger.mpSetMaxFileSize(setup[0]);
                lLogger.mpSetMaxBackupFiles(setup[1]);
            }
            gpLog(lLogger, 0, setup[4]);
        }
        QCOMPARE(mfFiles(), QStringList(files.keys()));
        for (auto lFile = files.cbegin(); lFile != files.cend(); ++lFile)
            QCOMPARE(gfBody(mfPath(lFile.key())),
                     gfLines(lFile->at(0), lFile->at(1)) + (lFile->at(2) ? sNotice : QByteArray()));
    }
    void appendAndFinalize()
    {
        // Appending continues a file without a new header; an empty one still gets it.
        const QString lPath = mfPath(QStringLiteral("append.log"));
        QVERIFY(QFile(lPath).open(QIODevice::WriteOnly));
        for (int i = 0; i < 2; ++i) {
            ICLoggerFile lLogger(lPath, Debug, 0, 0, true);
            gpLog(lLogger, i, i);
        }
        QCOMPARE(gfBody(lPath), gfLines(0, 1));
        {
            ICLoggerFile lTruncating(lPath, Debug, 0, 0, false);
            gpLog(lTruncating, 2, 2);
            lTruncating.mpSlotFinalize(); // nothing is written after finalisation
            gpLog(lTruncating, 3, 3);
        }
        QCOMPARE(gfBody(lPath), gfLines(2, 2));
        // Without a name the file is iclogger<hh_mm_ss>.log in the working directory.
        QVERIFY(QDir::setCurrent(mvDir->path()));
        delete new ICLoggerFile(QString(), Debug, 0, 0, false);
        QCOMPARE(
            mfFiles().filter(QRegularExpression("^iclogger\\d\\d_\\d\\d_\\d\\d\\.log$")).size(), 1);
    }
    // Lines reach the disk while a threaded sink runs, not only when it closes.
    void threadedSinkWritesWhileRunning()
    {
        const QString lPath = mfPath(QStringLiteral("live.log"));
        ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("live"));
        lModel->mpAddObserver(new ICLoggerFile(lPath, Debug, 0, 0, false), true);
        const auto lRemove = qScopeGuard([lModel] { lModel->mpRemoveObserver(); });
        lModel->mpLog(Info, QStringLiteral("live"));
        QTRY_VERIFY(gfBody(lPath).endsWith("\t: live\n"));
    }

private:
    QString mfPath(const QString& aName) const { return mvDir->filePath(aName); }
    QStringList mfFiles() const { return QDir(mvDir->path()).entryList(QDir::Files); }
    std::unique_ptr<QTemporaryDir> mvDir;
};

QTEST_GUILESS_MAIN(tst_LoggerFile)
#include "tst_loggerfile.moc"
