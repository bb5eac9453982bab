#include "UBXDesktopEnvironment.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {
// Sets or, for a null value, unsets a variable until the end of the scope.
class ScopedVariable
{
public:
    ScopedVariable(const char* aName, const QByteArray& aValue)
        : mvName(aName), mvWasSet(qEnvironmentVariableIsSet(aName)), mvOld(qgetenv(aName))
    {
        if (aValue.isNull())
            qunsetenv(aName);
        else
            qputenv(aName, aValue);
    }
    ~ScopedVariable()
    {
        if (mvWasSet)
            qputenv(mvName, mvOld);
        else
            qunsetenv(mvName);
    }

private:
    const char* mvName;
    bool mvWasSet;
    QByteArray mvOld;
};

bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size();
}

bool gfRunOpenssl(const QStringList& aArguments)
{
    QProcess lOpenssl;
    lOpenssl.start(QStringLiteral("openssl"), aArguments);
    return lOpenssl.waitForFinished(60000) && lOpenssl.exitStatus() == QProcess::NormalExit &&
           lOpenssl.exitCode() == 0;
}

// Encrypts the way the files are provisioned, with the real tool.
bool gfEncrypt(const QString& aPlainPath, const QString& aKey, const QString& aEncryptedPath)
{
    return gfRunOpenssl({QStringLiteral("aes-256-cbc"), QStringLiteral("-a"),
                         QStringLiteral("-salt"), QStringLiteral("-md"), QStringLiteral("sha1"),
                         QStringLiteral("-k"), aKey, QStringLiteral("-in"), aPlainPath,
                         QStringLiteral("-out"), aEncryptedPath});
}

// True when the real tool itself rejects aKey for the file. With a random salt
// about one wrong key in 256 happens to yield valid padding and is accepted.
bool gfToolRejects(const QString& aEncryptedPath, const QString& aKey, const QString& aOutPath)
{
    return !gfRunOpenssl({QStringLiteral("aes-256-cbc"), QStringLiteral("-d"), QStringLiteral("-a"),
                          QStringLiteral("-salt"), QStringLiteral("-in"), aEncryptedPath,
                          QStringLiteral("-k"), aKey, QStringLiteral("-md"), QStringLiteral("sha1"),
                          QStringLiteral("-out"), aOutPath}) &&
           QFile::remove(aOutPath);
}

// Every file of the directory whose content holds aText.
QStringList gfFilesContaining(const QString& aDirectory, const QByteArray& aText)
{
    QStringList lNames;
    const QStringList lFiles = QDir(aDirectory).entryList(QDir::Files | QDir::Hidden);
    for (const QString& lName : lFiles) {
        QFile lFile(QDir(aDirectory).filePath(lName));
        if (lFile.open(QIODevice::ReadOnly) && lFile.readAll().contains(aText))
            lNames << lName;
    }
    return lNames;
}
} // namespace

