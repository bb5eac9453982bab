#include "TestFiles.h"
#include "UBXDesktopEnvironment.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

class tst_UBXDesktopEnvironment : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir mvDir;
    QString mfPath(const char* aName) const { return mvDir.filePath(QLatin1String(aName)); }

    // pass.enc holds aPlain encrypted by the real tool with the key "k3y\n";
    // pass.key holds aKeyFile. With a random salt about one wrong key in 256
    // yields valid padding, so the file is made again until the tool itself
    // rejects aKeyFile (unless it is the right key).
    bool mfProvision(const QByteArray& aPlain, const QByteArray& aKeyFile)
    {
        auto lRun = [this](const QString& aKey, const char* aIn, const char* aOut, bool aDecrypt) {
            QStringList lArguments{"aes-256-cbc", "-a",  "-salt",     "-md",  "sha1",      "-k",
                                   aKey,          "-in", mfPath(aIn), "-out", mfPath(aOut)};
            if (aDecrypt)
                lArguments.insert(1, "-d");
            QProcess lOpenssl;
            lOpenssl.start("openssl", lArguments);
            return lOpenssl.waitForFinished(60000) &&
                   lOpenssl.exitStatus() == QProcess::NormalExit && lOpenssl.exitCode() == 0;
        };
        for (int lAttempt = 0; lAttempt < 8; ++lAttempt) {
            if (!gfWriteFile(mfPath("plain"), aPlain) ||
                !lRun("k3y\n", "plain", "pass.enc", false) || !QFile::remove(mfPath("plain")) ||
                !gfWriteFile(mfPath("pass.key"), aKeyFile))
                return false;
            const bool lAccepted = lRun(QString::fromLatin1(aKeyFile), "pass.enc", "check", true);
            QFile::remove(mfPath("check"));
            if (lAccepted == (aKeyFile == "k3y\n"))
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
            QVERIFY2(gfCompareVersions(lCase.mvA, lCase.mvB) == lCase.mvResult, lCase.mvA);
    }

    // The key file's trailing newline is part of the key; the plain text comes
    // back byte for byte and is left nowhere on disk.
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
        QFETCH(QString, expected);
        QVERIFY(mfProvision("secret phrase\n", keyFile));
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")), expected);
        QCOMPARE(QDir(mvDir.path()).entryList(QDir::Files), QStringList({"pass.enc", "pass.key"}));
        QCOMPARE(gfDecryptPassPhrase(mfPath("none.key"), mfPath("pass.enc")), QString());
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("none.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("none.enc.tmp")));
    }

    // The plain text only ever lands in a file of mode 600: a stand-in for the
    // tool records the mode of its output file before and after the real one ran.
    void outputFileIsPrivate()
    {
        QTemporaryDir lBin;
        const QByteArray lModes = QFile::encodeName(mfPath("modes"));
        const QByteArray lScript =
            "#!/bin/sh\nfor out; do :; done\nstat -c %a \"$out\" > '" + lModes + "'\n" +
            QFile::encodeName(QStandardPaths::findExecutable("openssl")) +
            " \"$@\"\nrc=$?\nstat -c %a \"$out\" >> '" + lModes + "'\nexit $rc\n";
        QVERIFY(gfWriteFile(lBin.filePath("openssl"), lScript));
        QVERIFY(QFile::setPermissions(lBin.filePath("openssl"),
                                      QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        QVERIFY(mfProvision("phrase", "k3y\n"));
        const QByteArray lPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(lBin.path()) + ':' + lPath);
        const QString lPhrase = gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc"));
        qputenv("PATH", lPath);
        QCOMPARE(lPhrase, QStringLiteral("phrase"));
        QFile lModeFile(mfPath("modes"));
        QVERIFY(lModeFile.open(QIODevice::ReadOnly));
        QCOMPARE(lModeFile.readAll(), QByteArray("600\n600\n"));
    }
};

QTEST_GUILESS_MAIN(tst_UBXDesktopEnvironment)
#include "tst_UBXDesktopEnvironment.moc"
