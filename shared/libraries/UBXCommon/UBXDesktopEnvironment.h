#ifndef UBXDESKTOPENVIRONMENT_H
#define UBXDESKTOPENVIRONMENT_H

#include "UBXCommonExport.h"

#include <QString>

// The desktop environments the program tells apart. Windows and OSX belong to
// the other platforms' builds and are never answered here.
enum class DesktopEnvironment : qint32
{
    Unity = 0,
    GNome = 1,
    Windows = 2,
    OSX = 3,
    Unknown = 4
};

// Unity when XDG_CURRENT_DESKTOP is "unity", else GNome when GDMSESSION is
// "gnome" (both in any case, compared whole), else Unknown.
UBXCOMMON_EXPORT DesktopEnvironment gfGetDesktopEnvironment();

// "Unity", "GNome", "Windows", "OSX" or "Unknown" for the current environment.
UBXCOMMON_EXPORT QString gfGetDesktopEnvironmentName();

// The certificate pass phrase from /store/certs/pass.enc, decrypted with the
// key text of /store/certs/pass.key; empty on any failure.
UBXCOMMON_EXPORT QString gfDecryptPassPhrase();

// The same for other files. The key file's bytes (up to a zero byte, a trailing
// newline included) are the pass phrase of "openssl aes-256-cbc -a -salt -md
// sha1 -k"; the encrypted file is Base64 text. The tool writes the plain text
// to aEncryptedFilePath + ".tmp", which is created readable by its owner only
// and removed again whatever the outcome. The tool gets 10 s. Never logs.
UBXCOMMON_EXPORT QString gfDecryptPassPhrase(const QString& aKeyFilePath,
                                             const QString& aEncryptedFilePath);

// Compares the first three numeric parts of two dotted versions (empty parts
// dropped, further parts ignored): 1 when aVersionB is newer, -1 when
// aVersionA is newer, 0 when they are equal, -2 when either has fewer than
// three parts or a part that is not an unsigned decimal number.
UBXCOMMON_EXPORT qint32 gfCompareVersions(const QString& aVersionA, const QString& aVersionB);

#endif
