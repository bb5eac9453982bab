#include "TestFiles.h"
#include "UBXDesktopEnvironment.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

bool gfRunOpenssl(const QStringList& aArguments)
{
    QProcess lOpenssl;
    lOpenssl.start(QStringLiteral("openssl"), aArguments);
    return lOpenssl.waitForFinished(60000) && lOpenssl.exitStatus() == QProcess::NormalExit &&
           lOpenssl.exitCode() == 0;
}

QStringList gfCipherArguments(const QString& aKey, const QString& aIn, const QString& aOut)
{
    return {QStringLiteral("aes-256-cbc"),
            QStringLiteral("-a"),
            QStringLiteral("-salt"),
            QStringLiteral("-md"),
            QStringLiteral("sha1"),
            QStringLiteral("-k"),
            aKey,
            QStringLiteral("-in"),
            aIn,
            QStringLiteral("-out"),
            aOut};
}
} // namespace

class tst_UBXDesktopEnvironment : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir mvDir;
    QString mfPath(const char* aName) const { return mvDir.filePath(QLatin1String(aName)); }

    // pass.enc holds aPlain encrypted by the real tool with aKey; pass.key holds
    // aKeyFile. With a random salt about one wrong key in 256 yields valid
    // padding, so the file is made again until the tool itself rejects aKeyFile
    // (unless it is the right key).
    bool mfProvision(const QByteArray& aPlain, const QString& aKey, const QByteArray& aKeyFile)
    {
        const QString lKeyFile = QString::fromLatin1(aKeyFile);
        for (int lAttempt = 0; lAttempt < 8; ++lAttempt) {
            if (!gfWriteFile(mfPath("plain"), aPlain) ||
                !gfRunOpenssl(gfCipherArguments(aKey, mfPath("plain"), mfPath("pass.enc"))) ||
                !QFile::remove(mfPath("plain")) || !gfWriteFile(mfPath("pass.key"), aKeyFile))
                return false;
            QStringList lDecrypt = gfCipherArguments(lKeyFile, mfPath("pass.enc"), mfPath("check"));
            lDecrypt.insert(1, QStringLiteral("-d"));
            const bool lAccepted = gfRunOpenssl(lDecrypt);
            QFile::remove(mfPath("check"));
            if (lAccepted == (aKey == lKeyFile))
                return true;
        }
        return false;
    }
    bool mfAnyFileHolds(const QByteArray& aText) const
    {
        for (const QString& lName : QDir(mvDir.path()).entryList(QDir::Files | QDir::Hidden)) {
            QFile lFile(mvDir.filePath(lName));
            if (lFile.open(QIODevice::ReadOnly) && lFile.readAll().contains(aText))
                return true;
        }
        return false;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(mvDir.isValid()); }

    void environment()
    {
        const struct
        {
            const char* mvDesktop;
            const char* mvSession;
            DesktopEnvironment mvEnvironment;
            const char* mvName;
        } lCases[] = {{"UNITY", "gnome", DesktopEnvironment::Unity, "Unity"},
                      {nullptr, "gnome", DesktopEnvironment::GNome, "GNome"},
                      {"ubuntu:GNOME", "GNOME", DesktopEnvironment::GNome, "GNome"},
                      {"ubuntu:GNOME", nullptr, DesktopEnvironment::Unknown, "Unknown"},
                      {nullptr, "gnome-classic", DesktopEnvironment::Unknown, "Unknown"}};
        for (const auto& lCase : lCases) {
            lCase.mvDesktop ? qputenv("XDG_CURRENT_DESKTOP", lCase.mvDesktop)
                            : qunsetenv("XDG_CURRENT_DESKTOP");
            lCase.mvSession ? qputenv("GDMSESSION", lCase.mvSession) : qunsetenv("GDMSESSION");
            QCOMPARE(gfGetDesktopEnvironment(), lCase.mvEnvironment);
            QCOMPARE(gfGetDesktopEnvironmentName(), QLatin1String(lCase.mvName));
        }
    }

    void compareVersions()
    {
        const struct
        {
            const char* mvA;
            const char* mvB;
            qint32 mvResult;
        } lCases[] = {{"1.2.3", "1.2.4", 1},     {"1.10.0", "1.9.9", -1}, {"2.0.0", "1.99.99", -1},
                      {"0.10.0", "0.10.0", 0},   {"1.2", "1.2.0", -2},    {"1.2.0", "1.2", -2},
                      {"1.2.3.9", "1.2.3.1", 0}, {"1..2.3", "1.2.3", 0},  {"1.2.3", "1.x.3", -2},
                      {"1.-2.3", "1.2.3", -2}};
        for (const auto& lCase : lCases)
            QVERIFY2(gfCompareVersions(QLatin1String(lCase.mvA), QLatin1String(lCase.mvB)) ==
                         lCase.mvResult,
                     lCase.mvA);
    }

    // The key file's trailing newline is part of the key; the plain text comes
    // back byte for byte and is not left on disk.
    void decryptsWhatTheToolEncrypted()
    {
        QVERIFY(mfProvision("correct horse battery\n", QStringLiteral("k3y\n"), "k3y\n"));
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")),
                 QStringLiteral("correct horse battery\n"));
        QVERIFY(!mfAnyFileHolds("horse"));
    }

    void wrongKeyGivesNothing_data()
    {
        QTest::addColumn<QByteArray>("keyFile");
        QTest::newRow("other key") << QByteArray("other\n");
        QTest::newRow("newline missing from the key file") << QByteArray("k3y");
    }

    void wrongKeyGivesNothing()
    {
        QFETCH(QByteArray, keyFile);
        QVERIFY(mfProvision(QByteArray("secret phrase ").repeated(20), QStringLiteral("k3y\n"),
                            keyFile));
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("pass.enc.tmp")));
    }

    void missingFilesGiveNothing()
    {
        QVERIFY(gfWriteFile(mfPath("pass.key"), "k3y\n"));
        QCOMPARE(gfDecryptPassPhrase(mfPath("none.key"), mfPath("pass.enc")), QString());
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("none.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("none.enc.tmp")));
    }

    // A stand-in records the arguments and the mode of the output file before
    // and after the real tool ran.
    void toolGetsItsArgumentsAndAPrivateOutputFile()
    {
        QTemporaryDir lBin;
        QVERIFY(lBin.isValid());
        const QByteArray lScript = "#!/bin/sh\nfor out; do :; done\nprintf '%s\\0' \"$@\" > '" +
                                   QFile::encodeName(mfPath("args")) +
                                   "'\nstat -c %a \"$out\" > '" +
                                   QFile::encodeName(mfPath("modes")) + "'\n" +
                                   QFile::encodeName(QStandardPaths::findExecutable("openssl")) +
                                   " \"$@\"\nrc=$?\nstat -c %a \"$out\" >> '" +
                                   QFile::encodeName(mfPath("modes")) + "'\nexit $rc\n";
        QVERIFY(gfWriteFile(lBin.filePath("openssl"), lScript));
        QVERIFY(QFile::setPermissions(lBin.filePath("openssl"),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        QVERIFY(mfProvision("phrase", QStringLiteral("key\n"), "key\n"));

        const QByteArray lPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(lBin.path()) + ':' + lPath);
        const QString lPhrase = gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc"));
        qputenv("PATH", lPath);
        QCOMPARE(lPhrase, QStringLiteral("phrase"));

        QFile lArguments(mfPath("args"));
        QVERIFY(lArguments.open(QIODevice::ReadOnly));
        const QList<QByteArray> lExpected{"aes-256-cbc",
                                          "-d",
                                          "-a",
                                          "-salt",
                                          "-in",
                                          QFile::encodeName(mfPath("pass.enc")),
                                          "-k",
                                          "key\n",
                                          "-md",
                                          "sha1",
                                          "-out",
                                          QFile::encodeName(mfPath("pass.enc.tmp")),
                                          ""};
        QCOMPARE(lArguments.readAll().split('\0'), lExpected);
        QFile lModes(mfPath("modes"));
        QVERIFY(lModes.open(QIODevice::ReadOnly));
        QCOMPARE(lModes.readAll(), QByteArray("600\n600\n"));
    }
};

QTEST_GUILESS_MAIN(tst_UBXDesktopEnvironment)
#include "tst_UBXDesktopEnvironment.moc"