class tst_UBXDesktopEnvironment : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir mvDir;
    QString mfPath(const char* aName) const { return mvDir.filePath(QLatin1String(aName)); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(mvDir.isValid()); }

    void environment_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("gdmSession");
        QTest::addColumn<DesktopEnvironment>("environment");
        QTest::addColumn<QString>("name");

        QTest::newRow("UNITY") << QByteArray("UNITY") << QByteArray("gnome")
                               << DesktopEnvironment::Unity << QStringLiteral("Unity");
        QTest::newRow("unset, gnome") << QByteArray() << QByteArray("gnome")
                                      << DesktopEnvironment::GNome << QStringLiteral("GNome");
        QTest::newRow("ubuntu:GNOME, GNOME")
            << QByteArray("ubuntu:GNOME") << QByteArray("GNOME") << DesktopEnvironment::GNome
            << QStringLiteral("GNome");
        QTest::newRow("ubuntu:GNOME, unset")
            << QByteArray("ubuntu:GNOME") << QByteArray() << DesktopEnvironment::Unknown
            << QStringLiteral("Unknown");
        QTest::newRow("gnome-classic") << QByteArray() << QByteArray("gnome-classic")
                                       << DesktopEnvironment::Unknown << QStringLiteral("Unknown");
    }

    void environment()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, gdmSession);
        QFETCH(DesktopEnvironment, environment);
        QFETCH(QString, name);

        ScopedVariable lDesktop("XDG_CURRENT_DESKTOP", desktop);
        ScopedVariable lSession("GDMSESSION", gdmSession);
        QCOMPARE(gfGetDesktopEnvironment(), environment);
        QCOMPARE(gfGetDesktopEnvironmentName(), name);
    }

    void compareVersions_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<qint32>("result");

        QTest::newRow("b newer") << "1.2.3"
                                 << "1.2.4" << 1;
        QTest::newRow("numeric, not textual") << "1.10.0"
                                              << "1.9.9" << -1;
        QTest::newRow("major decides") << "2.0.0"
                                       << "1.99.99" << -1;
        QTest::newRow("equal") << "0.10.0"
                               << "0.10.0" << 0;
        QTest::newRow("two parts") << "1.2"
                                   << "1.2.0" << -2;
        QTest::newRow("two parts in b") << "1.2.0"
                                        << "1.2" << -2;
        QTest::newRow("fourth part ignored") << "1.2.3.9"
                                             << "1.2.3.1" << 0;
        QTest::newRow("empty part dropped") << "1..2.3"
                                            << "1.2.3" << 0;
        QTest::newRow("not a number") << "1.2.3"
                                      << "1.x.3" << -2;
        QTest::newRow("negative") << "1.-2.3"
                                  << "1.2.3" << -2;
    }

    void compareVersions()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(qint32, result);
        QCOMPARE(gfCompareVersions(a, b), result);
    }

    // The key file's trailing newline belongs to the key, the plain text comes
    // back byte for byte, and nothing is left next to the encrypted file.
    void decryptsWhatTheToolEncrypted()
    {
        const QByteArray lPhrase = "correct horse battery staple\n";
        QVERIFY(gfWriteFile(mfPath("plain"), lPhrase));
        QVERIFY(gfEncrypt(mfPath("plain"), QStringLiteral("k3y material\n"), mfPath("pass.enc")));
        QVERIFY(QFile::remove(mfPath("plain")));
        QVERIFY(gfWriteFile(mfPath("pass.key"), "k3y material\n"));

        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")),
                 QString::fromLatin1(lPhrase));
        QVERIFY(!QFile::exists(mfPath("pass.enc.tmp")));
        QVERIFY(gfFilesContaining(mvDir.path(), "horse").isEmpty());
    }

    void wrongKeyGivesNothing_data()
    {
        QTest::addColumn<QByteArray>("keyFile");
        QTest::newRow("other key") << QByteArray("not the key\n");
        QTest::newRow("newline missing from the key file") << QByteArray("k3y material");
    }

    void wrongKeyGivesNothing()
    {
        QFETCH(QByteArray, keyFile);
        // A long plain text: the tool writes all but the last block before it
        // finds the key wrong.
        const QByteArray lPhrase = QByteArray("secret phrase ").repeated(20);
        QVERIFY(gfWriteFile(mfPath("plain"), lPhrase));
        bool lRejected = false;
        for (int lAttempt = 0; lAttempt < 8 && !lRejected; ++lAttempt) {
            QVERIFY(
                gfEncrypt(mfPath("plain"), QStringLiteral("k3y material\n"), mfPath("pass.enc")));
            lRejected =
                gfToolRejects(mfPath("pass.enc"), QString::fromLatin1(keyFile), mfPath("check"));
        }
        QVERIFY(lRejected);
        QVERIFY(QFile::remove(mfPath("plain")));
        QVERIFY(gfWriteFile(mfPath("pass.key"), keyFile));

        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("pass.enc.tmp")));
        QVERIFY(gfFilesContaining(mvDir.path(), "secret phrase").isEmpty());
    }

    void missingFilesGiveNothing()
    {
        QVERIFY(gfWriteFile(mfPath("pass.key"), "k3y material\n"));
        QCOMPARE(gfDecryptPassPhrase(mfPath("none.key"), mfPath("pass.enc")), QString());
        QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("none.enc")), QString());
        QVERIFY(!QFile::exists(mfPath("none.enc.tmp")));
    }

    // A stand-in tool records its arguments and the mode of the output file
    // before and after the real tool wrote it.
    void toolGetsItsArgumentsAndAPrivateOutputFile()
    {
        const QString lOpenssl = QStandardPaths::findExecutable(QStringLiteral("openssl"));
        const QString lStat = QStandardPaths::findExecutable(QStringLiteral("stat"));
        QVERIFY(!lStat.isEmpty());
        QTemporaryDir lBin;
        QVERIFY(lBin.isValid());
        const QString lScript =
            QStringLiteral("#!/bin/sh\n"
                           "for out; do :; done\n"
                           "printf '%s\\0' \"$@\" > '") +
            mfPath("args") + QStringLiteral("'\n") + lStat + QStringLiteral(" -c %a \"$out\" > '") +
            mfPath("modes") + QStringLiteral("'\n") + lOpenssl +
            QStringLiteral(" \"$@\"\nrc=$?\n") + lStat + QStringLiteral(" -c %a \"$out\" >> '") +
            mfPath("modes") + QStringLiteral("'\nexit $rc\n");
        const QString lFake = lBin.filePath(QStringLiteral("openssl"));
        QVERIFY(gfWriteFile(lFake, lScript.toLocal8Bit()));
        QVERIFY(QFile::setPermissions(lFake, QFileDevice::ReadOwner | QFileDevice::ExeOwner));

        QVERIFY(gfWriteFile(mfPath("plain"), "phrase"));
        QVERIFY(gfEncrypt(mfPath("plain"), QStringLiteral("key\n"), mfPath("pass.enc")));
        QVERIFY(gfWriteFile(mfPath("pass.key"), "key\n"));
        {
            ScopedVariable lPath("PATH", QFile::encodeName(lBin.path()) + ':' + qgetenv("PATH"));
            QCOMPARE(gfDecryptPassPhrase(mfPath("pass.key"), mfPath("pass.enc")),
                     QStringLiteral("phrase"));
        }

        QFile lArguments(mfPath("args"));
        QVERIFY(lArguments.open(QIODevice::ReadOnly));
        QList<QByteArray> lList = lArguments.readAll().split('\0');
        QCOMPARE(lList.takeLast(), QByteArray());
        const QList<QByteArray> lExpected{
            "aes-256-cbc", "-d",    "-a",
            "-salt",       "-in",   QFile::encodeName(mfPath("pass.enc")),
            "-k",          "key\n", "-md",
            "sha1",        "-out",  QFile::encodeName(mfPath("pass.enc.tmp"))};
        QCOMPARE(lList, lExpected);

        QFile lModes(mfPath("modes"));
        QVERIFY(lModes.open(QIODevice::ReadOnly));
        QCOMPARE(lModes.readAll(), QByteArray("600\n600\n"));
    }
};

QTEST_GUILESS_MAIN(tst_UBXDesktopEnvironment)
#include "tst_UBXDesktopEnvironment.moc"
