#ifndef SHAREDDATA_H
#define SHAREDDATA_H

#include <QFileInfo>
#include <QTest>

// The real screens of the shared data folder (BEAMORA_DATA_DIR) live beside
// the source tree, not in it. A checkout without them skips what needs them,
// naming the folder, instead of failing on a missing file.
#define BEAMORA_SKIP_WITHOUT_SHARED_DATA(aPath)                                                    \
    do {                                                                                           \
        if (!QFileInfo::exists(aPath))                                                             \
            QSKIP(qPrintable(QStringLiteral("%1 not found: set BEAMORA_DATA_DIR (CMake or "        \
                                            "environment) to the shared data folder")              \
                                 .arg(aPath)));                                                    \
    } while (false)

#endif // SHAREDDATA_H
