#include "TestFiles.h"
#include "UBXDesktopEnvironment.h"

#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {
// "secret phrase\n" encrypted by the real tool with the key "k3y\n"; fixed, as the tool
// itself must reject it with the wrong keys below (a salt lets one in 256 through).
const QByteArray sEncrypted = "U2FsdGVkX1/jM+bAWabreSH6J+Gthygy9MK0mdh+k8w=\n";
} // namespace

class tst_UBXDesktopEnvironment : public QObject
{
    Q_OBJECT
    QTemporaryDir mvDir;
    QString mfPath(const char* aName) const { return mvDir.filePath(QLatin1String(aName)); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(gfWriteFile(mfPath("pass.enc"), sEncrypted)); }

    void compareVersions()
    {
        const struct
        {
            const char *mvA, *mvB;
            qint32 mvResult;
        } lCases[] = {{"1.2.3", "1.2.4", 1},     {"1.10.0", "1.9.9", -1}, {"2.0.0", "1.99.99", -1},
                      {"0.10.0", "0.10.0", 0},   {"1.2", "1.2.0", -2},    {"1.2.0", "1.2", -2},
                      {"1.2.3.9", "1.2.3.1", 0}, {"1..2.3", "1.2.3", 0},  {"1.2.3", "1.x.3", -2},
                      {"1.-2.3", "1.2.3", -2}};
        for (const auto& lCase : lCases)
            QVERIFY2(gfCompareVersions(lCase.mvA, lCase.mvB) == lCase.mvResult, lCase.mvA);
    }

    // The key file's newline is part of the key. The plain text only ever lands in a file
    // of mode 600 (the tool's stand-in records it around the real run) and is not left behind.
    void decrypt_data()
    {
        QTest::addColumn<QByteArray>("keyFile");
        QTest::addColumn<QString>("expected");
        QTest::newRow("right key") << QByteArray("k3y\n") << "secret phrase\n";
        QTest::newRow("other key") << QByteArray("other\n") << QString();
        QTest::newRow("newline missing from the key file") << QByteArray("k3y") << QString();
    }
    void decrypt()
    {
        QFETCH(QByteArray, keyFile);
        QTemporaryDir lBin;
        const QByteArray lModes = QFile::encodeName(lBin.filePath("modes"));
        QVERIFY(
            gfWriteFile(lBin.filePath("openssl"),
                        "#!/bin/sh\nfor out; do :; done\nstat -c %a \"$out\" > '" + lModes + "'\n" +
                            QFile::encodeName(QStandardPaths::findExecutable("openssl")) +
                            " \"$@\"\nrc=$?\nstat -c %a \"$out\" >> '" + lModes + "'\nexit $rc\n"));
        QVERIFY(QFile::setPermissions(lBin.filePath("openssl"),
                                      QFileDevice::ExeOwner | QFileDevice::ReadOwner));
        QVERIFY(gfWriteFile(mfPath("pass.key"), keyFile));
        const QByteArray lPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(lBin.path()) + ':' + lPath);
        const QString lPhrase = gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc"));
        qputenv("PATH", lPath);
        QTEST(lPhrase, "expected");
        QFile lModeFile(lModes);
        QVERIFY(lModeFile.open(QIODevice::ReadOnly));
        QCOMPARE(lModeFile.readAll(), QByteArray("600\n600\n"));
        QCOMPARE(QDir(mvDir.path()).entryList(QDir::Files), QStringList({"pass.enc", "pass.key"}));
        QCOMPARE(gfDecryptPassPhrase(mfPath("none.key"), mfPath("pass.enc")), QString());
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("none.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("none.enc.tmp")));
    }
};

QTEST_GUILESS_MAIN(tst_UBXDesktopEnvironment)
#include "tst_UBXDesktopEnvironment.moc"
